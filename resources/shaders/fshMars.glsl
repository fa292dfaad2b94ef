// Mars: a dusty red desert. Everything cast red-orange, blue sky turned to
// an orange haze, dense and a little dark.
    {
        vec3 c = color.rgb;
        float blueness = clamp((c.b - max(c.r, c.g)) * 3.0, 0.0, 1.0);
        c = mix(c, c.bgr, blueness);
        float l = luminance(c);
        c = mix(c, vec3(l) * vec3(1.3, 0.82, 0.5), 0.55);
        c = pow(c, vec3(1.15));
        c = mix(c, c * c * (3.0 - 2.0 * c), 0.3);
        color.rgb = c;
    }
