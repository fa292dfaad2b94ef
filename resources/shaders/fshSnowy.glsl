// Snowy window: the picture seen through a cold pane whose edges have frosted
// over. The frost image (lens_auxilary, stretched to the frame) holds how
// much ice lies on the glass: none in the middle, a milky film and white
// crystals towards the edges and corners. Under the ice the picture is
// scattered (a soft copy) and whitened; all of it takes a cold blue cast.
// commonInput (0..1, default 0.5) sets how thick the frost is: 0 half, 1 one
// and a half times the image's amount.
{
    float frost = clamp(texture(lens_auxilary, uv).r * (0.5 + commonInput), 0.0, 1.0);
    float grey = luminance(color.rgb);
    vec3 cold = mix(vec3(grey), color.rgb, 0.7) * vec3(0.86, 0.96, 1.1) + vec3(0.0, 0.015, 0.05);
    vec3 scattered = softCopy(coord, imagestep * 3.0);
    scattered = mix(vec3(luminance(scattered)), scattered, 0.45) * vec3(0.88, 0.96, 1.08) + 0.08;
    vec3 glass = mix(cold, scattered, smoothstep(0.0, 0.35, frost));
    color.rgb = mix(glass, vec3(0.9, 0.95, 1.0), frost * 0.8);
}
