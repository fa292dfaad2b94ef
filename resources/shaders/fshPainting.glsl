// Oil painting: each pixel takes the colour of the calmest of the four
// squares around it (a Kuwahara filter), which flattens areas into dabs of
// paint and keeps edges crisp; then short bristle streaks along the strokes
// and a faint canvas weave.
{
    vec3 lensBefore = color.rgb;
    // Squares of three by three taps, three pixels apart on a 960-wide frame.
    float reach = max(2.0, 0.003 / imagestep.x);
    vec2 stepXY = reach * imagestep;
    vec3 paint = vec3(0.0);
    float weights = 0.0;
    for (int k = 0; k < 4; k++) {
        vec2 side = vec2(mod(float(k), 2.0) * 2.0 - 1.0, floor(float(k) / 2.0) * 2.0 - 1.0);
        vec3 sum = vec3(0.0);
        vec3 squares = vec3(0.0);
        for (int j = 0; j < 3; j++) {
            for (int i = 0; i < 3; i++) {
                vec3 c = texture(original, coord + side * vec2(float(i), float(j)) * stepXY).rgb;
                sum += c;
                squares += c * c;
            }
        }
        vec3 mean = sum / 9.0;
        vec3 spread = max(squares / 9.0 - mean * mean, 0.0);
        // Soft choice: the calmest square wins almost alone.
        float w = 1.0 / (1.0 + pow(sqrt(spread.r + spread.g + spread.b) * 30.0, 8.0));
        paint += mean * w;
        weights += w;
    }
    paint /= weights;
    // Oil colours are rich: a little more saturation.
    paint = mix(vec3(luminance(paint)), paint, 1.2);

    // Strokes lie along edges, at right angles to the brightness gradient
    // (in flat areas, along a slowly turning field); each stroke is a dab a
    // little lighter or darker than its neighbours, grooved lengthwise by
    // its bristles.
    vec2 px = coord / imagestep / reach;
    float g0 = luminance(texture(original, coord + vec2(3.0 * stepXY.x, 0.0)).rgb);
    float g1 = luminance(texture(original, coord - vec2(3.0 * stepXY.x, 0.0)).rgb);
    float g2 = luminance(texture(original, coord + vec2(0.0, 3.0 * stepXY.y)).rgb);
    float g3 = luminance(texture(original, coord - vec2(0.0, 3.0 * stepXY.y)).rgb);
    vec2 gradient = vec2(g0 - g1, g2 - g3);
    float turn = 0.6 + 0.8 * sin(px.x * 0.02 + 1.7 * sin(px.y * 0.017));
    vec2 across = length(gradient) > 0.03 ? normalize(gradient) : vec2(cos(turn), sin(turn));
    vec2 brush = vec2(dot(px, across), dot(px, vec2(-across.y, across.x)));
    vec2 dab = floor(brush / vec2(3.0, 8.0));
    float shade = fract(sin(dot(dab, vec2(12.9898, 78.233))) * 43758.5453);
    float groove = sin(brush.x * 4.2 + shade * 6.2832);
    paint *= 0.94 + 0.1 * shade + 0.03 * groove;
    float weave = sin(px.x * 5.5) * sin(px.y * 5.5);
    paint *= 1.0 + 0.035 * weave;
    color.rgb = paint;
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
