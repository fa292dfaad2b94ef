#piece fshFishEye_part1
// Fish-eye, the bulge: a round lens whose diameter is the frame's shorter
// side, centred. Inside it the picture bulges: a point at relative radius r
// (0 centre, 1 rim) shows the picture from radius r (0.5 + 0.5 r^2), so the
// middle is magnified twice and the rim squeezed, while the rim itself still
// meets the picture where it is. Outside the lens the picture is left as it
// is; the lens body piece darkens it.
// The mapping is worked out on the output frame (uv) and its shift handed
// to coord scaled by the digital zoom, so the effect keeps its place and
// size on screen at any zoom, where the body piece draws the lens.
{
    vec2 toPixels = vec2(max(wvh.x, 1.0), max(wvh.y, 1.0));
    vec2 p = (uv - 0.5) * toPixels / 0.5;
    float r = length(p);
    if (r < 1.0) {
        p *= 0.5 + 0.5 * r * r;
        coord += (0.5 + p * 0.5 / toPixels - uv) * invZoom;
    }
}
