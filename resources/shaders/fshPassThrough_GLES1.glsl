#prelude es2
varying vec2 uv;
uniform sampler2D original;

void main() {
    gl_FragColor = texture2D(original, uv);
}
