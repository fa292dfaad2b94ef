// The temporal blend of the time-domain denoiser, shared by its three
// quality levels. The including piece defines HISTORY_FRAMES (how many of
// input0 .. input6 it reads, newest first) and NEIGHBOUR_TAPS (how many
// taps of the current frame join the average: 4, the diagonal bilinear taps
// two thirds of a texel out, which together cover the 3 x 3 neighbourhood,
// or 2, one diagonal pair).
//
// Each history frame is read where the current pixel's scene point was: at
// the pixel's position less its accumulated shift (the shifts say how the
// content moved since). Its weight falls with the mean squared difference
// between its patch (the centre and one diagonal pair of taps) and the
// current frame's, summed over the colour channels, in units of the squared
// threshold; the current centre stands in there by its estimate from its
// own neighbourhood, so that a noise peak in the current frame does not
// hold the history off. A difference of patch means would miss a history frame that
// lies a fraction of a texel off across an edge; differences per tap see
// it, so nothing is smeared behind what moves, while plain noise keeps most
// of its weight. The current frame's own taps join too, each weighted by
// its difference from the centre: where every history frame is rejected (a
// moving object, a part that one shift cannot align, such as the skew of a
// rolling shutter) the pixel still loses some noise, and no edge is crossed.
in vec2 uv;
uniform sampler2D original;
uniform sampler2D input0;
uniform sampler2D input1;
uniform sampler2D input2;
uniform sampler2D input3;
uniform sampler2D input4;
uniform sampler2D input5;
uniform sampler2D input6;
uniform vec2 motion0;
uniform vec2 motion1;
uniform vec2 motion2;
uniform vec2 motion3;
uniform vec2 motion4;
uniform vec2 motion5;
uniform vec2 motion6;
uniform float inv_threshold2;
uniform float blurriness;
uniform float step_x;
uniform float step_y;
out vec4 fragColor;

// The difference (in squared thresholds) at which a history frame keeps
// 1/e of its weight: about twice what noise of 10 levels alone gives, so
// noise passes and misalignment does not.
const float kDifferenceScale = 0.8;
// The same for a neighbouring tap of the current frame against its centre
// (one sample's difference, so noisier and held more loosely).
const float kNeighbourScale = 1.5;
// At full blurriness the oldest frame keeps this much of its weight, the
// newer ones proportionally more: a fast turn smears each frame differently
// and makes the gyro's shift less exact the further back it reaches.
const float kBlurKeep = 0.4;

// A frame around a point: the centre and one diagonal pair of taps.
struct Patch {
    vec3 centre;
    vec3 a;
    vec3 b;
};

Patch patchAt(sampler2D frame, vec2 at) {
    vec2 s = vec2(step_x, step_y);
    return Patch(texture(frame, at).rgb, texture(frame, at + s).rgb, texture(frame, at - s).rgb);
}

float squared(vec3 v) {
    return dot(v, v);
}

void addNeighbour(vec3 tap, vec3 centre, inout vec3 sum, inout float weight) {
    float e = squared(tap - centre) * inv_threshold2 * (1.0 / kNeighbourScale);
    float w = exp(-e * e);
    sum += w * tap;
    weight += w;
}

void accumulate(sampler2D frame, vec2 shift, float age, Patch current, inout vec3 sum, inout float weight) {
    vec2 at = uv - shift;
    Patch history = patchAt(frame, at);
    float d = (squared(history.centre - current.centre) + squared(history.a - current.a) +
               squared(history.b - current.b)) * (1.0 / 3.0);
    float e = d * inv_threshold2 * (1.0 / kDifferenceScale);
    float w = exp(-e * e);
    // Beyond the frame's edge clamping would repeat the border: no history there.
    vec2 inside = step(vec2(0.0), at) * step(at, vec2(1.0));
    w *= inside.x * inside.y * (1.0 - blurriness * (1.0 - kBlurKeep) * (age + 1.0) / 7.0);
    sum += w * history.centre;
    weight += w;
}

void main() {
    vec4 centre = texture(original, uv);
    vec2 s = vec2(step_x, step_y);
    Patch current = Patch(centre.rgb, texture(original, uv + s).rgb, texture(original, uv - s).rgb);
    vec3 sum = current.centre;
    float weight = 1.0;
    addNeighbour(current.a, current.centre, sum, weight);
    addNeighbour(current.b, current.centre, sum, weight);
#if NEIGHBOUR_TAPS == 4
    vec2 t = vec2(step_x, -step_y);
    addNeighbour(texture(original, uv + t).rgb, current.centre, sum, weight);
    addNeighbour(texture(original, uv - t).rgb, current.centre, sum, weight);
#endif
    current.centre = sum / weight;
    accumulate(input0, motion0, 0.0, current, sum, weight);
#if HISTORY_FRAMES > 1
    accumulate(input1, motion1, 1.0, current, sum, weight);
#endif
#if HISTORY_FRAMES > 2
    accumulate(input2, motion2, 2.0, current, sum, weight);
#endif
#if HISTORY_FRAMES > 3
    accumulate(input3, motion3, 3.0, current, sum, weight);
#endif
#if HISTORY_FRAMES > 4
    accumulate(input4, motion4, 4.0, current, sum, weight);
#endif
#if HISTORY_FRAMES > 5
    accumulate(input5, motion5, 5.0, current, sum, weight);
#endif
#if HISTORY_FRAMES > 6
    accumulate(input6, motion6, 6.0, current, sum, weight);
#endif
    fragColor = vec4(sum / weight, centre.a);
}
