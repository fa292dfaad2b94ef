// Sums each block_size x block_size block of a candidate test map into one
// score per candidate. A test-map texel holds v = r + g / 255 (v in 0..1,
// an absolute luminance difference); the score is the block's sum of v in
// 8-bit steps, times 16 and rounded: round(4080 * sum). For blocks of up to
// 32 x 32 it stays below 1024 * 4080 < 2^24 and goes out little-endian as
// R (lowest byte), G, B, with alpha 0, so that the 32-bit word read back is
// the score itself (positive as a signed word too).
in vec2 uv;
uniform sampler2D original;
uniform int block_size;
uniform float inc;
out vec4 fragColor;

const float kScoreScale = 4080.0;

void main() {
    vec2 origin = floor(gl_FragCoord.xy) * float(block_size) * inc;
    float sum = 0.0;
    for (int y = 0; y < block_size; ++y) {
        for (int x = 0; x < block_size; ++x) {
            // Whole bytes first, as normalised texels may come with fewer bits.
            vec2 t = floor(textureLod(original, origin + (vec2(float(x), float(y)) + 0.5) * inc, 0.0).rg * 255.0 + 0.5);
            sum += (t.r + t.g / 255.0) / 255.0;
        }
    }
    uint score = uint(min(sum * kScoreScale + 0.5, 16777215.0));
    fragColor = vec4(float(score & 255u), float((score >> 8u) & 255u), float(score >> 16u), 0.0) / 255.0;
}
