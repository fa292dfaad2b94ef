#prelude es3
#prelude stabilizer
// The warp's pixels: the input camera's ray, already turned by its row
// band's rotation in the vertex shader, projected onto the input picture.
// Points beyond the input's edge take the edge (clamp-to-edge sampling).
in vec3 ray;
uniform sampler2D original;
out vec4 fragColor;

void main() {
    fragColor = texture(original, inputPosition(ray));
}
