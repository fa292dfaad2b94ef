// Manga: black ink on white paper. Light areas stay paper, middle tones get
// a dot screen, darker ones a diagonal line screen, the darkest solid ink,
// cut at hard steps like screen-tone sheets; ink outlines follow the
// brightness edges of the softened picture.
{
    vec3 lensBefore = color.rgb;
    vec3 soft = texture(gaussianLevel1, coord).rgb;
    float tone = clamp((luminance(soft) - 0.5) * 1.2 + 0.5, 0.0, 1.0);

    // Screens at 45 degrees, six pixels a cell on a 540-high frame.
    float cell = max(4.0, 0.011 / imagestep.y);
    vec2 px = coord / imagestep;
    vec2 q = vec2(px.x + px.y, px.x - px.y) * (0.70710678 / cell);
    float aa = 0.7 / cell;
    // Dots covering 10% to 40% of the paper as the tone darkens.
    float cover = mix(0.1, 0.4, clamp((0.78 - tone) / 0.3, 0.0, 1.0));
    float spot = 1.0 - smoothstep(sqrt(cover / 3.14159) - aa, sqrt(cover / 3.14159) + aa, length(fract(q) - 0.5));
    // Lines covering 40% to 65%.
    float width = mix(0.2, 0.325, clamp((0.48 - tone) / 0.26, 0.0, 1.0));
    float hatch = 1.0 - smoothstep(width - aa, width + aa, abs(fract(q.x) - 0.5));
    float ink = tone > 0.78 ? 0.0 : (tone > 0.48 ? spot : (tone > 0.22 ? hatch : 1.0));

    // Outlines: where the softened brightness changes fast, and the thin
    // dark side of fine detail (the picture darker than its blur).
    float reach = max(2.0, 0.004 / imagestep.x);
    vec2 nx = vec2(reach * imagestep.x, 0.0);
    vec2 ny = vec2(0.0, reach * imagestep.y);
    float dx = luminance(texture(gaussianLevel1, coord + nx).rgb) - luminance(texture(gaussianLevel1, coord - nx).rgb);
    float dy = luminance(texture(gaussianLevel1, coord + ny).rgb) - luminance(texture(gaussianLevel1, coord - ny).rgb);
    float outline = smoothstep(0.06, 0.09, sqrt(dx * dx + dy * dy));
    outline = max(outline, smoothstep(0.08, 0.14, luminance(texture(gaussianLevel2, coord).rgb) - luminance(color.rgb)));
    ink = max(ink, outline);
    color.rgb = vec3(0.97 * (1.0 - ink));
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
