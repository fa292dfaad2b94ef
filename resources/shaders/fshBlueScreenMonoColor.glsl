// Colour key (type 1): only what has the key's hue keeps its colour; the
// rest of the picture turns grey, with a soft change along the mask.
{
    float keyed = 1.0 - texture(segmentTex, coord).a;
    color.rgb = mix(vec3(luminance(color.rgb)), color.rgb, keyed);
}
