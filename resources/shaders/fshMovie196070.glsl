// 1960s and 70s colour stock: fine grain with a touch of colour, a slight
// gate weave, and halation: bright light passes through the emulsion,
// reflects off the film base and comes back as a red-orange glow around
// highlights.
{
    vec2 weave = filmWeave(0.7);
    vec3 film = color.rgb + texture(original, coord + weave).rgb - texture(original, coord).rgb;
    // Two rings of taps around the point, their radii a share of the frame height.
    vec2 reach = vec2(wvh.y, 1.0) * 0.012;
    float halo = 0.0;
    for (int i = 0; i < 8; i++) {
        float a = float(i) * 0.785398;
        vec2 d = vec2(cos(a), sin(a)) * reach;
        halo += smoothstep(0.7, 1.0, luminance(texture(original, coord + d).rgb));
        halo += 0.6 * smoothstep(0.7, 1.0, luminance(texture(original, coord + d * 2.2).rgb));
    }
    film += vec3(1.0, 0.32, 0.12) * (halo / 12.8) * 0.45 * (1.0 - 0.5 * luminance(film));
    vec3 grain = vec3(filmGrainAt(1.0, 1.0), filmGrainAt(1.0, 2.0), filmGrainAt(1.0, 3.0));
    film = filmApplyGrain(film, mix(vec3(grain.g), grain, 0.25), 0.14);
    film *= filmVignette(0.25, 0.5);
    color.rgb = film;
}
