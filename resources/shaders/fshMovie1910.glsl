// Silent film, around 1910. A hand-cranked camera and a worn print: the
// frame pumps and weaves in the gate, the lens is soft, the grain coarse,
// dust, hairs and scratches come and go, and the projector's light falls off
// hard towards the corners. The stock was orthochromatic, blind to red:
// lips and red cloth print dark, skies pale. The cold PX100 table after this
// piece turns the grey it leaves into the print's tone.
{
    vec3 film = filmProjected(color.rgb, coord, filmWeave(2.5), 1.6);
    film = vec3(dot(film, vec3(0.05, 0.45, 0.50)));
    film *= filmFlicker(0.14);
    film = filmApplyGrain(film, vec3(filmGrain(1.6)), 0.35);
    vec2 defects = filmDefects();
    film = mix(film, vec3(0.04), defects.x * 0.9);
    film = mix(film, vec3(0.96), defects.y * 0.8);
    film = mix(film, vec3(0.92), filmScratches(0.45) * 0.8);
    film *= filmVignette(0.85, 0.3);
    color.rgb = film;
}
