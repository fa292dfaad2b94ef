// Defog: removes haze. Haze lifts the darkest channel of every area towards
// the sky's grey; the dark channel of the blurred surroundings (blur level 2)
// estimates how much haze lies over each area, and it is taken out as in the
// dark-channel prior model, I = J t + A (1 - t), with the airlight A a light
// grey and the transmission t never below 1/4, keeping far objects
// believable. Then local contrast against blur level 3 is raised.
// commonInput (0..1, default 0.5) sets the strength: 30% to 70% of the
// estimated haze is removed.
{
    vec2 at = (coord - 0.5) / invZoom + 0.5;
    vec3 around = texture(gaussianLevel2, at).rgb;
    float dark = min(min(around.r, around.g), around.b);
    const float airlight = 0.92;
    float removed = (0.3 + 0.4 * commonInput) * dark / airlight;
    float t = max(1.0 - removed, 0.25);
    vec3 clear = (color.rgb - airlight) / t + airlight;
    vec3 wide = texture(gaussianLevel3, at).rgb;
    clear += (color.rgb - wide) * (0.1 + 0.3 * commonInput);
    color.rgb = clear;
}
