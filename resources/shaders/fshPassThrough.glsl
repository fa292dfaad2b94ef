#prelude es3
in vec2 uv;
uniform sampler2D original;
out vec4 fragColor;

void main() {
    fragColor = texture(original, uv);
}
