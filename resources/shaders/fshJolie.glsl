// Jolie: a flattering portrait look. Bright and soft, open shadows, rosy and
// warm skin, and a faint glow around the light parts of the picture.
    {
        // A soft copy within about a hundredth of the picture height, for
        // the diffusion and the glow.
        vec2 reach = vec2(wvh.y, 1.0) * 0.005;
        vec3 soft = softCopy(coord, reach);
        vec3 c = mix(color.rgb, soft, 0.3);
        c = pow(c, vec3(0.78)) * vec3(1.03, 1.0, 0.97);
        c = 0.05 + 0.95 * c;
        // Skin-like colours (red over green over blue) get the most blush.
        float skin = clamp((c.r - c.g) * 5.0, 0.0, 1.0) * clamp((c.g - c.b) * 6.0, 0.0, 1.0);
        c += (0.02 + 0.05 * skin) * vec3(1.0, -0.3, 0.05);
        c = blendScreen(c, max(soft - 0.6, 0.0) * vec3(0.8, 0.7, 0.6));
        color.rgb = c;
    }
