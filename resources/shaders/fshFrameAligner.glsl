#prelude es3
#prelude stabilizer
// The frame aligner's warp: one rotation "q" for the whole frame (no row
// bands). Each output pixel's sensor point is turned by q into the input
// camera's frame and projected back onto the input picture, read
// bilinearly; beyond its edge the edge is repeated (clamp-to-edge).
in vec2 uv;
uniform sampler2D original;
uniform vec4 q;
out vec4 fragColor;

void main() {
    fragColor = texture(original, warpedPosition(normalize(q), uv));
}
