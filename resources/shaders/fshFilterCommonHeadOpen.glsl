#piece fshFilterCommonHead_part1
void main() {
    // Digital zoom about the picture's centre; lens code that follows may
    // move coord further before the picture is sampled. Written so that a
    // zoom of 1 leaves uv bit for bit: (uv - 0.5) + 0.5 would not, and the
    // rounding moves texel-centre samples enough to change a byte.
    vec2 coord = uv * invZoom + (0.5 - 0.5 * invZoom);
    // Face stretching: a gentle horizontal squeeze of the centre, fading out
    // towards the edges. Added as a term that is exactly 0 when off, so the
    // plain path samples uv untouched.
    float dx = coord.x - 0.5;
    coord.x += float(stretchFace) * dx * 0.12 * (1.0 - smoothstep(0.0, 0.5, abs(dx)));
