#prelude es3
// Mask by plain colour distance: subject where the pixel lies further than
// `threshold` from the backdrop colour, with a soft edge over the last third.
// Out: rgb = the pixel's colour, a = subject coverage.
#prelude segment_inputs
uniform float threshold;
uniform vec3 bgColor;

void main() {
    vec3 c = texture(original, uv).rgb;
    fragColor = vec4(c, smoothstep(threshold * 0.67, threshold, distance(c, bgColor)));
}
