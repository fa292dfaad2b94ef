// Inputs every filter shader gets (ES 3 frame).
in vec2 uv;
#prelude filter_inputs
#prelude lookup_table
#prelude soft_copy
