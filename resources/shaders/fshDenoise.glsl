// Running average of a burst: frame k (counting from 0) is merged with
// ratio 1 / (k + 1), so after k + 1 frames each of them carries the same
// weight and the picture is their plain mean. Noise, which differs from
// frame to frame, falls with the square root of the frame count.
    result = mix(base.rgb, layer.rgb, ratio);
