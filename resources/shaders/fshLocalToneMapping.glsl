    // Local tone mapping: compress each pixel against the luminance of its
    // blurred surroundings, lifting shadows and holding highlights. Type 2
    // is milder, type 3 also adds local contrast.
    if (localtonemappingtype != 0) {
        float local = luminance(texture(gaussianLevel3, coord).rgb);
        float l = max(luminance(color.rgb), 1e-4);
        float gamma = localtonemappingtype == 2 ? 0.35 : 0.5;
        float target = pow(l, 1.0 - gamma * (0.5 - local));
        vec3 mapped = color.rgb * (target / l);
        if (localtonemappingtype == 3) {
            float wide = luminance(texture(gaussianLevel4, coord).rgb);
            mapped += (l - wide) * 0.25;
        }
        color.rgb = mix(color.rgb, clamp(mapped, 0.0, 1.0), localtonemappingstrength);
    }
