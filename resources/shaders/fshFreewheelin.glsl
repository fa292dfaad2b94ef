// Freewheelin': an early-sixties street colour print. Faded and cool, a
// blue-grey cast in the shadows and mid-tones, creamy whites, little colour.
    {
        vec3 c = color.rgb;
        float l = luminance(c);
        c = mix(vec3(l), c, 0.5);
        c *= vec3(0.92, 0.97, 1.06);
        c = mix(c, c * vec3(1.04, 1.0, 0.86), smoothstep(0.55, 1.0, l));
        c = mix(c, c * c * (3.0 - 2.0 * c), 0.25);
        c = vec3(0.08, 0.09, 0.11) + c * 0.86;
        color.rgb = c;
    }
