// Lighten merge: each colour channel keeps the brighter of the picture built
// so far and the new frame, so over many frames the brightest value each
// pixel saw remains (light trails, star trails, a bright subject on a dark
// ground).
    result = max(base.rgb, layer.rgb);
