// Ghost: a pale, cold, translucent double of the picture drifts beside it.
// The picture is drained of colour and lifted to a misty blue; the double,
// lighter still, is shifted by the frame's random tile pick and wanders
// slowly with time.
{
    vec3 lensBefore = color.rgb;
    float t = frameCount * 0.04;
    vec2 drift = (lensTexIdx - 1.5) * 0.004 +
                 vec2(0.03 * sin(t) + 0.015 * sin(2.3 * t), 0.015 * cos(1.3 * t)) + vec2(0.035, -0.015);
    vec3 here = color.rgb;
    vec3 twin = texture(original, coord + drift).rgb;
    vec3 cold = vec3(0.8, 0.92, 1.1);
    vec3 misty = mix(vec3(luminance(here)), here, 0.25) * cold;
    misty = 0.18 + 0.72 * misty;
    vec3 spirit = mix(vec3(luminance(twin)), twin, 0.15) * cold;
    color.rgb = blendScreen(clamp(misty, 0.0, 1.0), clamp(spirit * 0.45, 0.0, 1.0));
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
