// Inputs of the blue-screen lenses. segmentTex is the segmentor's mask
// (rgb: the backdrop colour around the pixel, black where none is near;
// a: subject coverage). backgroundTex replaces the backdrop (type 0 with
// bgEnabled); bgWvH is its aspect ratio over the frame's. The key's
// dominant and weakest channels are 1 red, 2 green, 3 blue, 0 none (a grey
// key). replaceHue (0..1) is the new colour of the key hue (type 2).
uniform sampler2D backgroundTex;
uniform sampler2D segmentTex;
uniform int bgEnabled;
uniform int bgMaxIndex;
uniform int bgMinIndex;
uniform float bgWvH;
uniform float replaceHue;

float keyChannel(vec3 c, int index) {
    return index == 1 ? c.r : (index == 2 ? c.g : c.b);
}

// The key channel's lead over the larger of the other two.
float keyLead(vec3 c) {
    int mid = 6 - bgMaxIndex - bgMinIndex;
    return keyChannel(c, bgMaxIndex) - max(keyChannel(c, bgMinIndex), keyChannel(c, mid));
}

// c with its key channel no higher than the larger of the other two: what
// the key colour's spill added to the subject goes, other colours stay.
vec3 withoutSpill(vec3 c) {
    int mid = 6 - bgMaxIndex - bgMinIndex;
    float limit = max(keyChannel(c, bgMinIndex), keyChannel(c, mid));
    vec3 capped = vec3(min(c.r, limit), min(c.g, limit), min(c.b, limit));
    return bgMaxIndex == 1 ? vec3(capped.r, c.gb) : (bgMaxIndex == 2 ? vec3(c.r, capped.g, c.b) : vec3(c.rg, capped.b));
}

// The background picture at a frame position, filling the frame and cut to
// its aspect ratio about the centre.
vec3 backgroundAt(vec2 at) {
    vec2 p = at;
    if (bgWvH > 1.0) {
        p.x = 0.5 + (at.x - 0.5) / bgWvH;
    } else if (bgWvH > 0.0) {
        p.y = 0.5 + (at.y - 0.5) * bgWvH;
    }
    return texture(backgroundTex, p).rgb;
}
