// Watercolour: colours from the closed picture (small dark details filled
// in, as a wash of paint covers them), a little wobble at the edges, washes
// a touch brighter and more saturated and settled to a few values, pigment
// pooling dark along wash edges, and granulation on rough paper.
{
    vec3 lensBefore = color.rgb;
    vec2 px = coord / imagestep;
    float scale = max(1.0, 0.001 / imagestep.x);
    vec2 wobble = vec2(sin(px.y * 0.045 / scale + 1.3 * sin(px.x * 0.03 / scale)),
                       cos(px.x * 0.04 / scale + 1.1 * sin(px.y * 0.035 / scale))) * 2.5 * scale * imagestep;
    vec2 at = coord + wobble;
    // A tent of nine taps melts the closing's square corners and the
    // speckle it leaves in fine bright detail into soft washes.
    vec2 d = 2.0 * scale * imagestep;
    vec3 wash = vec3(0.0);
    for (int j = -1; j <= 1; j++) {
        for (int i = -1; i <= 1; i++) {
            float w = (2.0 - abs(float(i))) * (2.0 - abs(float(j)));
            wash += w * texture(lens_auxilary, at + vec2(float(i), float(j)) * d).rgb;
        }
    }
    wash /= 16.0;
    vec3 hsl = rgb2hsl(wash);
    hsl.y = clamp(hsl.y * 1.15, 0.0, 1.0);
    hsl.z = mix(hsl.z, floor(hsl.z * 5.0 + 0.5) / 5.0, 0.45);
    wash = hsl2rgb(hsl);

    vec3 paper = vec3(0.98, 0.96, 0.92);
    wash = mix(paper, wash, 0.85);
    // Pigment pools where the wash changes: darken along its edges. Taps
    // five pixels out see the edges of areas, not the speckle of fine
    // detail.
    vec2 nx = vec2(5.0 * scale * imagestep.x, 0.0);
    vec2 ny = vec2(0.0, 5.0 * scale * imagestep.y);
    vec3 ex = texture(lens_auxilary, at + nx).rgb - texture(lens_auxilary, at - nx).rgb;
    vec3 ey = texture(lens_auxilary, at + ny).rgb - texture(lens_auxilary, at - ny).rgb;
    float edge = smoothstep(0.15, 0.5, sqrt(dot(ex, ex) + dot(ey, ey)));
    wash *= 1.0 - 0.3 * edge;

    // Granulation: fine grain and larger blooms where the paint dried
    // unevenly.
    float grain = fract(sin(dot(floor(px / (2.0 * scale)), vec2(12.9898, 78.233))) * 43758.5453);
    float bloom = sin(px.x * 0.09 / scale + 2.0 * sin(px.y * 0.05 / scale)) *
                  sin(px.y * 0.11 / scale + 2.0 * sin(px.x * 0.04 / scale));
    wash *= 0.97 + 0.04 * grain + 0.025 * bloom;
    color.rgb = wash;
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
