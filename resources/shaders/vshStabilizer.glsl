#prelude es3
#prelude stabilizer
// The warp's mesh: 64 row bands across the picture. A vertex takes the
// rotation of the band it belongs to, on the band's bottom edge too, so each
// band is turned by its own quaternion right up to where the next begins,
// exactly as a per-pixel lookup with band = floor(v * 64) would be.
// Within one band the turned sensor point is an affine function of the
// output position, so interpolating it between the vertices is exact however
// wide the band's quads are; only the projection onto the input plane is
// not, and the fragment shader does that per pixel.
in vec4 position;
in vec2 texCoord;
// Band index, a whole number 0..63, in slot 4 beside the shared position (0)
// and texture coordinate (3) slots.
layout(location = 4) in float band;
out vec3 ray;

void main() {
    gl_Position = position;
    ray = rotateByQuat(bandRotation(int(band)), sensorPoint(texCoord));
}
