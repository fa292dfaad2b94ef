// Inputs of a synthesis pass: the picture built so far ("original") and the
// frame to merge into it ("srcImage"), with the frame's weight.
in vec2 uv;
uniform sampler2D original;
uniform sampler2D srcImage;
uniform float ratio;
