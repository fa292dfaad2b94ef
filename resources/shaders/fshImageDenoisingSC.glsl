#prelude es3
#prelude burst_sums
// One accumulation step of the burst for one colour channel (rgbSel: 0 red,
// 1 green, 2 blue): the running sum in `original` plus the channel of the
// aligned frame `srcImage` in levels. Where that channel differs too much
// from the burst's first frame `ref`, the first frame's value is added
// instead: what moved, or what the alignment could not match, then shows as
// it was in the first frame instead of as a ghost.
//
// "Too much" is a squared difference times inv_threshold2 above one against
// the median of the first frame's 3 x 3 neighbourhood, or above 2.25 (1.5
// times the threshold) against its own value. The first frame is as noisy
// as any other: tested against its own value alone, every pixel where its
// noise ran high turns the other frames away and keeps that noise (8 frames
// of sigma 14 held still lost 1.3 dB of their 9 dB to it). The median
// takes the first frame's noise out and keeps edges; the looser test
// against its own value still catches a thin line the median smooths away.
in vec2 uv;
uniform highp isampler2D original;
uniform sampler2D ref;
uniform sampler2D srcImage;
uniform int rgbSel;
uniform float inv_threshold2;
layout(location = 0) out highp int fragSum;

// Swaps p[a] and p[b] into ascending order.
#define SORT2(a, b) { float t = min(p[a], p[b]); p[b] = max(p[a], p[b]); p[a] = t; }

// The median of the reference channel over the 3 x 3 texels around this
// one: what the reference shows here with its own noise mostly taken out,
// edges kept.
float referenceMedian() {
    ivec2 at = ivec2(gl_FragCoord.xy), last = textureSize(ref, 0) - 1;
    float p[9];
    for (int i = 0; i < 9; ++i) p[i] = texelFetch(ref, clamp(at + ivec2(i % 3 - 1, i / 3 - 1), ivec2(0), last), 0)[rgbSel];
    SORT2(1, 2) SORT2(4, 5) SORT2(7, 8) SORT2(0, 1) SORT2(3, 4) SORT2(6, 7) SORT2(1, 2) SORT2(4, 5) SORT2(7, 8)
    SORT2(0, 3) SORT2(5, 8) SORT2(4, 7) SORT2(3, 6) SORT2(1, 4) SORT2(2, 5) SORT2(4, 7) SORT2(4, 2) SORT2(6, 4)
    SORT2(4, 2)
    return p[4];
}

void main() {
    int sum = texelFetch(original, ivec2(gl_FragCoord.xy), 0).r;
    float reference = texture(ref, uv)[rgbSel];
    float value = texture(srcImage, uv)[rgbSel];
    float d = value - referenceMedian();
    float e = value - reference;
    if (d * d * inv_threshold2 > 1.0 || e * e * inv_threshold2 > 2.25) value = reference;
    fragSum = min(sum + int(round(value * kSumScale)), kSumLimit);
}
