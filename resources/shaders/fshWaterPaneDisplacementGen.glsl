#prelude es3
#prelude upright
#prelude water_pane
// The wet pane per output pixel, for fshWaterPaneDisplacement to read back
// each frame: x, y the offset in output pixels (rounded), z the light term
// and w the water coverage, both in 1/1024.
in vec2 uv;
layout(location = 0) out ivec4 displacement;

void main() {
    Pane pane = paneAt(uv);
    displacement = ivec4(ivec2(round(pane.offset)), int(round(pane.light * 1024.0)),
                         int(round(pane.water * 1024.0)));
}
