// What the viewer sees through the wet pane, shared by
// fshWaterPaneDisplacement and fshWaterPane. Water shows the sharp picture
// (`original`, zoomed by 1 / invzoom about the centre) bent by the pane's
// offset; dry glass shows the misted picture (`blurtex`, level 1 of the blur
// pyramid, which already carries the zoom) a little paler and flatter, as
// mist scatters light. The light term is added scaled by `luminance`.
uniform sampler2D original;
uniform sampler2D blurtex;
uniform float luminance;
uniform float invzoom;

const vec3 kMist = vec3(0.85);
const float kMistStrength = 0.12;

vec4 paneLook(vec2 p, vec2 offsetPixels, float light, float water, vec2 frameSize) {
    vec2 shift = offsetPixels / frameSize;
    vec4 sharp = texture(original, (p - 0.5) * invzoom + 0.5 + shift * invzoom);
    vec4 misted = texture(blurtex, p + shift);
    misted.rgb = mix(misted.rgb, kMist, kMistStrength);
    vec4 color = mix(misted, sharp, water);
    color.rgb = clamp(color.rgb + luminance * light, 0.0, 1.0);
    return color;
}
