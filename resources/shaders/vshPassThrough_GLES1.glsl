#prelude es2
attribute vec4 position;
attribute vec2 texCoord;
varying vec2 uv;

void main() {
    gl_Position = position;
    uv = texCoord;
}
