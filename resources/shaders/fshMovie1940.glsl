// 1940s black and white (the Tri-X table follows): hard studio light and
// contrasty prints, fine even grain, a slight flicker and a light vignette.
{
    vec3 film = clamp(color.rgb * filmFlicker(0.03), 0.0, 1.0);
    film = mix(film, film * film * (3.0 - 2.0 * film), 0.6);
    film = filmApplyGrain(film, vec3(filmGrain(1.0)), 0.22);
    vec2 defects = filmDefects();
    film = mix(film, vec3(0.05), defects.x * 0.6);
    film = mix(film, vec3(0.95), defects.y * 0.5);
    film *= filmVignette(0.4, 0.45);
    color.rgb = film;
}
