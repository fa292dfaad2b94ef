// Soft focus: the dreamy look of a diffusion filter. The picture is laid
// half over its lightly blurred copy, and the bright parts of a wider blur
// glow over everything around them (screen blend), lifting the shadows a
// little. commonInput (0..1, default 0.5) sets how strong the glow is.
{
    vec2 at = (coord - 0.5) / invZoom + 0.5;
    float strength = 0.3 + 0.7 * commonInput;
    vec3 soft = mix(color.rgb, texture(gaussianLevel1, at).rgb, 0.5);
    vec3 wide = texture(gaussianLevel3, at).rgb;
    vec3 glow = wide * smoothstep(0.35, 0.9, luminance(wide));
    color.rgb = blendScreen(soft, glow * 0.8 * strength);
}
