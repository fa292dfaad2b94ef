// Mandeling: the colours of a dark roast. Dense mid-tones, rich warm browns
// and shadows toned like coffee.
    {
        vec3 c = color.rgb;
        c = pow(c, vec3(1.3));
        c *= vec3(1.1, 0.95, 0.78);
        float l = luminance(c);
        c = mix(c, vec3(l) * vec3(1.35, 0.9, 0.55), (1.0 - l) * 0.6);
        c = l + (c - l) * 1.1;
        c = mix(c, c * c * (3.0 - 2.0 * c), 0.3);
        color.rgb = c;
    }
