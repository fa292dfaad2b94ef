// Additive merge: the new frame, scaled by `ratio`, is added to the picture
// built so far, as light adds up on film exposed several times; the tail
// clamps what goes past white.
    result = base.rgb + layer.rgb * ratio;
