// Neon: the picture goes dark and its outlines light up like glass tubes,
// each in a vivid version of the colour beside it. A thin bright core sits
// inside a wider soft glow; grey outlines glow cyan to magenta across the
// frame.
{
    vec3 lensBefore = color.rgb;
    // Taps a pixel and a half apart on a 960-wide frame, as far in
    // proportion on larger ones.
    float reach = max(1.0, 0.0015 / imagestep.x);
    vec2 nx = vec2(reach * imagestep.x, 0.0);
    vec2 ny = vec2(0.0, reach * imagestep.y);
    // Sobel on each channel: an outline between two colours of equal
    // brightness still lights.
    vec3 tl = texture(original, coord - nx - ny).rgb;
    vec3 tc = texture(original, coord - ny).rgb;
    vec3 tr = texture(original, coord + nx - ny).rgb;
    vec3 ml = texture(original, coord - nx).rgb;
    vec3 mr = texture(original, coord + nx).rgb;
    vec3 bl = texture(original, coord - nx + ny).rgb;
    vec3 bc = texture(original, coord + ny).rgb;
    vec3 br = texture(original, coord + nx + ny).rgb;
    vec3 gx = (tr + 2.0 * mr + br) - (tl + 2.0 * ml + bl);
    vec3 gy = (bl + 2.0 * bc + br) - (tl + 2.0 * tc + tr);
    float core = sqrt(dot(gx, gx) + dot(gy, gy));
    // The glow: the same outline seen by four taps three times as far out.
    vec3 far = abs(texture(original, coord + 3.0 * nx).rgb - texture(original, coord - 3.0 * nx).rgb) +
               abs(texture(original, coord + 3.0 * ny).rgb - texture(original, coord - 3.0 * ny).rgb);
    float glow = length(far);

    // The tube takes the most colourful of the five nearest taps, so an
    // outline between grey and a colour glows in that colour.
    vec3 centre = color.rgb;
    float chroma = max(max(centre.r, centre.g), centre.b) - min(min(centre.r, centre.g), centre.b);
    for (int i = 0; i < 4; i++) {
        vec3 c = i == 0 ? ml : (i == 1 ? mr : (i == 2 ? tc : bc));
        float k = max(max(c.r, c.g), c.b) - min(min(c.r, c.g), c.b);
        if (k > chroma) {
            centre = c;
            chroma = k;
        }
    }
    float top = max(max(centre.r, centre.g), centre.b);
    float bottom = min(min(centre.r, centre.g), centre.b);
    vec3 vivid = (centre - bottom) / max(top - bottom, 0.001);
    vec3 tube = mix(vec3(0.1, 0.9, 1.0), vec3(1.0, 0.2, 0.9), uv.x);
    tube = mix(tube, vivid, smoothstep(0.04, 0.2, top - bottom));

    float line = smoothstep(0.15, 0.6, core);
    float halo = smoothstep(0.08, 0.8, glow) * 0.45;
    vec3 neon = tube * (line + halo);
    // The brightest cores burn towards white, as a real tube does.
    neon += vec3(smoothstep(0.8, 2.0, core)) * 0.35;
    color.rgb = neon;
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
