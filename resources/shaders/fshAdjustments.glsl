// Adjustments: brightness, contrast and saturation set by the user. At the
// defaults a gentle enhance: a little more contrast and local crispness,
// slightly lifted mid-tones, and vibrance that favours muted colours.
    {
        // A touch of clarity: the picture less the mean of four diagonal
        // neighbours two pixels away, added back mostly in the mid-tones.
        vec2 reach = 2.0 * imagestep;
        vec3 around = 0.25 * (texture(original, coord + reach).rgb + texture(original, coord - reach).rgb +
                              texture(original, coord + vec2(reach.x, -reach.y)).rgb +
                              texture(original, coord + vec2(-reach.x, reach.y)).rgb);
        float tone = luminance(color.rgb);
        vec3 adjusted = color.rgb + (color.rgb - around) * 0.4 * (1.0 - (2.0 * tone - 1.0) * (2.0 * tone - 1.0));
        adjusted = clamp(adjusted, 0.0, 1.0);
        // Brightness as a power curve: mid-grey goes to about 0.35 at 0 and
        // 0.67 at 1; the default lifts it a little, to 0.55.
        adjusted = pow(adjusted, vec3(exp2(0.6 - 1.5 * styleInput.x)));
        // Contrast: towards an S-curve, or away from it below a third.
        vec3 curve = adjusted * adjusted * (3.0 - 2.0 * adjusted);
        adjusted = mix(adjusted, curve, mix(-0.5, 1.0, styleInput.y));
        // Saturation with vibrance: 0 is grey, and muted colours gain up to
        // 30% more than vivid ones.
        float chroma = max(adjusted.r, max(adjusted.g, adjusted.b)) - min(adjusted.r, min(adjusted.g, adjusted.b));
        float grey = luminance(adjusted);
        adjusted = grey + (adjusted - grey) * (2.0 * styleInput.z * (1.0 + 0.3 * (1.0 - chroma)));
        color.rgb = adjusted;
    }
