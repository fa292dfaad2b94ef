// Pop art: the picture printed in a handful of pure inks. Each area takes
// the nearest of red, yellow, green, cyan, blue and magenta (or black and
// white for grey ones); dark areas are solid ink, light ones Ben-Day dots
// of the ink on white paper, and heavy black outlines hold it together.
{
    vec3 lensBefore = color.rgb;
    vec3 soft = texture(gaussianLevel1, coord).rgb;
    float top = max(max(soft.r, soft.g), soft.b);
    float bottom = min(min(soft.r, soft.g), soft.b);
    float tone = luminance(soft);
    // Each channel of the pure hue at full or nothing: the six inks.
    vec3 inkColour = step(0.5, (soft - bottom) / max(top - bottom, 0.001));
    // Grey areas print black or white by tone.
    float grey = 1.0 - step(0.12, top - bottom);
    inkColour = mix(inkColour, vec3(step(0.45, tone)), grey);

    // Dots on a 45-degree grid, eight pixels apart on a 540-high frame,
    // growing as the area darkens.
    float cell = max(5.0, 0.015 / imagestep.y);
    vec2 px = coord / imagestep;
    vec2 q = vec2(px.x + px.y, px.x - px.y) * (0.70710678 / cell);
    float aa = 0.7 / cell;
    float size = mix(0.42, 0.22, clamp((tone - 0.45) / 0.4, 0.0, 1.0));
    float spot = 1.0 - smoothstep(size - aa, size + aa, length(fract(q) - 0.5));
    float light = step(0.55, tone) * (1.0 - grey);
    vec3 printed = mix(inkColour, mix(vec3(1.0, 0.98, 0.92), inkColour, spot), light);
    // The darkest areas go black.
    printed *= step(0.12, tone);

    float reach = max(2.0, 0.005 / imagestep.x);
    vec2 nx = vec2(reach * imagestep.x, 0.0);
    vec2 ny = vec2(0.0, reach * imagestep.y);
    float dx = luminance(texture(gaussianLevel1, coord + nx).rgb) - luminance(texture(gaussianLevel1, coord - nx).rgb);
    float dy = luminance(texture(gaussianLevel1, coord + ny).rgb) - luminance(texture(gaussianLevel1, coord - ny).rgb);
    float outline = smoothstep(0.07, 0.1, sqrt(dx * dx + dy * dy));
    color.rgb = printed * (1.0 - outline);
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
