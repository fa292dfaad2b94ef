#prelude es3
#prelude upright
// Flood: the picture stands as a wall scene_distance ahead of the eye, and
// water fills the floor water_position below it (negative is below). Rays
// leave the eye through (x * aspect, y, kFocal) for the upright frame's x, y
// in -1 .. 1 (y up), so the water meets the wall at
// y = water_position * kFocal / scene_distance (OrvoEffectFlood::waterLineFor
// computes the same line): above it the picture is left as it is; below it
// the ray is reflected by the water surface back onto the wall, which
// mirrors the picture about that line. The ripples are the tiled height
// field `heightimage` (bytes (h + 1) * 127.5) laid on the water, one tile
// every kTile units, its slopes scaled by `amplitude`; they bend the normal
// and so the reflection. The reflection is laid over the water's own colour
// with strength `reflection`.
//
// direction: 3 upright, 4 half a turn, 1 and 2 a quarter turn either way
// (the picture's rows run along the output's x), as the other passes take
// it. q turns the view ray into the water's frame and q_inv turns the
// reflected ray back before it meets the picture.
in vec2 uv;
uniform sampler2D original;
uniform sampler2D heightimage;
uniform float amplitude;
uniform float reflection;
uniform float water_position;
uniform float scene_distance;
uniform vec4 q;
uniform vec4 q_inv;
out vec4 fragColor;

const float kFocal = 2.0;
const float kTile = 12.0;
const float kRipple = 0.2;
const vec3 kWaterColour = vec3(0.04, 0.10, 0.12);

vec3 rotate(vec4 r, vec3 v) { return v + 2.0 * cross(r.xyz, cross(r.xyz, v) + r.w * v); }

vec2 outputOf(vec2 p) {
    if (direction == 4) return 1.0 - p;
    if (direction == 1) return vec2(p.y, 1.0 - p.x);
    if (direction == 2) return vec2(1.0 - p.y, p.x);
    return p;
}

float rippleHeight(vec2 c) { return (texture(heightimage, c).r * 2.0 - 1.0) * amplitude; }

void main() {
    vec4 here = texture(original, uv);
    vec2 size = vec2(textureSize(original, 0));
    bool turned = direction == 1 || direction == 2;
    float aspect = turned ? size.y / size.x : size.x / size.y;
    vec2 p = uprightOf(uv);
    vec3 ray = rotate(q, vec3((2.0 * p.x - 1.0) * aspect, 1.0 - 2.0 * p.y, kFocal));

    float t = ray.y < 0.0 ? water_position / ray.y : -1.0;
    if (t <= 0.0 || t * ray.z >= scene_distance) {
        fragColor = here;
        return;
    }
    vec3 hit = t * ray;

    vec2 c = hit.xz / kTile;
    const float cell = 1.0 / 256.0;
    vec2 slope = kRipple * 0.5 * vec2(rippleHeight(c + vec2(cell, 0.0)) - rippleHeight(c - vec2(cell, 0.0)),
                                      rippleHeight(c + vec2(0.0, cell)) - rippleHeight(c - vec2(0.0, cell)));
    vec3 n = normalize(vec3(-slope.x, 1.0, -slope.y));
    vec3 r = rotate(q_inv, reflect(normalize(ray), n));
    vec3 from = rotate(q_inv, hit);

    vec4 mirrored = here;
    if (r.z > 1e-4) {
        vec3 wall = from + r * ((scene_distance - from.z) / r.z);
        vec2 ndc = wall.xy * (kFocal / scene_distance);
        mirrored = texture(original, outputOf(vec2(0.5 * (ndc.x / aspect + 1.0), 0.5 * (1.0 - ndc.y))));
    }
    fragColor = vec4(mix(kWaterColour, mirrored.rgb, reflection), here.a);
}
