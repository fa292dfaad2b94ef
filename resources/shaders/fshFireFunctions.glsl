// Noise for the fire lens: smooth value noise on a unit lattice, its sum over
// five octaves (a turbulence whose values stay in 0..1), and the colour of a
// flame by its heat.
float fireHash(vec2 p) {
    return fract(sin(dot(p, vec2(127.1, 311.7))) * 43758.5453);
}

float fireNoise(vec2 p) {
    vec2 i = floor(p);
    vec2 f = fract(p);
    f = f * f * (3.0 - 2.0 * f);
    float top = mix(fireHash(i), fireHash(i + vec2(1.0, 0.0)), f.x);
    float bottom = mix(fireHash(i + vec2(0.0, 1.0)), fireHash(i + vec2(1.0, 1.0)), f.x);
    return mix(top, bottom, f.y);
}

float fireTurbulence(vec2 p) {
    float sum = 0.0;
    float amplitude = 0.5;
    for (int i = 0; i < 5; i++) {
        sum += amplitude * fireNoise(p);
        p = p * 2.03 + vec2(1.7, 9.2);
        amplitude *= 0.5;
    }
    return sum / 0.96875;
}

// Heat 0..1: black, deep red, orange, yellow, white.
vec3 fireColour(float heat) {
    float h2 = heat * heat;
    return clamp(vec3(heat * 2.2, h2 * 1.5 - 0.1, h2 * h2 * h2 * 1.4 - 0.3), 0.0, 1.0);
}
