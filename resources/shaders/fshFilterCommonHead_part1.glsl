void main() {
    // Digital zoom about the picture's centre; lens code that follows may
    // move coord further before the picture is sampled.
    vec2 coord = (uv - 0.5) * invZoom + 0.5;
    if (stretchFace != 0) {
        // A gentle horizontal squeeze of the centre, fading out towards the edges.
        float dx = coord.x - 0.5;
        coord.x = 0.5 + dx * (1.0 + 0.12 * (1.0 - smoothstep(0.0, 0.5, abs(dx))));
    }
