// Inputs of the spotlight lens: the lit circle's centre (0..1 of the frame)
// and radius (a fraction of the frame's shorter side); the angle is set for
// every position lens and unused by a round light.
uniform vec2 offset;
uniform float angle;
uniform float radius;
