// Blend modes on colours in 0..1, shared by the filter and synthesis shaders.
// On ES 2 this piece opens the filter shader, so it sets the precision.
#prelude es2
float luminance(vec3 c) {
    return dot(c, vec3(0.299, 0.587, 0.114));
}

vec3 blendMultiply(vec3 base, vec3 blend) {
    return base * blend;
}

vec3 blendScreen(vec3 base, vec3 blend) {
    return 1.0 - (1.0 - base) * (1.0 - blend);
}

vec3 blendOverlay(vec3 base, vec3 blend) {
    vec3 low = 2.0 * base * blend;
    vec3 high = 1.0 - 2.0 * (1.0 - base) * (1.0 - blend);
    return mix(low, high, step(0.5, base));
}

vec3 blendSoftLight(vec3 base, vec3 blend) {
    vec3 low = 2.0 * base * blend + base * base * (1.0 - 2.0 * blend);
    vec3 high = sqrt(base) * (2.0 * blend - 1.0) + 2.0 * base * (1.0 - blend);
    return mix(low, high, step(0.5, blend));
}
