#prelude es2
// Second half of the min-max closing: the per-channel minimum over the same
// 3x3 square of taps as fshMax_GLES1.
varying vec2 uv;
uniform sampler2D inputImage;
uniform vec2 imagestep;

void main() {
    vec4 result = texture2D(inputImage, uv);
    for (int j = -1; j <= 1; j++) {
        for (int i = -1; i <= 1; i++) {
            result = min(result, texture2D(inputImage, uv + vec2(float(i), float(j)) * imagestep));
        }
    }
    gl_FragColor = result;
}
