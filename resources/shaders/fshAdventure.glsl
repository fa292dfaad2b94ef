// Adventure: a punchy outdoor look. Vivid greens and blues, warm highlights,
// local clarity and a darkened edge that pulls the eye inwards.
    {
        vec2 reach = 2.0 * imagestep;
        vec3 around = 0.25 * (texture(original, coord + reach).rgb + texture(original, coord - reach).rgb +
                              texture(original, coord + vec2(reach.x, -reach.y)).rgb +
                              texture(original, coord + vec2(-reach.x, reach.y)).rgb);
        vec3 c = clamp(color.rgb + (color.rgb - around) * 0.35, 0.0, 1.0);
        float greenness = clamp((c.g - max(c.r, c.b)) * 4.0, 0.0, 1.0);
        float blueness = clamp((c.b - max(c.r, c.g)) * 4.0, 0.0, 1.0);
        float l = luminance(c);
        c = l + (c - l) * (1.1 + 0.3 * greenness + 0.3 * blueness);
        c = mix(c, c * c * (3.0 - 2.0 * c), 0.35);
        c += l * l * vec3(0.06, 0.025, -0.04);
        vec2 d = (coord - 0.5) * vec2(wvh.x, 1.0);
        c *= 1.0 - 0.35 * smoothstep(0.4, 1.1, length(d));
        color.rgb = c;
    }
