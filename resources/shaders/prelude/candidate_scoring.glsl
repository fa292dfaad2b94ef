// Inputs and helpers shared by the candidate-scoring programs (the
// stabiliser's and the frame aligner's test passes).
in vec2 uv;
uniform sampler2D original;
uniform float test_step;
uniform float block_size;
out vec4 fragColor;

// Part of the output the sample grid covers, centred; the border is left out
// because the warp clamps there.
const float kRegion = 0.8;

float luminance(vec3 c) {
    return dot(c, vec3(0.299, 0.587, 0.114));
}
