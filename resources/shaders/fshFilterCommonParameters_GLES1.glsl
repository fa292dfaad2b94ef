// Inputs every filter shader gets (ES 2 frame).
varying vec2 uv;
#prelude filter_inputs
#prelude lookup_table
#prelude soft_copy
