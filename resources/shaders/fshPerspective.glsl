// Perspective: the picture is drawn as if the camera were tilted, a keystone.
// One edge of the frame is magnified and the opposite edge kept, with the
// true projective foreshortening in between (the source point is
// ((x - 0.5) / D + 0.5, (1 + k) y / D), y measured from the kept edge and
// D = 1 + k y), so straight lines stay straight. Nothing is sampled from
// outside the picture. commonInput (-1..1): 0 and above magnify the top
// (the top leans towards the viewer), below 0 the bottom; its size adds to
// a standard tilt so the default of 0 shows the effect.
// The mapping is worked out on the output frame (uv) and its shift handed
// to coord scaled by the digital zoom, so the effect keeps its place and
// size on screen at any zoom.
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
