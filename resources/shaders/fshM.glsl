// M: moody matte. Darker mid-tones, muted colour, blacks lifted to a
// magenta-tinted grey and highlights held back and cooled.
    {
        vec3 c = color.rgb;
        float l = luminance(c);
        c = mix(vec3(l), c, 0.6);
        c = pow(c, vec3(1.2));
        c = mix(c, c * c * (3.0 - 2.0 * c), 0.3);
        float shade = (1.0 - l) * (1.0 - l);
        c += shade * vec3(0.06, -0.03, 0.05);
        c += l * l * vec3(-0.04, 0.0, 0.04);
        c = 0.1 + 0.82 * clamp(c, 0.0, 1.0);
        color.rgb = c;
    }
