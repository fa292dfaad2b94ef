// Enamel: glossy and crisp. Hard contrast, rich colour, pale smooth
// porcelain skin and a small unsharp mask for bite.
    {
        vec3 around = 0.25 * (texture(original, coord + vec2(imagestep.x, 0.0)).rgb +
                              texture(original, coord - vec2(imagestep.x, 0.0)).rgb +
                              texture(original, coord + vec2(0.0, imagestep.y)).rgb +
                              texture(original, coord - vec2(0.0, imagestep.y)).rgb);
        vec3 c = clamp(color.rgb + (color.rgb - around) * 0.8, 0.0, 1.0);
        c = mix(c, c * c * (3.0 - 2.0 * c), 0.6);
        float l = luminance(c);
        c = l + (c - l) * 1.35;
        // Porcelain: skin-like colours are lightened and drained of some red.
        float skin = clamp((color.r - color.g) * 5.0, 0.0, 1.0) * clamp((color.g - color.b) * 6.0, 0.0, 1.0) *
                     smoothstep(0.25, 0.5, luminance(color.rgb));
        c = mix(c, mix(vec3(l), c, 0.55) * 1.12 + vec3(0.0, 0.01, 0.03), skin);
        // Gloss: the brightest tones pushed further towards white.
        c += pow(clamp(l, 0.0, 1.0), 4.0) * 0.08;
        color.rgb = c;
    }
