#prelude es3
#prelude burst_sums
// One accumulation step of the burst for one colour channel (rgbSel: 0 red,
// 1 green, 2 blue): the running sum in `original` plus the channel of the
// aligned frame `srcImage` in levels. Where that channel differs from the
// burst's first frame `ref` by more than the threshold (squared difference
// times inv_threshold2 above one) the first frame's value is added instead:
// what moved, or what the alignment could not match, then shows as it was
// in the first frame instead of as a ghost.
in vec2 uv;
uniform highp isampler2D original;
uniform sampler2D ref;
uniform sampler2D srcImage;
uniform int rgbSel;
uniform float inv_threshold2;
layout(location = 0) out highp int fragSum;

void main() {
    int sum = texelFetch(original, ivec2(gl_FragCoord.xy), 0).r;
    float reference = texture(ref, uv)[rgbSel];
    float value = texture(srcImage, uv)[rgbSel];
    float d = value - reference;
    if (d * d * inv_threshold2 > 1.0) value = reference;
    fragSum = min(sum + int(round(value * kSumScale)), kSumLimit);
}
