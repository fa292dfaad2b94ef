// Exposure fusion of two frames taken at different exposures. Each frame is
// weighted at every pixel by how well exposed it is there: a Gaussian of its
// luma around mid-grey (sigma 0.2, the usual choice in exposure fusion). A
// highlight that clips in the brighter frame thus comes from the darker one,
// and a shadow that sinks into black in the darker frame from the brighter
// one. `ratio` leans the mix: the picture built so far counts 1 - ratio, the
// new frame ratio, so 0.5 fuses the two evenly. The small floor on each
// weight keeps the sum from vanishing where both frames clip; there the pixel
// falls back to the plain ratio mix.
    float fusionRatio = clamp(ratio, 0.0, 1.0);
    float baseExposure = luminance(base.rgb) - 0.5;
    float layerExposure = luminance(layer.rgb) - 0.5;
    float baseWeight = (1.0 - fusionRatio) * (exp(-baseExposure * baseExposure / 0.08) + 0.001);
    float layerWeight = fusionRatio * (exp(-layerExposure * layerExposure / 0.08) + 0.001);
    result = (baseWeight * base.rgb + layerWeight * layer.rgb) / (baseWeight + layerWeight);
