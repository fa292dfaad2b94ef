// Denoise in the manner of non-local means, small enough for every frame.
// The pixel is compared with its neighbours on a 5 x 5 grid 1.5 pixels
// apart (reaching 3 pixels either way); the taps at odd multiples of 1.5
// fall between texels, where linear filtering hands over the mean of a small
// patch rather than one noisy pixel. Each neighbour counts by how close it
// is to the pixel, exp(-d^2 / h^2) on the RGB distance, and the pixel itself
// counts once: noise and fine grain average away, while neighbours across an
// edge, unlike the pixel, drop out and the edge stays crisp. 25 taps.
// commonInput (0..1, default 0.5) sets h, from 0.1 to 0.4. The comparison
// is made on the camera picture; what it removes is taken from the colour as
// earlier code left it, so face smoothing or tone mapping before it are kept.
{
    float h = 0.1 + 0.3 * commonInput;
    vec3 own = texture(original, coord).rgb;
    vec3 sum = own;
    float weights = 1.0;
    for (int j = 0; j < 5; j++) {
        for (int i = 0; i < 5; i++) {
            if (i != 2 || j != 2) {
                vec2 step2 = vec2(float(i) - 2.0, float(j) - 2.0) * 1.5 * imagestep;
                vec3 block = texture(original, coord + step2).rgb;
                vec3 d = block - own;
                float w = exp(-dot(d, d) / (h * h));
                sum += block * w;
                weights += w;
            }
        }
    }
    color.rgb += sum / weights - own;
}
