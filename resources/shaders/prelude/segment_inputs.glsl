// Inputs and helpers of the segmentor's passes (ES 3). A channel index is
// 1 red, 2 green, 3 blue, 0 none.
in vec2 uv;
uniform sampler2D original;
out vec4 fragColor;

float channel(vec3 c, int index) {
    return index == 1 ? c.r : (index == 2 ? c.g : c.b);
}

// How far the key channel stands above the larger of the other two: the
// colour-difference measure of keying. Mixing a subject into the backdrop
// moves it almost linearly, and a change of the backdrop's brightness
// scales it, so it is read as a ratio to the backdrop's own.
float keyExcess(vec3 c, int maxIndex, int minIndex) {
    int mid = 6 - maxIndex - minIndex;
    return channel(c, maxIndex) - max(channel(c, minIndex), channel(c, mid));
}
