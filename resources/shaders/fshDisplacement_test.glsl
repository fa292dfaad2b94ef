// Displacement: the picture pushed about by a smooth displacement map
// (lens_auxilary, stretched to the frame). Red moves the sampling point
// across, green down, 0.5 leaving it in place; at the default commonInput of
// 0.5 a full swing of the map moves it 5% of the frame either way (commonInput
// scales that linearly, 0 leaving the picture as it is).
{
    vec2 shift = (texture(lens_auxilary, coord).rg - 0.5) * (0.2 * commonInput);
    color = texture(original, coord + shift);
}
