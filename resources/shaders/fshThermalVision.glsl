// Thermal vision: brightness stands in for heat. Cold is black, then deep
// blue, magenta, orange and yellow, and the hottest parts burn white. The
// palette runs through stops of rising brightness, so brighter always reads
// hotter.
{
    vec3 lensBefore = color.rgb;
    float heat = clamp(luminance(color.rgb), 0.0, 1.0);
    vec3 thermal = mix(vec3(0.0), vec3(0.10, 0.05, 0.55), clamp(heat / 0.18, 0.0, 1.0));
    thermal = mix(thermal, vec3(0.70, 0.05, 0.65), clamp((heat - 0.18) / 0.22, 0.0, 1.0));
    thermal = mix(thermal, vec3(1.00, 0.45, 0.05), clamp((heat - 0.40) / 0.22, 0.0, 1.0));
    thermal = mix(thermal, vec3(1.00, 0.88, 0.10), clamp((heat - 0.62) / 0.20, 0.0, 1.0));
    thermal = mix(thermal, vec3(1.00, 1.00, 1.00), clamp((heat - 0.82) / 0.18, 0.0, 1.0));
    color.rgb = thermal;
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
