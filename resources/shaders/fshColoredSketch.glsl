// Coloured pencil sketch on pale paper: outlines where the picture is
// darker than its blurred copy (the pencil follows the dark side of every
// edge), a light wash of the picture's colours, and diagonal hatching in the
// colour of the place, crossed a second time in the shadows.
{
    vec3 lensBefore = color.rgb;
    vec3 soft = texture(gaussianLevel1, coord).rgb;
    float here = luminance(color.rgb);
    float near = luminance(soft);
    float wide = luminance(texture(gaussianLevel2, coord).rgb);
    // How much darker than the surroundings: fine and broad outlines.
    float outline = clamp((near - here) * 5.0, 0.0, 1.0) + clamp((wide - here) * 2.0, 0.0, 1.0);
    outline = smoothstep(0.08, 0.6, outline);

    vec3 paper = vec3(0.97, 0.95, 0.90);
    // The pencil colour: the place's own colour, more saturated and darker.
    vec3 pencil = clamp(mix(vec3(near), soft, 1.6), 0.0, 1.0) * 0.7;
    vec3 sketch = mix(paper, clamp(mix(vec3(near), soft, 1.3), 0.0, 1.0), 0.3);

    // Hatching, five pixels apart on a 540-high frame, broken up along the
    // strokes so they look drawn by hand.
    float spacing = max(4.0, 0.009 / imagestep.y);
    vec2 px = coord / imagestep;
    float along = px.x - px.y;
    float jitter = fract(sin(floor((px.x + px.y) / spacing) * 12.9898) * 43758.5453);
    float stroke = 0.6 + 0.4 * sin(along * 0.07 + jitter * 6.2832);
    float first = 1.0 - smoothstep(0.18, 0.32, abs(fract((px.x + px.y) / spacing) - 0.5));
    float second = 1.0 - smoothstep(0.18, 0.32, abs(fract(along / spacing) - 0.5));
    float dark = 1.0 - near;
    float hatch = first * smoothstep(0.3, 0.6, dark) * stroke + second * smoothstep(0.55, 0.8, dark) * stroke;
    sketch = mix(sketch, pencil, clamp(hatch, 0.0, 1.0) * 0.55);
    sketch = mix(sketch, pencil * 0.55, outline);
    // Paper tooth: the pencil skips over the grain.
    float tooth = fract(sin(dot(floor(px), vec2(12.9898, 78.233))) * 43758.5453);
    sketch = mix(sketch, paper, 0.12 * tooth * (1.0 - outline));
    color.rgb = sketch;
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
