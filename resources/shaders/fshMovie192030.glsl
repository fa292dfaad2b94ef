// Late silent and early sound film, the 1920s and 30s: panchromatic black
// and white, steadier cameras than a decade before, so a milder flicker and
// weave; grain, a little dust, the odd scratch and a soft vignette. The
// piece after it (a lookup table or a toning look) gives the print its tone.
{
    vec3 film = filmProjected(color.rgb, coord, filmWeave(1.2), 1.0);
    film = vec3(dot(film, vec3(0.25, 0.60, 0.15)));
    film *= filmFlicker(0.06);
    film = filmApplyGrain(film, vec3(filmGrain(1.3)), 0.28);
    vec2 defects = filmDefects();
    film = mix(film, vec3(0.06), defects.x * 0.7);
    film = mix(film, vec3(0.92), defects.y * 0.6);
    film = mix(film, vec3(0.85), filmScratches(0.3) * 0.6);
    film *= filmVignette(0.55, 0.4);
    color.rgb = film;
}
