// Venus: a golden glow. Warm haze over the whole picture and the bright
// parts blooming softly into their surroundings.
    {
        vec2 reach = vec2(wvh.y, 1.0) * 0.015;
        vec3 soft = softCopy(coord, reach);
        vec3 c = color.rgb * vec3(1.08, 1.0, 0.86);
        c = mix(c, vec3(1.0, 0.8, 0.5), 0.16);
        // Only bright surroundings bloom: a lower threshold draws a ghost
        // outline around dark shapes against the sky.
        c = blendScreen(c, soft * smoothstep(0.65, 1.0, luminance(soft)) * vec3(0.8, 0.68, 0.4));
        color.rgb = c;
    }
