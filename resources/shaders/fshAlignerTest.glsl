#prelude es3
#prelude stabilizer
// Scores the frame aligner's 121 candidate corrections against the reference
// frame. The target is an 11 x 11 grid of 32 x 32 blocks: block column i,
// row j tests c = ((i - 5) step, (j - 5) step, 0, 1) applied after q0 as
// adjustMotion applies it (curQ' = curQ * c^-1), so the warp rotation is
// curQ'^-1 = c * q0. Each texel of a block compares one point of a 32 x 32
// grid over the centre of the picture and writes the absolute
// luminance difference v as R = floor(255 v) / 255 and G = fract(255 v),
// read back by the diff pass as r + g / 255.
//
// The candidate is split evenly between the two sides: the input is read
// through half of c after q0 and the reference through half of c
// backwards, so that they meet under the whole of c. Read one-sidedly, at
// the grid points themselves, the reference makes +c and -c compare
// different pairs of points, and with only 1024 of them the two scores
// differ by chance (a frame against itself scored the two neighbours of
// the centre 1.8 times apart): the weighted mean of the scores then leans
// the same way for every frame of a burst, by a tenth of a step or more.
// Split evenly, +c and -c compare the same pairs the other way round.
//
// Both sides are read as the mean of four bilinear taps half an input texel
// off the point, in the diagonals: a 3 x 3 tent over the input's texels,
// and the same footprint on the reference, whatever its own size. A burst
// is noisy by nature; the averaging takes about half of the noise out of
// every comparison, and so sharpens the scores' minimum.
#prelude candidate_scoring
uniform sampler2D ref_tex;
uniform vec4 q0;

float smoothedLuminance(sampler2D image, vec2 at, vec2 h) {
    vec3 c = texture(image, at + h).rgb + texture(image, at - h).rgb + texture(image, at + vec2(h.x, -h.y)).rgb +
             texture(image, at + vec2(-h.x, h.y)).rgb;
    return luminance(c * 0.25);
}

void main() {
    vec2 texel = floor(gl_FragCoord.xy);
    vec2 block = floor(texel / block_size);
    vec2 cell = texel - block * block_size;
    vec2 position = 0.5 + kRegion * ((cell + 0.5) / block_size - 0.5);

    // Half the candidate's turn: the quaternion of half the angle.
    vec4 halfCandidate = normalize(vec4((block - 5.0) * test_step * 0.5, 0.0, 1.0));
    vec4 q = quatMultiply(halfCandidate, normalize(q0));

    vec2 h = 0.5 / vec2(textureSize(original, 0));
    float warped = smoothedLuminance(original, warpedPosition(q, position), h);
    float reference = smoothedLuminance(ref_tex, warpedPosition(quatConjugate(halfCandidate), position), h);
    float v = abs(warped - reference) * 255.0;
    fragColor = vec4(floor(v) / 255.0, fract(v), 0.0, 0.0);
}
