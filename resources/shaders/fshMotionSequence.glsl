// Motion sequence (a stroboscopic picture). Where the new frame's luma
// departs from the picture built so far by more than about 0.1 (some 25
// levels), the new frame is laid in with weight `ratio` (1 lays it in
// fully): a subject that has moved shows at its new place. Where the two
// agree, which over a static background they do up to noise, the built
// picture stays as it is, so the noise of the new frame does not creep in.
// The edge is soft over a small band around the threshold, so the outline
// does not fray on noise. Only these two pictures are compared: where the
// subject has just left, the uncovered background differs as well and is
// taken from the new frame too.
    float motionDifference = abs(luminance(layer.rgb) - luminance(base.rgb));
    float moved = smoothstep(0.08, 0.12, motionDifference);
    result = mix(base.rgb, layer.rgb, moved * clamp(ratio, 0.0, 1.0));
