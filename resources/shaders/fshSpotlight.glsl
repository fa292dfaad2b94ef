// Spotlight: a round pool of light at `offset` with `radius` (fraction of the
// shorter side), a little brighter and warmer than the picture; the rest of
// the stage falls to a quarter of its brightness. The pool's edge is soft
// over 30% of the radius.
{
    vec2 toPixels = vec2(max(wvh.x, 1.0), max(wvh.y, 1.0));
    float d = length((uv - offset) * toPixels);
    float lit = 1.0 - smoothstep(0.85 * radius, 1.15 * radius, d);
    color.rgb *= mix(vec3(0.25), vec3(1.12, 1.08, 1.0), lit);
}
