// One half of the min-max closing: CLOSING_OP (max or min, defined by the
// including piece) per channel over a 3x3 square of taps, imagestep apart,
// centred on the texel.
varying vec2 uv;
uniform sampler2D inputImage;
uniform vec2 imagestep;

void main() {
    vec4 result = texture2D(inputImage, uv);
    for (int j = -1; j <= 1; j++) {
        for (int i = -1; i <= 1; i++) {
            result = CLOSING_OP(result, texture2D(inputImage, uv + vec2(float(i), float(j)) * imagestep));
        }
    }
    gl_FragColor = result;
}
