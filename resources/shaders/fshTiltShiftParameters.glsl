// Inputs of the tilt-shift lens: a point of the sharp band (0..1 of the
// frame), the band's angle (radians, 0 = horizontal, turning from the
// frame's x axis towards its y axis) and its size (`radius`: the sharp
// band's half-width is half of it, as a fraction of the shorter side).
uniform vec2 offset;
uniform float angle;
uniform float radius;

#prelude defocus
