#prelude es2
// Vertical half of the blur pyramid's Gaussian: the same nine taps and
// weights as fshBlurX_GLES1 (sigma 1.5 taps), imagestep.y apart. The zoom
// was already applied by the horizontal half.
varying vec2 uv;
uniform sampler2D inputImage;
uniform vec2 imagestep;

void main() {
    vec2 dy = vec2(0.0, imagestep.y);
    vec4 sum = texture2D(inputImage, uv) * 0.2665600;
    sum += (texture2D(inputImage, uv - dy) + texture2D(inputImage, uv + dy)) * 0.2134445;
    sum += (texture2D(inputImage, uv - 2.0 * dy) + texture2D(inputImage, uv + 2.0 * dy)) * 0.1095861;
    sum += (texture2D(inputImage, uv - 3.0 * dy) + texture2D(inputImage, uv + 3.0 * dy)) * 0.0360750;
    sum += (texture2D(inputImage, uv - 4.0 * dy) + texture2D(inputImage, uv + 4.0 * dy)) * 0.0076144;
    gl_FragColor = sum;
}
