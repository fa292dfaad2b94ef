#prelude es3
#prelude stabilizer
// Scores 81 candidate corrections against the reference frame. The target is
// a 9 x 9 grid of 16 x 16 blocks: block column i, row j tests the correction
// c = ((i - 4) step, (j - 4) step, 0, 1) as adjustMotion applies it
// (curQ' = curQ * c^-1). Its warp rotation for band k is then
//   (curQ' * band[k])^-1 = Q[k] * curQ * c * curQ^-1,
// with Q[k] = (curQ * band[k])^-1 from the lookup textures; band 0 is the
// identity, so Q[0] = curQ^-1 supplies curQ. Each texel of a block compares
// one point of a 16 x 16 grid over the central part of the output and
// writes the absolute luminance difference v as R = floor(255 v) / 255 and
// G = fract(255 v): the diff pass reads it back as r + g / 255.
#prelude candidate_scoring
uniform sampler2D last_tex;

void main() {
    vec2 texel = floor(gl_FragCoord.xy);
    vec2 block = floor(texel / block_size);
    vec2 cell = texel - block * block_size;
    vec2 position = 0.5 + kRegion * ((cell + 0.5) / block_size - 0.5);

    vec4 candidate = normalize(vec4((block - 4.0) * test_step, 0.0, 1.0));
    vec4 invCur = bandRotation(0);
    vec4 shift = quatMultiply(quatConjugate(invCur), quatMultiply(candidate, invCur));
    vec4 q = quatMultiply(bandRotation(bandOf(position.y)), shift);

    float warped = luminance(texture(original, warpedPosition(q, position)).rgb);
    float reference = luminance(texture(last_tex, position).rgb);
    float v = abs(warped - reference) * 255.0;
    fragColor = vec4(floor(v) / 255.0, fract(v), 0.0, 0.0);
}
