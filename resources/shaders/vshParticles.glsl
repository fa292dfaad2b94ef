#prelude es2
// One point sprite per particle on the square particle layer. The size is a
// fraction of the layer's side (imageWidth pixels); the implementation's
// largest point size caps it.
attribute vec2 particlePosition;
attribute float particleSize;
attribute float particleAlpha;
attribute float particleStyle;
uniform float imageWidth;
varying float alpha;
varying float style;

void main() {
    gl_Position = vec4(particlePosition, 0.0, 1.0);
    gl_PointSize = particleSize * imageWidth;
    alpha = particleAlpha;
    style = particleStyle;
}
