#prelude es2
// Horizontal half of the separable Gaussian of the blur pyramid.
// Nine taps, imagestep.x apart, weighted by a Gaussian of sigma 1.5 taps:
// w(k) = exp(-k*k / 4.5), normalised over k = -4..4. Cutting it at 4 taps
// drops under 1% of the weight. The digital zoom is applied about the
// centre here, as the filter pass does, so every later level sees the
// zoomed picture.
varying vec2 uv;
uniform sampler2D inputImage;
uniform vec2 imagestep;
uniform float invZoom;

void main() {
    vec2 coord = uv * invZoom + (0.5 - 0.5 * invZoom);
    vec2 dx = vec2(imagestep.x, 0.0);
    vec4 sum = texture2D(inputImage, coord) * 0.2665600;
    sum += (texture2D(inputImage, coord - dx) + texture2D(inputImage, coord + dx)) * 0.2134445;
    sum += (texture2D(inputImage, coord - 2.0 * dx) + texture2D(inputImage, coord + 2.0 * dx)) * 0.1095861;
    sum += (texture2D(inputImage, coord - 3.0 * dx) + texture2D(inputImage, coord + 3.0 * dx)) * 0.0360750;
    sum += (texture2D(inputImage, coord - 4.0 * dx) + texture2D(inputImage, coord + 4.0 * dx)) * 0.0076144;
    gl_FragColor = sum;
}
