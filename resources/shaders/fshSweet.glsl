// Sweet: candy colours. Bright, tinted pink-magenta, colours rich but
// lightened towards pastel.
    {
        vec3 c = pow(color.rgb, vec3(0.8));
        c *= vec3(1.06, 0.92, 1.04);
        float l = luminance(c);
        c = l + (c - l) * 1.35;
        c = mix(c, vec3(1.0, 0.9, 0.96), 0.15);
        color.rgb = c;
    }
