#prelude es3
// Copies a 16-bit integer texture texel for texel, unchanged.
uniform highp isampler2D original;
layout(location = 0) out highp int fragSum;

void main() {
    fragSum = texelFetch(original, ivec2(gl_FragCoord.xy), 0).r;
}
