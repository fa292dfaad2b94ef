#prelude es3
// Full-screen quad: positions in clip space, texture coordinates passed on.
// The varying is "uv": a name with "texture" in it would not survive the
// ES 2 rewrite of the filter shader.
in vec4 position;
in vec2 texCoord;
out vec2 uv;

void main() {
    gl_Position = position;
    uv = texCoord;
}
