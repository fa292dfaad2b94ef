    // Skin smoothing: pull towards the blurred picture where it differs
    // little from the sharp one (flat skin), keep edges and detail.
    {
        vec3 smoothed = texture(gaussianLevel2, coord).rgb;
        vec3 diff = color.rgb - smoothed;
        float detail = dot(abs(diff), vec3(0.333));
        float keep = smoothstep(0.02, 0.12, detail);
        color.rgb = mix(color.rgb, smoothed + diff * 0.3, beautify * (1.0 - keep));
        color.rgb += beautify * 0.04 * (1.0 - color.rgb);
    }
