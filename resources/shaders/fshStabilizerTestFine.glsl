#prelude es3
#prelude stabilizer
// The precise variant of fshStabilizerTest: the same candidates, blocks and
// output packing, but each texel compares four points (a 32 x 32 grid over
// the block's region) and scores each by its luminance difference plus the
// difference of its local luminance gradients, measured over one reference
// texel. The gradient terms do not change with a uniform exposure shift
// between the reference and the frame, so texture, not brightness, decides.
#prelude candidate_scoring
uniform sampler2D last_tex;

float warpedLuminance(vec2 position, vec4 shift) {
    vec4 q = quatMultiply(bandRotation(bandOf(position.y)), shift);
    return luminance(texture(original, warpedPosition(q, position)).rgb);
}

float referenceLuminance(vec2 position) {
    return luminance(texture(last_tex, position).rgb);
}

void main() {
    vec2 texel = floor(gl_FragCoord.xy);
    vec2 block = floor(texel / block_size);
    vec2 cell = texel - block * block_size;

    vec4 candidate = normalize(vec4((block - 4.0) * test_step, 0.0, 1.0));
    vec4 invCur = bandRotation(0);
    vec4 shift = quatMultiply(quatConjugate(invCur), quatMultiply(candidate, invCur));
    vec2 step = 1.0 / vec2(textureSize(last_tex, 0));

    float score = 0.0;
    for (int n = 0; n < 4; ++n) {
        vec2 sub = vec2(float(n % 2), float(n / 2)) * 0.5 + 0.25;
        vec2 p = 0.5 + kRegion * ((cell + sub) / block_size - 0.5);
        float w = warpedLuminance(p, shift);
        float r = referenceLuminance(p);
        float gx = (warpedLuminance(p + vec2(step.x, 0.0), shift) - w) - (referenceLuminance(p + vec2(step.x, 0.0)) - r);
        float gy = (warpedLuminance(p + vec2(0.0, step.y), shift) - w) - (referenceLuminance(p + vec2(0.0, step.y)) - r);
        score += abs(w - r) + 0.5 * (abs(gx) + abs(gy));
    }
    float v = clamp(score * 0.25, 0.0, 1.0) * 255.0;
    fragColor = vec4(floor(v) / 255.0, fract(v), 0.0, 0.0);
}
