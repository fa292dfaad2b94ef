#prelude es3
#prelude upright
#prelude water_pane
#prelude water_pane_look
// The frame through the wet pane in one pass, without the displacement
// cache: the same look with unrounded offsets, for hosts that would rather
// spend the height-map look-ups every frame than keep a frame-sized texture.
in vec2 uv;
out vec4 fragColor;

void main() {
    Pane pane = paneAt(uv);
    fragColor = paneLook(uv, pane.offset, pane.light, pane.water, vec2(float(width), float(height)));
}
