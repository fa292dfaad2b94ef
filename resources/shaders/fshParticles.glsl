#prelude es2
// A single sprite (uTexture, premultiplied) scaled by the particle's alpha.
// gl_PointCoord runs from the top of the point in window space; the layer
// holds the picture with its top row at window y 0, so the sprite is read
// with t flipped to stand upright in the picture. The alpha may exceed 1;
// the result is clamped, which keeps it premultiplied (colour <= coverage).
varying float alpha;
uniform sampler2D uTexture;

void main() {
    vec2 coord = vec2(gl_PointCoord.x, 1.0 - gl_PointCoord.y);
    gl_FragColor = clamp(texture2D(uTexture, coord) * alpha, 0.0, 1.0);
}
