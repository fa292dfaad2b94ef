// Night vision: a light-amplifying binocular. The picture's light is lifted
// strongly, the dark parts most, and shown on a green phosphor screen with
// the sparkle of the amplifier tube (noise from the static image, a new tile
// every frame by lensTexIdx), seen through two round eyepieces side by side
// that stay round at any aspect ratio. commonInput (0..1, default 0.5) sets
// the gain.
{
    float gain = 1.2 + 2.0 * commonInput;
    float lifted = (1.0 - exp(-gain * luminance(color.rgb))) / (1.0 - exp(-gain));
    vec2 inTile = clamp(fract(uv / (imagestep * 128.0)), 0.5 / 128.0, 1.0 - 0.5 / 128.0);
    float sparkle = texture(lens_auxilary, (lensTexIdx + inTile) * 0.25).r - 0.5;
    lifted = clamp(lifted + sparkle * 0.16, 0.0, 1.0);
    vec3 phosphor = vec3(0.12, 0.95, 0.2) * lifted + vec3(0.5, 0.25, 0.45) * lifted * lifted * lifted;
    // Eyepieces in units of the shorter side, centred on the frame.
    vec2 p = (uv - 0.5) * vec2(max(wvh.x, 1.0), max(wvh.y, 1.0));
    float radius = 0.46;
    float d = min(length(p - vec2(0.28, 0.0)), length(p + vec2(0.28, 0.0)));
    float soft = 3.0 * max(imagestep.x, imagestep.y) * min(wvh.x, wvh.y);
    float inside = 1.0 - smoothstep(radius - soft, radius, d);
    phosphor *= inside * (1.0 - 0.45 * smoothstep(0.15, radius, d));
    color.rgb = phosphor;
}
