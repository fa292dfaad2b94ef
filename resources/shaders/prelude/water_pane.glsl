// The wet pane at an output position, shared by fshWaterPaneDisplacementGen
// (which stores it per pixel) and fshWaterPane (which uses it directly).
//
// heightimage holds the drops and trails as bytes: 128 is dry glass, 127 the
// bed of a trail, more is a drop. It tiles the upright frame `scale` times
// across its longer side, rows running down the upright picture, so water
// always runs towards the bottom whatever way the device is held.
// direction: 3 upright, 4 half a turn, 1 and 2 a quarter turn either way
// (the picture's rows run along the output's x), as the other passes take it.
uniform sampler2D heightimage;
uniform sampler2D heightimage2;  // 0/1 grain of the mist
uniform float thickness;
uniform float refraction;
uniform int width;
uniform int height;
uniform float scale;
uniform float lightdirx;
uniform float lightdiry;
uniform float lightdirz;

struct Pane {
    vec2 offset;      // where to look instead, in output pixels
    float light;      // sun glint plus shading of the water surface
    float water;      // 0 dry (misted) .. 1 water (clear)
};

// A shift along the upright axes as a shift along the output's.
vec2 outputShiftOf(vec2 d) {
    if (direction == 4) return -d;
    if (direction == 1) return vec2(d.y, -d.x);
    if (direction == 2) return vec2(-d.y, d.x);
    return d;
}

float paneHeight(vec2 m) { return texture(heightimage, m).r * 255.0; }

Pane paneAt(vec2 p) {
    bool turned = direction == 1 || direction == 2;
    vec2 size = turned ? vec2(float(height), float(width)) : vec2(float(width), float(height));
    float tilesPerPixel = scale / max(size.x, size.y);
    vec2 m = uprightOf(p) * size * tilesPerPixel;
    float pixelsPerCell = 1.0 / (1024.0 * tilesPerPixel);

    const float cell = 1.0 / 1024.0;
    float h = paneHeight(m);
    // Slope per map cell; a drop's rim reaches about 1 (its bytes rise 2 R^2 over R cells).
    vec2 slope = 0.5 / 32.0 * vec2(paneHeight(m + vec2(cell, 0.0)) - paneHeight(m - vec2(cell, 0.0)),
                                   paneHeight(m + vec2(0.0, cell)) - paneHeight(m - vec2(0.0, cell)));
    // Any step off 128 is water; the linear filter softens the edge over a pixel or so.
    float water = smoothstep(0.25, 0.75, abs(h - 128.0));

    // A drop is a small strong lens: its far side shows what lies beyond its
    // near side (the picture appears turned over inside it). Thicker glass
    // bends less per slope.
    vec2 bend = slope * (8.0 * refraction / max(thickness, 1e-3)) * pixelsPerCell * water;

    // Mist: the grain jitters the look-up by up to a pixel where the glass is dry.
    float g1 = texture(heightimage2, m * 3.0).r * 255.0;
    float g2 = texture(heightimage2, m * 3.0 + vec2(0.37, 0.61)).r * 255.0;
    vec2 jitter = (vec2(g1, g2) - 0.5) * 2.0 * (1.0 - water);

    // Upright frame, z towards the viewer; the light's y is up, the frame's down.
    vec3 l = normalize(vec3(lightdirx, -lightdiry, lightdirz));
    vec3 n = normalize(vec3(-slope, 1.0));
    float glint = pow(max(reflect(-l, n).z, 0.0), 40.0);
    float shade = 0.5 * (dot(n, l) - l.z);

    Pane pane;
    pane.offset = outputShiftOf(bend + jitter);
    pane.light = (glint + shade) * water;
    pane.water = water;
    return pane;
}
