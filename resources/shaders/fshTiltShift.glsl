// Tilt-shift: the miniature look. A sharp band runs through `offset` at
// `angle`; away from it the picture goes out of focus, fully so 0.25 of the
// shorter side beyond the band's edge, as with a tilted lens over a model
// town. Colours are a little more saturated and contrasty, like painted toys.
{
    vec2 toPixels = vec2(max(wvh.x, 1.0), max(wvh.y, 1.0));
    vec2 at = (coord - 0.5) / invZoom + 0.5;
    // A mirrored frame is flipped along y (the processor flips offset.y);
    // the band's angle turns the other way with it.
    float a = mirror == 1 ? -angle : angle;
    vec2 across = vec2(-sin(a), cos(a));
    float away = abs(dot((uv - offset) * toPixels, across));
    float halfWidth = 0.5 * radius;
    float amount = smoothstep(halfWidth, halfWidth + 0.25, away);
    vec3 c = defocusAt(color.rgb, at, amount);
    float grey = luminance(c);
    c = mix(vec3(grey), c, 1.25);
    color.rgb = (c - 0.5) * 1.08 + 0.5;
}
