// The device orientation as "direction": 3 upright, 4 half a turn, 1 and 2
// the quarter turns under which the frame's rows run along the screen's x.
uniform int direction;

// Output uv to upright uv (x right, y down on the upright picture).
vec2 uprightOf(vec2 p) {
    if (direction == 4) return 1.0 - p;
    if (direction == 1) return vec2(1.0 - p.y, p.x);
    if (direction == 2) return vec2(p.y, 1.0 - p.x);
    return p;
}
