// Anamorphic lens: the cylindrical front element spreads bright lights into
// long horizontal blue-cyan streaks; the picture is a little soft, drawn
// tall (oval) and more so towards the sides; thin letterbox bars frame it
// as a wide screen. It uses only the inputs every filter has, because it
// also serves as a lens on its own.
{
    // Only lights near white streak. Every tap sits between two texels,
    // which linear filtering averages, so each tap reads a pair and the taps
    // two texels apart see every texel out to about 50 pixels either side
    // (on large frames the taps spread further, for lights as much larger).
    // Any light two pixels wide streaks. 48 taps: this runs on every pixel.
    float spacing = 2.0 * max(1.0, floor(1.0 / (imagestep.x * 960.0) + 0.5));
    float streak = 0.0;
    for (int i = 0; i < 6; i++) {
        vec2 d = vec2((1.5 + 2.0 * float(i)) * imagestep.x, 0.0);
        float w = 2.0 * (1.0 - float(i) * 0.04);
        streak += w * smoothstep(0.93, 1.0, luminance(texture(original, coord + d).rgb));
        streak += w * smoothstep(0.93, 1.0, luminance(texture(original, coord - d).rgb));
    }
    for (int i = 0; i < 18; i++) {
        vec2 d = vec2((13.5 + float(i) * spacing) * imagestep.x, 0.0);
        float w = 1.0 - float(i) / 18.0;
        w *= 1.6 * w;
        streak += w * smoothstep(0.93, 1.0, luminance(texture(original, coord + d).rgb));
        streak += w * smoothstep(0.93, 1.0, luminance(texture(original, coord - d).rgb));
    }
    vec3 centre = texture(original, coord).rgb;
    vec2 up = vec2(0.0, 1.5 * imagestep.y);
    vec3 tall = (2.0 * centre + texture(original, coord + up).rgb + texture(original, coord - up).rgb +
                 texture(original, coord + 2.0 * up).rgb + texture(original, coord - 2.0 * up).rgb) / 6.0;
    color.rgb += (tall - centre) * (0.4 + 0.6 * smoothstep(0.15, 0.5, abs(uv.x - 0.5)));
    vec3 flare = vec3(0.3, 0.65, 1.0) * (1.0 - exp(-0.3 * streak));
    color.rgb = blendScreen(clamp(color.rgb, 0.0, 1.0), flare);
    // Bars of 6% of the height, unless the frame is already wider than 2.2:1.
    float bar = 0.06 * step(wvh.x, 2.2);
    float fromEdge = min(uv.y, 1.0 - uv.y);
    color.rgb *= smoothstep(bar - imagestep.y, bar, fromEdge);
}
