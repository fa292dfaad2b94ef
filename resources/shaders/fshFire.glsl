// Fire: flames rise from the bottom of the frame, licking upwards and
// flickering with frameCount, over a picture lit warm by them and darkened
// a little above. Flame sizes are in units of the frame height, so they look
// the same at any aspect ratio. commonInput (0..1, default 0.5) sets how
// high the flames reach: about a fifth of the height at 0, half of it at 1.
{
    vec2 p = vec2(uv.x * wvh.x, 1.0 - uv.y);
    float t = frameCount / 30.0;
    vec2 q = vec2(p.x * 5.0, p.y * 3.5 - t * 2.4);
    // The turbulence warped by itself gives tongues instead of blobs.
    float warp = fireTurbulence(q * 0.6 + vec2(0.0, -t * 0.7));
    float n = fireTurbulence(q + vec2(warp * 1.2, warp * 0.8));
    float reach = 0.25 + 0.4 * commonInput;
    float heat = clamp(0.8 - p.y / reach + (n - 0.5) * 1.8, 0.0, 1.0);
    vec3 flame = fireColour(heat);
    float glowLevel = exp(-2.5 * p.y / reach);
    vec3 lit = color.rgb * (0.72 + 0.28 * glowLevel) + vec3(0.35, 0.12, 0.02) * glowLevel * luminance(color.rgb);
    color.rgb = blendScreen(clamp(lit, 0.0, 1.0), flame);
}
