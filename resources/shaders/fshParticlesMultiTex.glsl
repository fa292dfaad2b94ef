#prelude es2
// One sprite of a sheet: uTexture is a 4 x 4 grid of equal cells, cell k at
// column k % 4 and row k / 4 counted from the top of the sheet image. The
// particle's style picks the cell (rounded, kept within 0 .. 15); sheets with
// fewer variants leave the later cells empty. Cells keep a transparent rim,
// so linear filtering does not bleed neighbours in. Orientation, alpha and
// clamping as in fshParticles.
varying float alpha;
varying float style;
uniform sampler2D uTexture;

const float kCells = 4.0;

void main() {
    float cell = clamp(floor(style + 0.5), 0.0, kCells * kCells - 1.0);
    float row = floor(cell / kCells);
    vec2 origin = vec2(cell - row * kCells, row);
    vec2 coord = (origin + vec2(gl_PointCoord.x, 1.0 - gl_PointCoord.y)) / kCells;
    gl_FragColor = clamp(texture2D(uTexture, coord) * alpha, 0.0, 1.0);
}
