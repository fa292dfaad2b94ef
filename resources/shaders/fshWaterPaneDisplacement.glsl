#prelude es3
#prelude water_pane_look
// The frame through the wet pane, from the cached displacement texture
// (fshWaterPaneDisplacementGen), which has the frame's size.
in vec2 uv;
uniform highp isampler2D displacementTex;
out vec4 fragColor;

void main() {
    ivec2 size = textureSize(displacementTex, 0);
    ivec4 d = texelFetch(displacementTex, clamp(ivec2(gl_FragCoord.xy), ivec2(0), size - 1), 0);
    fragColor = paneLook(uv, vec2(d.xy), float(d.z) / 1024.0, float(d.w) / 1024.0, vec2(size));
}
