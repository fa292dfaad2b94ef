#prelude es2
// The transform of fshRotate on an output of another size than the turned
// picture. The sharp picture is placed at its own pixel size in the middle
// of the output (zoomfit, fitTrans take the output's uv to the turned
// picture's uv); the border shows the blurred copy scaled up until it covers
// the whole output (zoomfill, fillTrans), cropped on the longer side. Both
// then go through the same turn into the source:
//   s = (dot(ac, p), dot(bd, p)) + t.
varying vec2 uv;
uniform sampler2D original;
uniform sampler2D blur;
uniform vec2 ac;
uniform vec2 bd;
uniform vec2 t;
uniform vec2 zoomfit;
uniform vec2 fitTrans;
uniform vec2 zoomfill;
uniform vec2 fillTrans;

vec2 toSource(vec2 p) {
    return vec2(dot(ac, p), dot(bd, p)) + t;
}

void main() {
    vec2 sharp = toSource(uv * zoomfit + fitTrans);
    vec2 back = toSource(uv * zoomfill + fillTrans);
    vec2 within = step(vec2(0.0), sharp) * step(sharp, vec2(1.0));
    gl_FragColor = mix(texture2D(blur, back), texture2D(original, sharp), within.x * within.y);
}
