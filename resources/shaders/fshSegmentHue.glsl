#prelude es3
// Mask by hue: pixels whose hue lies within `threshold` (a fraction of the
// colour circle) of the backdrop's hue are keyed, fully at the key hue and
// fading linearly (invTresh = 1 / threshold) to none at the threshold.
// Greys have no dependable hue and are never keyed; weakly coloured pixels
// only in part.
// Out: rgb = 0, a = 1 - keyed (1 subject, 0 key hue).
#prelude segment_inputs
#prelude hue
uniform float bgHue;
uniform float threshold;
uniform float invTresh;

void main() {
    vec3 c = texture(original, uv).rgb;
    float maxc = max(max(c.r, c.g), c.b);
    float minc = min(min(c.r, c.g), c.b);
    float d = maxc - minc;
    float keyed = 0.0;
    if (d > 1e-4) {
        float apart = abs(hueOf(c, maxc, minc) - bgHue);
        apart = min(apart, 1.0 - apart);
        // Chroma rather than HSL saturation: dark noise has a high saturation.
        keyed = clamp(1.0 - apart * invTresh, 0.0, 1.0) * smoothstep(0.04, 0.16, d);
    }
    fragColor = vec4(0.0, 0.0, 0.0, 1.0 - keyed);
}
