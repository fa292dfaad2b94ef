// Matrix: the picture rebuilt from green glyphs on black, like the terminal
// screens of a certain film. The frame is cut into square cells of 8 x 8
// glyph pixels (one screen pixel each below 720 across, two at 960, and so
// on). A cell's brightness (stretched to the full range) picks a glyph of as much ink from the glyph sheet
// (lens_auxilary: 16 x 16 glyphs, the column rising with density, the row a
// variant) and lights it; streams of brighter glyphs fall down the columns
// with frameCount, a white glyph at their head, and the glyphs change now
// and then. commonInput (0..1, default 0.5) sets how much of the picture's
// own light shows behind the glyphs.
{
    float scale = max(1.0, floor(1.0 / (imagestep.x * 480.0) + 0.5));
    vec2 cellSize = imagestep * 8.0 * scale;
    vec2 cell = floor(coord / cellSize);
    vec2 local = fract(coord / cellSize);
    float light = smoothstep(0.08, 0.85, luminance(texture(original, (cell + 0.5) * cellSize).rgb));
    // Each column has its own speed and start; a stream is 12 to 28 cells
    // long and leaves the bottom before the next one enters at the top.
    float rows = 1.0 / cellSize.y;
    float seed = fract(sin(cell.x * 12.9898 + 4.1) * 43758.5453);
    float speed = 0.15 + 0.35 * seed;
    float trailLength = 12.0 + 16.0 * fract(seed * 7.31);
    float period = rows + trailLength + 10.0 * fract(seed * 3.7);
    float head = mod(frameCount * speed + seed * 97.0, period);
    float behind = head - cell.y;
    float trail = behind >= 0.0 && behind < trailLength ? 1.0 - behind / trailLength : 0.0;
    float isHead = behind >= 0.0 && behind < 1.0 ? 1.0 : 0.0;
    // Glyph: the column by the cell's light, the variant by a hash that
    // moves on every 24 frames at a time of the cell's own.
    float cellSeed = fract(sin(dot(cell, vec2(127.1, 311.7))) * 43758.5453);
    float variant = floor(16.0 * fract(cellSeed + 0.618 * floor(frameCount / 24.0 + cellSeed)));
    float density = floor(clamp(light, 0.0, 0.999) * 16.0);
    vec2 glyphPixel = (floor(local * 8.0) + 0.5) / 8.0;
    float ink = texture(lens_auxilary, (vec2(density, variant) + glyphPixel) / 16.0).g;
    float glow = ink * (0.08 + 0.92 * light * light) * (0.5 + 0.5 * trail);
    vec3 glyph = mix(vec3(0.15, 0.9, 0.3) * glow, vec3(0.85, 1.0, 0.9) * ink, isHead);
    color.rgb = glyph + vec3(0.0, 0.35, 0.1) * light * commonInput;
}
