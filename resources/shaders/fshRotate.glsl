#prelude es2
// Draws the source through a 2x2 transform and a translation. The output
// position uv goes to the source position
//   s = (dot(ac, uv), dot(bd, uv)) + t,
// that is uv * mat2(ac, bd) + t: ac and bd are the columns of the matrix and
// each gives one source coordinate. t is the smallest such coordinate over
// the unit square's corners, negated, so a turn or flip lands in 0..1.
// Where s falls outside the source, the blurred copy fills in (sampled at
// the same place, clamped to its edge by the sampler).
varying vec2 uv;
uniform sampler2D original;
uniform sampler2D blur;
uniform vec2 ac;
uniform vec2 bd;
uniform vec2 t;

void main() {
    vec2 s = vec2(dot(ac, uv), dot(bd, uv)) + t;
    vec2 within = step(vec2(0.0), s) * step(s, vec2(1.0));
    gl_FragColor = mix(texture2D(blur, s), texture2D(original, s), within.x * within.y);
}
