#prelude es3
// Median of the coverage over a 3x3 neighbourhood iamgestep apart: removes
// lone specks and pinholes without moving straight edges. The colour
// channels of the centre pass through.
#prelude segment_inputs
uniform vec2 iamgestep;

void order(inout float a, inout float b) {
    float lo = min(a, b);
    b = max(a, b);
    a = lo;
}

void main() {
    vec4 centre = texture(original, uv);
    float v[9];
    for (int j = 0; j < 3; j++) {
        for (int i = 0; i < 3; i++) {
            v[j * 3 + i] = texture(original, uv + vec2(float(i - 1), float(j - 1)) * iamgestep).a;
        }
    }
    // The 19-exchange median network for nine values; the median ends in v[4].
    order(v[1], v[2]); order(v[4], v[5]); order(v[7], v[8]);
    order(v[0], v[1]); order(v[3], v[4]); order(v[6], v[7]);
    order(v[1], v[2]); order(v[4], v[5]); order(v[7], v[8]);
    order(v[0], v[3]); order(v[5], v[8]); order(v[4], v[7]);
    order(v[3], v[6]); order(v[1], v[4]); order(v[2], v[5]);
    order(v[4], v[7]); order(v[4], v[2]); order(v[6], v[4]);
    order(v[4], v[2]);
    fragColor = vec4(centre.rgb, v[4]);
}
