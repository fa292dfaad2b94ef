#prelude es2
// Lays the particle layer (source, premultiplied) over the frame (target).
// The square layer covers the frame as an aspect fill: it spans the frame's
// longer side and the shorter side sees the middle of it, so a layer pixel
// is square on the frame. hvw is the frame's height / width.
varying vec2 uv;
uniform sampler2D target;
uniform sampler2D source;
uniform float hvw;

void main() {
    vec2 scale = vec2(min(1.0, 1.0 / hvw), min(1.0, hvw));
    vec4 particles = texture2D(source, 0.5 + (uv - 0.5) * scale);
    vec4 frame = texture2D(target, uv);
    gl_FragColor = particles + frame * (1.0 - particles.a);
}
