// Weighted average: the new frame is mixed into the picture built so far
// with weight `ratio`. Merging frame k (from 0) with ratio 1 / (k + 1)
// gives the plain mean of the frames.
    result = mix(base.rgb, layer.rgb, ratio);
