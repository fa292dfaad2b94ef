// Light leak: light that reached the film through a gap in the camera body
// or a loosely wound spool, over the graded picture. The leak image
// (style_auxilary, stretched to the frame) is black where no light came in,
// so screening it leaves the picture alone there and makes it glow where
// light did, never darker and never past white.
{
    vec3 leak = texture(style_auxilary, uv).rgb;
    color.rgb = blendScreen(clamp(color.rgb, 0.0, 1.0), leak);
}
