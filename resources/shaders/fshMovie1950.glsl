// Early colour film of the 1950s (the seventies table follows): rich dyes in
// the middle of the frame, a slightly soft picture, gentle grain with a
// little colour in it, and edges that have faded towards a pale, washed-out
// print.
{
    vec3 film = filmProjected(color.rgb, coord, vec2(0.0), 0.9);
    film = mix(vec3(luminance(film)), film, 1.15);
    vec3 grain = vec3(filmGrainAt(1.2, 1.0), filmGrainAt(1.2, 2.0), filmGrainAt(1.2, 3.0));
    film = filmApplyGrain(film, mix(vec3(grain.g), grain, 0.35), 0.16);
    float edge = 1.0 - filmVignette(1.0, 0.35);
    vec3 faded = mix(vec3(luminance(film)), film, 0.5) * 0.82 + vec3(0.16, 0.14, 0.11);
    film = mix(film, faded, edge * 0.85);
    color.rgb = film;
}
