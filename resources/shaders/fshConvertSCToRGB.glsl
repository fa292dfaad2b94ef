#prelude es3
#prelude burst_sums
// The burst's result: the three channel sums times ratio (one over the
// frame count), back from levels to 0..1, opaque.
uniform highp isampler2D tex_r;
uniform highp isampler2D tex_g;
uniform highp isampler2D tex_b;
uniform float ratio;
out vec4 fragColor;

void main() {
    ivec2 p = ivec2(gl_FragCoord.xy);
    vec3 sums = vec3(float(texelFetch(tex_r, p, 0).r), float(texelFetch(tex_g, p, 0).r),
                     float(texelFetch(tex_b, p, 0).r));
    fragColor = vec4(sums * ratio / kSumScale, 1.0);
}
