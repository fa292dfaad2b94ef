// Film looks: what a projected print adds to a picture. The grain image
// (style_auxilary) is a 4 x 4 grid of tiles: the upper two rows hold grain,
// the lower two grain with dust, hairs and scratches. The processor picks
// three tiles every frame: tex1Idx chooses the grain (folded into the upper
// rows), tex2Idx the damage (folded into the lower rows), tex3Idx varies the
// scratches drawn here. Everything else that moves (gate weave, flicker,
// where the grain sits) follows frameCount, so consecutive frames differ
// while a frame with the same number and tiles comes out the same.
uniform vec2 tex1Idx;
uniform vec2 tex2Idx;
uniform vec2 tex3Idx;

// A value in [0, 1) from any number. The argument is folded into a small
// range first so that GPUs with a short sine keep it well spread.
float filmHash(float n) {
    return fract(sin(mod(n, 1021.0) * 0.6180 + 0.73) * 43758.5453);
}

// A value in [0, 1) for this frame; salt tells the frame's values apart.
float filmFrameRandom(float salt) {
    return filmHash(frameCount * 3.17 + salt * 71.3);
}

// The grain image at position p (in tile widths) inside tile (0..3, 0..3).
// p wraps around the tile, which wraps seamlessly; the sample stays a texel
// inside so that linear filtering never reads the neighbouring tile.
float filmTileSample(vec2 tile, vec2 p) {
    vec2 inTile = fract(p) * (1.0 - 2.0 / 192.0) + 1.0 / 192.0;
    return texture(style_auxilary, (tile + inTile) * 0.25).r;
}

// Grain around 0 (about -0.25 .. 0.25): a grain tile repeated at `pixels`
// output pixels per grain texel, moved to a new place every frame; salt
// gives independent grain for each colour layer.
float filmGrainAt(float pixels, float salt) {
    vec2 tile = vec2(tex1Idx.x, mod(tex1Idx.y, 2.0));
    vec2 p = uv / (imagestep * 192.0 * pixels);
    p += vec2(filmFrameRandom(salt + 0.1), filmFrameRandom(salt + 0.2));
    return filmTileSample(tile, p) - 0.5;
}

float filmGrain(float pixels) {
    return filmGrainAt(pixels, 1.0);
}

// Grain that adds more in the mid tones than in deep shadows and highlights,
// as silver grain shows most there.
vec3 filmApplyGrain(vec3 c, vec3 grain, float amount) {
    float l = clamp(luminance(c), 0.0, 1.0);
    return c + grain * amount * (0.35 + 2.6 * l * (1.0 - l));
}

// Dust, hairs and scratches of the print: a damaged tile stretched so that
// it spans the frame's height, shifted and flipped anew every frame. Answers
// how much a dark (x) and a bright (y) defect covers this point; the value
// bands leave out the grain and a missing (black) image.
vec2 filmDefects() {
    vec2 tile = vec2(tex2Idx.x, 2.0 + mod(tex2Idx.y, 2.0));
    vec2 p = vec2(uv.x * wvh.x, uv.y);
    vec2 flip = step(0.5, vec2(filmFrameRandom(3.1), filmFrameRandom(3.2))) * 2.0 - 1.0;
    p = p * flip + vec2(filmFrameRandom(3.3), filmFrameRandom(3.4));
    float v = filmTileSample(tile, p);
    float dark = smoothstep(0.02, 0.06, v) * (1.0 - smoothstep(0.14, 0.24, v));
    float bright = smoothstep(0.78, 0.86, v) * (1.0 - smoothstep(0.96, 0.995, v));
    return vec2(dark, bright);
}

// Up to four thin vertical scratches (1 where a scratch is, 0 elsewhere).
// A scratch stays in place for a few frames and jitters sideways, as one
// running along the print does, while its strength along the length changes
// with every frame's tex3Idx; `chance` is how likely each one is there.
float filmScratches(float chance) {
    float seed = dot(tex3Idx, vec2(1.0, 4.0));
    float run = floor(frameCount / 7.0);
    float width = imagestep.x * 0.9;
    float scratch = 0.0;
    for (int i = 0; i < 4; i++) {
        float k = float(i) * 13.7;
        float present = step(filmHash(run * 5.3 + k), chance);
        float x = 0.08 + 0.84 * filmHash(run * 2.9 + k + 0.5) + imagestep.x * 2.0 * (filmFrameRandom(k) - 0.5);
        float along = 0.55 + 0.45 * sin(uv.y * (5.0 + float(i) * 3.0) + k + seed * 1.7);
        float line = 1.0 - smoothstep(width * 0.5, width * 1.5, abs(uv.x - x));
        scratch = max(scratch, present * line * along);
    }
    return scratch;
}

// The frame's gate weave in texture units: a slow drift and a jitter, more
// up and down (the film's travel) than sideways, about `pixels` at most.
vec2 filmWeave(float pixels) {
    float drift = sin(frameCount * 0.37);
    vec2 jitter = vec2(filmFrameRandom(5.1), filmFrameRandom(5.2)) - 0.5;
    return imagestep * pixels * vec2(0.5 * jitter.x + 0.15 * drift, jitter.y + 0.5 * drift);
}

// Brightness of the frame: 1 +- amount, new every frame.
float filmFlicker(float amount) {
    return 1.0 + amount * (2.0 * filmFrameRandom(6.1) - 1.0);
}

// original around `at`, softened over about `pixels`: a centre and two rings of taps.
vec3 filmSoft(vec2 at, float pixels) {
    vec2 s = imagestep * pixels;
    vec3 sum = texture(original, at).rgb * 2.0;
    sum += texture(original, at + vec2(s.x, 0.0)).rgb + texture(original, at - vec2(s.x, 0.0)).rgb;
    sum += texture(original, at + vec2(0.0, s.y)).rgb + texture(original, at - vec2(0.0, s.y)).rgb;
    sum += texture(original, at + s * 0.7).rgb + texture(original, at - s * 0.7).rgb;
    sum += texture(original, at + vec2(s.x, -s.y) * 0.7).rgb + texture(original, at + vec2(-s.x, s.y) * 0.7).rgb;
    return sum * 0.1;
}

// The picture at `at` moved by the weave and softened, applied as a change
// to c so that what ran before (face smoothing, tone mapping) is kept.
vec3 filmProjected(vec3 c, vec2 at, vec2 weave, float softness) {
    return c + filmSoft(at + weave, softness) - texture(original, at).rgb;
}

// Darkening towards the corners of the frame: 1 in the middle, 1 - strength
// in the corners, starting at `inner` (0 centre, 1 corner).
float filmVignette(float strength, float inner) {
    float r = length(uv - 0.5) * 1.41421;
    return 1.0 - strength * smoothstep(inner, 1.0, r);
}
