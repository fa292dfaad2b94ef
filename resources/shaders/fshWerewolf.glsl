// Werewolf: a wild night under the full moon. Colours drained to a cold
// blue-green moonlight, the picture darkened with deep shadows and gently
// lifted highlights, and a heavy vignette closing in on the centre.
{
    vec3 lensBefore = color.rgb;
    float level = luminance(color.rgb);
    vec3 moonlight = vec3(0.55, 0.85, 1.0) * level;
    vec3 night = mix(color.rgb, moonlight, 0.75);
    // Deep shadows, silver highlights.
    night = pow(clamp(night, 0.0, 1.0), vec3(1.5)) * 0.85;
    night += vec3(0.15, 0.25, 0.3) * smoothstep(0.6, 1.0, level);
    // Vignette round at any aspect: dark from half the height out.
    vec2 p = (coord - 0.5) * vec2(wvh.x, 1.0);
    float fall = smoothstep(0.25, 0.85, length(p));
    night *= 1.0 - 0.85 * fall;
    color.rgb = night;
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
