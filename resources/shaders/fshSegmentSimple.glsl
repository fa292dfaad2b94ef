#prelude es3
// First pass of the blue-screen mask: how much of each pixel is subject.
//
// With a coloured backdrop (bgMaxIndex set) the pixel's key purity is taken
// as a fraction of the backdrop colour's own: about 1 on the backdrop, 0 or
// below on the subject. `threshold` (0.02 .. 0.55) places the ramp: the
// larger it is, the less pure a pixel needs to be to count as backdrop.
// Subject areas that only lean towards the key colour sit below the ramp
// and stay whole; mixed edge pixels mostly fall above it, and get their
// partial coverage in the compositing pass, at full resolution.
// A grey backdrop (no dominant channel) is judged by colour distance.
//
// segMode (set by the colour pass) other than 0 judges the mean of a 3x3
// neighbourhood imagestep apart, which steadies noisy pictures.
//
// Out: rgb = the pixel's colour, a = subject coverage (1 subject, 0 backdrop).
#prelude segment_inputs
uniform float threshold;
uniform int segMode;
uniform vec2 imagestep;
uniform vec3 bgColor;
uniform int bgMaxIndex;
uniform int bgMinIndex;

void main() {
    vec3 c = texture(original, uv).rgb;
    vec3 judged = c;
    if (segMode != 0) {
        judged = vec3(0.0);
        for (int j = -1; j <= 1; j++) {
            for (int i = -1; i <= 1; i++) {
                judged += texture(original, uv + vec2(float(i), float(j)) * imagestep).rgb;
            }
        }
        judged *= 1.0 / 9.0;
    }
    float coverage;
    if (bgMaxIndex != 0) {
        // The key lead over the key channel itself: a chromaticity, so the
        // backdrop scores alike where it is lit more or less, while colours
        // that only lean towards the key (denim before a blue screen) score
        // well below it.
        float purity = keyExcess(judged, bgMaxIndex, bgMinIndex) / max(channel(judged, bgMaxIndex), 0.02);
        float keyPurity = keyExcess(bgColor, bgMaxIndex, bgMinIndex) / max(channel(bgColor, bgMaxIndex), 0.02);
        float keyed = purity / max(keyPurity, 1e-3);
        float low = 1.0 - 1.2 * threshold;
        coverage = 1.0 - smoothstep(low, low + 0.2, keyed);
    } else {
        coverage = smoothstep(threshold * 0.5, threshold, distance(judged, bgColor));
    }
    fragColor = vec4(c, coverage);
}
