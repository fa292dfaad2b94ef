// The style's lookup table as a 65 x 65 x 65 cube (ES 3 only), red along s,
// green along t, blue along r. The cube went up with red and blue exchanged
// in every texel, so the value read is swizzled back.
uniform highp sampler3D lut3D;

vec3 lookupCube(vec3 c) {
    vec3 at = clamp(c, 0.0, 1.0) * (64.0 / 65.0) + 0.5 / 65.0;
    return texture(lut3D, at).bgr;
}
