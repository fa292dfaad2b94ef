    fragColor = vec4(clamp(color.rgb, 0.0, 1.0), 1.0);
}
