// Bokeh: a shallow depth of field. Everything inside the circle of `radius`
// (a fraction of the shorter side) around `offset` stays sharp; outside, the
// picture goes out of focus more and more over the next 0.3 of the shorter
// side, with bright lights blooming into soft discs as they do in a fast
// lens's out-of-focus background.
{
    vec2 toPixels = vec2(max(wvh.x, 1.0), max(wvh.y, 1.0));
    // The blur levels hold the zoomed picture; undo the zoom to read them.
    vec2 at = (coord - 0.5) / invZoom + 0.5;
    float amount = smoothstep(radius, radius + 0.3, length((uv - offset) * toPixels));
    vec3 defocused = defocusAt(color.rgb, at, amount);
    vec3 bloom = bokehBloom(at, 0.02 / toPixels);
    color.rgb = defocused + 0.6 * amount * bloom;
}
