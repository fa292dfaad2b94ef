// Robot killer: a machine's red head-up display. The picture in red
// monochrome with hard contrast, rolling scan lines, a faint measuring grid,
// and a targeting reticle at the centre: a ring with ticks, a broken cross
// hair, and corner brackets framing the target.
{
    vec3 lensBefore = color.rgb;
    float level = smoothstep(0.05, 0.9, luminance(color.rgb));
    vec3 hud = vec3(0.12 + 0.95 * level, 0.1 * level * level, 0.08 * level * level);

    // Scan lines three pixels apart on a 540-high frame, rolling slowly.
    vec2 px = coord / imagestep;
    float pitch = max(3.0, 0.0056 / imagestep.y);
    hud *= 0.78 + 0.22 * sin((px.y + frameCount * 0.5) * 6.2832 / pitch);

    // Positions in units of the picture's height from the centre, so the
    // reticle is round at any aspect.
    vec2 p = (coord - 0.5) * vec2(wvh.x, 1.0);
    float pixel = imagestep.y;
    float r = length(p);
    float mark = 0.0;
    // Grid every tenth of the height.
    vec2 cell = abs(fract(p * 10.0 + 0.5) - 0.5) / 10.0;
    float grid = 1.0 - smoothstep(0.5 * pixel, 1.5 * pixel, min(cell.x, cell.y));
    // Ring with twelve ticks outside it.
    mark += 1.0 - smoothstep(pixel, 2.5 * pixel, abs(r - 0.16));
    float tickAngle = fract(atan(p.y, p.x + 1e-6) / 6.2832 * 12.0 + 0.5) - 0.5;
    mark += (1.0 - smoothstep(0.04, 0.08, abs(tickAngle))) * step(0.165, r) * step(r, 0.19);
    // Cross hair, open in the middle.
    vec2 axis = abs(p);
    float hair = (1.0 - smoothstep(pixel, 2.0 * pixel, min(axis.x, axis.y))) * step(0.03, r) * step(r, 0.12);
    mark += hair;
    // Brackets at the corners of a square 0.5 high.
    vec2 edge = abs(axis - 0.25);
    float onSide = 1.0 - smoothstep(pixel, 2.5 * pixel, min(edge.x, edge.y));
    float inCorner = step(0.19, axis.x) * step(axis.x, 0.26) * step(0.19, axis.y) * step(axis.y, 0.26);
    mark += onSide * inCorner;
    // A dot at the aiming point.
    mark += 1.0 - smoothstep(2.0 * pixel, 3.0 * pixel, r);

    hud += vec3(0.25, 0.02, 0.02) * grid;
    hud = mix(hud, vec3(1.0, 0.25, 0.15), clamp(mark, 0.0, 1.0));
    color.rgb = hud;
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
