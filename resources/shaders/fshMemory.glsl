// Memory: a faded warm print from an old album. Low contrast, colour drained,
// cream-yellow highlights, milky grey blacks and darkened corners.
    {
        vec3 c = color.rgb;
        float l = luminance(c);
        c = mix(vec3(l), c, 0.7);
        c = 0.5 + (c - 0.5) * 0.75;
        c *= vec3(1.08, 1.0, 0.84);
        c += l * l * vec3(0.06, 0.045, -0.03);
        vec2 d = coord - 0.5;
        c *= 1.0 - 0.9 * dot(d, d);
        c = vec3(0.1, 0.1, 0.11) + c * 0.86;
        color.rgb = c;
    }
