// Swirl: the picture is twisted about its centre like water running down a
// drain. The twist is strongest at the centre and falls off smoothly to
// nothing at 0.6 of the shorter side from it, so the frame's edges stay put.
// commonInput (0..2, default 1) scales the twist; at 1 the centre turns by
// 3 radians. Distances are measured in units of the shorter side so the
// swirl stays round on any frame shape.
// The mapping is worked out on the output frame (uv) and its shift handed
// to coord scaled by the digital zoom, so the effect keeps its place and
// size on screen at any zoom.
{
    vec2 toPixels = vec2(max(wvh.x, 1.0), max(wvh.y, 1.0));
    vec2 p = (uv - 0.5) * toPixels;
    float fall = max(0.0, 1.0 - length(p) / 0.6);
    float turn = commonInput * 3.0 * fall * fall;
    float c = cos(turn);
    float s = sin(turn);
    p = vec2(c * p.x - s * p.y, s * p.x + c * p.y);
    coord += (0.5 + p / toPixels - uv) * invZoom;
}
