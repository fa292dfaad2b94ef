#prelude es2
// The closing trailer of a recording, as a function of stopSec (seconds into
// the trailer). OrvoStageTrailer::weightsAt computes the same curve on the
// CPU; change both together.
//   0 .. 1 s     the picture melts into its blurred copy (smoothstep);
//   1 .. 2.5 s   the trailer card fades in while it grows from 85% to full
//                size, and the blurred background darkens by up to 35%;
//   later        held.
// The card is a square of 80% of the frame's shorter side at full size,
// centred. The stage uploads the trailer picture padded to a square with a
// transparent rim, so the picture keeps its own shape inside the card; only
// the output's aspect (wvh) is needed to keep the card square. Colours are
// premultiplied and the card is laid over the background with its alpha.
//
// direction turns the card as the watermark turns its picture: 3 upright,
// 4 half a turn, 1 and 2 transposed (the picture's rows run along the
// output's x). A mirrored input exchanges 3 and 4; mirrored input and result
// together flip the overlay along y instead.
varying vec2 uv;
uniform sampler2D original;
uniform sampler2D blurred;
uniform sampler2D trailer;
uniform int mirror;
uniform int mirrorResult;
uniform vec2 wvh;
uniform float stopSec;
uniform int direction;

const float kBlurSeconds = 1.0;
const float kTrailerStart = 1.0;
const float kTrailerSeconds = 1.5;
const float kStartScale = 0.85;
const float kDim = 0.35;
const float kCardSide = 0.8;

void main() {
    float melt = smoothstep(0.0, 1.0, stopSec / kBlurSeconds);
    float fade = smoothstep(0.0, 1.0, (stopSec - kTrailerStart) / kTrailerSeconds);
    float scale = mix(kStartScale, 1.0, fade);

    vec4 background = mix(texture2D(original, uv), texture2D(blurred, uv), melt);
    background.rgb *= 1.0 - kDim * fade;

    vec2 p = uv;
    int turn = direction;
    if (mirror != 0 && mirrorResult != 0) {
        p.y = 1.0 - p.y;
    } else if (mirror != 0) {
        if (turn == 3) turn = 4;
        else if (turn == 4) turn = 3;
    }
    // Half the card's side in output uv: a square in pixels is narrower in
    // uv along the longer side of the frame.
    vec2 extent = 0.5 * kCardSide * scale * min(vec2(1.0), wvh.yx);
    vec2 d = (p - 0.5) / (2.0 * extent) + 0.5;
    vec2 q = d;
    if (turn == 1) q = vec2(1.0 - d.y, d.x);
    else if (turn == 2) q = vec2(d.y, 1.0 - d.x);
    else if (turn == 4) q = 1.0 - d;
    // Clamp-to-edge would smear the rim over the whole frame; outside the
    // card there is nothing to lay over the background.
    vec2 within = step(vec2(0.0), d) * step(d, vec2(1.0));
    vec4 card = texture2D(trailer, q) * (within.x * within.y * fade);

    gl_FragColor = background * (1.0 - card.a) + card;
}
