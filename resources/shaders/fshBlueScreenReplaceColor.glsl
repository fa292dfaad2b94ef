// Colour replacement (type 2): what has the key's hue takes replaceHue,
// keeping its saturation and lightness, so shading and texture survive.
{
    float keyed = 1.0 - texture(segmentTex, coord).a;
    vec3 hsl = rgb2hsl(color.rgb);
    color.rgb = mix(color.rgb, hsl2rgb(vec3(replaceHue, hsl.y, hsl.z)), keyed);
}
