// Geometry shared by the stabiliser's warp and test passes.
//
// Row-band rotations come from four 64 x 1 lookup textures, one per
// quaternion component (x, y, z, w); texel k holds band k, band 0 being
// buffer row 0 (v = 0), the first row read out. Each component is a 24-bit
// base-255 fraction: value = r + g / 255 + b / 255^2, with x, y and z stored
// offset by 0.5. Each band's quaternion maps a reference-frame ray into the
// input camera's frame.
uniform sampler2D q0_tex;
uniform sampler2D q1_tex;
uniform sampler2D q2_tex;
uniform sampler2D q3_tex;
// Visible sensor extent of the output (cropping and zoom included) and the
// focal length, all in the same unit.
uniform float sense_width;
uniform float sense_height;
uniform float focal_len;
uniform float inv_sense_width;
uniform float inv_sense_height;
uniform float inv_focal_len;
uniform float cropping;

float lookupComponent(sampler2D table, int band) {
    // The digits are rounded back to whole bytes before they are combined:
    // some rasterisers (llvmpipe among them) hand out normalised texels with
    // only about 12 bits, which would cost the lower two digits. This is
    // r + g / 255 + b / 255^2 evaluated on exact digits.
    vec3 digits = floor(texelFetch(table, ivec2(band, 0), 0).rgb * 255.0 + 0.5);
    return (digits.r + (digits.g + digits.b / 255.0) / 255.0) / 255.0;
}

vec4 bandRotation(int band) {
    vec4 q = vec4(lookupComponent(q0_tex, band) - 0.5, lookupComponent(q1_tex, band) - 0.5,
                  lookupComponent(q2_tex, band) - 0.5, lookupComponent(q3_tex, band));
    // The 24-bit digits leave the length off 1 by up to 1e-7; the rotation
    // below needs a unit quaternion.
    return normalize(q);
}

int bandOf(float v) {
    return clamp(int(floor(v * 64.0)), 0, 63);
}

// Hamilton product a * b.
vec4 quatMultiply(vec4 a, vec4 b) {
    return vec4(a.w * b.xyz + b.w * a.xyz + cross(a.xyz, b.xyz), a.w * b.w - dot(a.xyz, b.xyz));
}

vec4 quatConjugate(vec4 q) {
    return vec4(-q.xyz, q.w);
}

// q p q^-1 for a unit quaternion q.
vec3 rotateByQuat(vec4 q, vec3 p) {
    vec3 t = 2.0 * cross(q.xyz, p);
    return p + q.w * t + cross(q.xyz, t);
}

// The sensor-plane point of an output position: x right, y up, the camera
// looking along -z.
vec3 sensorPoint(vec2 position) {
    return vec3((position.x - 0.5) * sense_width, (0.5 - position.y) * sense_height, -focal_len);
}

// Where a camera-frame ray meets the input picture, in texture coordinates.
// The input spans the full field of view: the output's extent over cropping.
vec2 inputPosition(vec3 ray) {
    float scale = focal_len / -ray.z * cropping;
    return vec2(0.5 + ray.x * scale * inv_sense_width, 0.5 - ray.y * scale * inv_sense_height);
}

// The stabilised picture's point `position` as the input camera saw it
// through the rotation q.
vec2 warpedPosition(vec4 q, vec2 position) {
    return inputPosition(rotateByQuat(q, sensorPoint(position)));
}
