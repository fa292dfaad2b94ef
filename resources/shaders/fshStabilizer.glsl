#prelude es3
#prelude stabilizer
// The warp: each output pixel's sensor point is turned by its row band's
// rotation and looked up in the input. Points beyond the input's edge take
// the edge (clamp-to-edge sampling).
in vec2 uv;
uniform sampler2D original;
out vec4 fragColor;

void main() {
    fragColor = texture(original, warpedPosition(bandRotation(bandOf(uv.y)), uv));
}
