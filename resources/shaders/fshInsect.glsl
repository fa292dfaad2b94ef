// Insect eye: the picture seen through a honeycomb of lens facets. Each
// hexagonal facet shows a wider view of the picture around its own centre,
// bulging like a small lens and darkening towards its rim; dark walls part
// the facets.
{
    vec3 lensBefore = color.rgb;
    // Facets a twelfth of the picture's height across, round at any aspect.
    float size = 1.0 / 12.0;
    vec2 p = coord * vec2(wvh.x, 1.0) / size;
    vec2 grid = vec2(1.0, 1.7320508);
    vec2 a = mod(p, grid) - 0.5 * grid;
    vec2 b = mod(p - 0.5 * grid, grid) - 0.5 * grid;
    vec2 inCell = dot(a, a) < dot(b, b) ? a : b;
    vec2 centre = (p - inCell) * size / vec2(wvh.x, 1.0);
    // Distance to the hexagon's side: 0.5 on the wall.
    vec2 side = abs(inCell);
    float hex = max(dot(side, vec2(0.5, 0.8660254)), side.x);
    // Each facet sees two to three times its own width, magnified most at
    // its middle like a small lens.
    float bulge = 0.6 + 0.8 * hex;
    vec2 view = centre + inCell * size / vec2(wvh.x, 1.0) * 3.0 * bulge;
    vec3 facet = texture(original, clamp(view, 0.0, 1.0)).rgb;
    facet *= 1.0 - 0.45 * smoothstep(0.25, 0.47, hex);
    float wall = smoothstep(0.455, 0.49, hex);
    color.rgb = mix(facet, vec3(0.05, 0.04, 0.03), wall);
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
