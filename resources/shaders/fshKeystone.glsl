#piece fshPerspective
// Keystone, as if the camera were tilted. One edge of the
// frame is magnified and the opposite edge kept, foreshortened like a real
// tilt in between, so straight lines stay straight: with y measured from
// the kept edge and d = 1 + k y, output (x, y) shows the picture at
// ((x - 0.5) / d + 0.5, (1 + k) y / d), never outside it. commonInput
// (-1..1): 0 and above magnify the top, below 0 the bottom; its size adds
// to a standard tilt so the default of 0 shows the effect. The shift is
// computed on the output frame (uv) and scaled by the digital zoom, so the
// effect keeps its place and size on screen at any zoom.
{
    float k = 0.3 + 0.5 * abs(commonInput);
    float top = step(0.0, commonInput);
    // Distance from the kept edge: the bottom when the top leans in.
    float y = mix(uv.y, 1.0 - uv.y, top);
    float d = 1.0 + k * y;
    float ySource = (1.0 + k) * y / d;
    vec2 source = vec2(0.5 + (uv.x - 0.5) / d, mix(ySource, 1.0 - ySource, top));
    coord += (source - uv) * invZoom;
}
