#prelude es2
// The watermark over the finished frame. The texture holds premultiplied
// colour and is blended with (ONE, ONE_MINUS_SRC_ALPHA). "grey" is the grey
// level the picture is shown at: its colour is multiplied by it (1 keeps the
// picture as drawn, 0.5 turns a white logo mid-grey, 0 black) while its
// coverage stays. "alpha" fades the whole watermark; in premultiplied form
// that scales colour and coverage alike.
varying vec2 uv;
uniform sampler2D watermark;
uniform float grey;
uniform float alpha;

void main() {
    vec4 color = texture2D(watermark, uv);
    color.rgb *= clamp(grey, 0.0, 1.0);
    gl_FragColor = color * alpha;
}
