// Wagashi: the soft colours of Japanese sweets. Pastel and low in contrast,
// reds turned to sakura pink and greens to a milky matcha.
    {
        vec3 c = color.rgb;
        float redness = clamp((c.r - max(c.g, c.b)) * 3.0, 0.0, 1.0);
        float greenness = clamp((c.g - max(c.r, c.b)) * 4.0, 0.0, 1.0);
        c += redness * vec3(0.05, 0.12, 0.2);
        c += greenness * vec3(0.14, 0.05, -0.04);
        c = 0.5 + (c - 0.5) * 0.78;
        c = mix(c, vec3(1.0, 0.96, 0.95), 0.12);
        float l = luminance(c);
        c = l + (c - l) * 0.9;
        color.rgb = c;
    }
