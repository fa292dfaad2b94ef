// The tile of a 4 x 4 noise image that a noisy lens (TV, night vision,
// ghost) uses this frame: 0..3 across and down, drawn afresh every frame so
// that the noise never stands still.
uniform vec2 lensTexIdx;
