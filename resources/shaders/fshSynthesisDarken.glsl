// Darken merge: each colour channel keeps the darker of the picture built so
// far and the new frame, so over many frames the darkest value each pixel
// saw remains (a dark subject leaves a trail on a bright ground).
    result = min(base.rgb, layer.rgb);
