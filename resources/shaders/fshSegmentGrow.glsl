#prelude es3
// Second pass of the blue-screen mask, over a 3x3 neighbourhood twice
// imagestep apart (nine taps reach as far as twenty-five one step apart, at
// a third of the cost; the mask is smooth at that scale):
// - the local backdrop colour: the mean of the neighbours that are clearly
//   backdrop, so the compositing pass can measure each pixel against the
//   backdrop as it is lit there, and take the backdrop's share back out of
//   mixed edge pixels; black where no backdrop is near;
// - holes: a pixel that is not clearly backdrop yet nearly surrounded by
//   subject is subject (a fold of a shirt leaning towards the key colour).
//   Pixels that are clearly backdrop keep their value, so the gaps between
//   strands of hair stay open;
// - specks: subject coverage with hardly any subject around is noise of the
//   backdrop. (Strands of hair lost here come back in the compositing pass,
//   which measures every pixel again at full resolution.)
// In: rgb = colour, a = coverage. Out: rgb = local backdrop, a = coverage.
#prelude segment_inputs
uniform vec2 imagestep;

float chroma(vec3 c) {
    return max(max(c.r, c.g), c.b) - min(min(c.r, c.g), c.b);
}

void main() {
    vec4 centre = texture(original, uv);
    vec4 taps[9];
    float purest = 0.0;
    float solid = 0.0;
    float subject = 0.0;
    for (int j = 0; j < 3; j++) {
        for (int i = 0; i < 3; i++) {
            vec4 s = texture(original, uv + vec2(float(i - 1), float(j - 1)) * (2.0 * imagestep));
            taps[j * 3 + i] = s;
            if (s.a < 0.2) {
                purest = max(purest, chroma(s.rgb));
            }
            solid += step(0.95, s.a);
            subject += step(0.5, s.a);
        }
    }
    // Backdrop taps count by how close their chroma comes to the purest
    // one's: strands of hair and edges mixed into the backdrop dull it, and
    // would make the backdrop look darker than it is.
    vec3 backdrop = vec3(0.0);
    float weight = 0.0;
    for (int k = 0; k < 9; k++) {
        float w = clamp(1.0 - 5.0 * taps[k].a, 0.0, 1.0) * clamp(1.0 - (purest - chroma(taps[k].rgb)) * 10.0, 0.0, 1.0);
        backdrop += w * taps[k].rgb;
        weight += w;
    }
    backdrop = weight > 0.05 ? backdrop / weight : vec3(0.0);
    float coverage = centre.a;
    if (centre.a > 0.2 && solid >= 7.0) {
        coverage = 1.0;
    }
    // A lone speck of subject in the backdrop is noise.
    coverage *= smoothstep(1.0, 3.0, subject);
    fragColor = vec4(backdrop, coverage);
}
