// Funhouse mirror: the middle of the picture is drawn stretched and the
// parts near the edges squeezed, like a curved fairground mirror.
// commonInput (-1..1) chooses the direction by its sign: 0 and above
// stretch the middle vertically (people look tall and thin), below 0
// horizontally (short and wide). Its size adds to a standard strength, so
// the lens is plainly visible at its default of 0.
// The source position along the stretched axis is t + a sin(2 pi t) / (2 pi):
// the picture's edges and centre stay where they are, the middle is
// magnified by 1 / (1 - a) and the edges squeezed by 1 / (1 + a).
// The mapping is worked out on the output frame (uv) and its shift handed
// to coord scaled by the digital zoom, so the effect keeps its place and
// size on screen at any zoom.
{
    float amount = 0.45 + 0.4 * abs(commonInput);
    float vertical = step(0.0, commonInput);
    vec2 bend = amount * sin(6.2831853 * uv) / 6.2831853;
    coord += bend * vec2(1.0 - vertical, vertical) * invZoom;
}
