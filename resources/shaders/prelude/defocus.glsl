// The frame's blur at `at` for a defocus of `amount` (0 sharp, 1 the widest
// level the frame has: level 4 on large frames, else level 3), moving
// smoothly from one blur level to the next. For the lenses that focus on a
// region (bokeh, tilt-shift).
vec3 defocusAt(vec3 sharp, vec2 at, float amount) {
    float x = clamp(amount, 0.0, 1.0) * (blurlevel >= 4 ? 4.0 : 3.0);
    vec3 c = mix(sharp, texture(gaussianLevel1, at).rgb, clamp(x, 0.0, 1.0));
    c = mix(c, texture(gaussianLevel2, at).rgb, clamp(x - 1.0, 0.0, 1.0));
    c = mix(c, texture(gaussianLevel3, at).rgb, clamp(x - 2.0, 0.0, 1.0));
    c = mix(c, texture(gaussianLevel4, at).rgb, clamp(x - 3.0, 0.0, 1.0));
    return c;
}
