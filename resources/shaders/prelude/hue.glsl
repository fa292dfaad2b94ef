// Hue of c as a fraction of a turn (0 red, 1/3 green, 2/3 blue), given its
// largest and smallest channel, which must differ.
float hueOf(vec3 c, float maxc, float minc) {
    float d = maxc - minc;
    float h;
    if (maxc == c.r) {
        h = (c.g - c.b) / d + (c.g < c.b ? 6.0 : 0.0);
    } else if (maxc == c.g) {
        h = (c.b - c.r) / d + 2.0;
    } else {
        h = (c.r - c.g) / d + 4.0;
    }
    return h / 6.0;
}
