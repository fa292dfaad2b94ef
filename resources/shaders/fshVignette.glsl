// Vignette: the corners darken as with an old or fast lens. The fall-off is
// round (measured in units of the shorter side) and starts at 30% of the way
// from the centre to a corner. commonInput (-1..1, default 0) sets the
// strength: 0 darkens the corners by 40%, 1 by 90%; towards -1 the
// darkening weakens, and below -1/3 the corners turn lighter instead (up to
// 80% of the way to white), for a soft bright high-key frame.
{
    vec2 toPixels = vec2(max(wvh.x, 1.0), max(wvh.y, 1.0));
    float r = length((uv - 0.5) * toPixels) / (0.5 * length(toPixels));
    float edge = smoothstep(0.3, 1.0, r);
    float strength = commonInput >= 0.0 ? 0.4 + 0.5 * commonInput : 0.4 + 1.2 * commonInput;
    color.rgb *= 1.0 - max(strength, 0.0) * edge;
    color.rgb += (1.0 - color.rgb) * max(-strength, 0.0) * edge;
}
