// Inputs of the bokeh lens: the sharp circle's centre (0..1 of the frame),
// its radius (a fraction of the frame's shorter side) and an angle that the
// round lens has no use for but the processor sets for every position lens.
uniform vec2 offset;
uniform float angle;
uniform float radius;

#prelude defocus

// Bright lights near `at` spread into discs: the highlights (the whitest
// parts of blur level 2) on a ring of eight taps and at the centre.
vec3 bokehBloom(vec2 at, vec2 ring) {
    vec3 sum = vec3(0.0);
    for (int i = 0; i < 9; i++) {
        float a = 0.7853982 * float(i);
        vec2 d = i == 8 ? vec2(0.0) : vec2(cos(a), sin(a)) * ring;
        vec3 tap = texture(gaussianLevel2, at + d).rgb;
        sum += tap * smoothstep(0.85, 1.0, luminance(tap));
    }
    return sum / 9.0;
}
