// Helpers of the light-ray lens.

// How much a colour counts as a light that casts rays: only the brightest.
float lightRayHighlight(vec3 c) {
    return smoothstep(0.72, 0.97, luminance(c));
}

// Where the rays come from: the centre of the highlights among 8 x 5 taps
// over the upper 70% of the picture, weighted by the fourth power of
// their highlight so that the brightest light wins, upper taps counting more. With no
// highlight at all the light sits just above the top centre.
vec2 lightRaySource() {
    vec3 sum = vec3(0.5, -0.1, 1.0) * 0.02;
    for (int j = 0; j < 5; j++) {
        for (int i = 0; i < 8; i++) {
            vec2 at = vec2((float(i) + 0.5) / 8.0, (float(j) + 0.5) / 5.0 * 0.7);
            float h = lightRayHighlight(texture(original, at).rgb) * (1.2 - at.y);
            h *= h;
            sum += vec3(at, 1.0) * h * h;
        }
    }
    return sum.xy / sum.z;
}
