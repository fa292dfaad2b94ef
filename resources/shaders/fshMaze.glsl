// Maze: mysterious and deep. A cyan-green cast in the shadows and mid-tones,
// hard contrast, and warm colours drained so skin and reds turn cool.
    {
        vec3 c = color.rgb;
        float l = luminance(c);
        float warmth = clamp((c.r - c.b) * 2.5, 0.0, 1.0);
        c = mix(c, vec3(l), 0.45 * warmth);
        c = pow(c, vec3(1.3));
        c = mix(c, c * c * (3.0 - 2.0 * c), 0.7);
        c = mix(c, c * vec3(0.8, 1.02, 0.97), 1.0 - l * l);
        c += (1.0 - l) * vec3(-0.02, 0.035, 0.03);
        color.rgb = c;
    }
