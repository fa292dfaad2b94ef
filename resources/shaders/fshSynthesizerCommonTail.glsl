    fragColor = vec4(clamp(result, 0.0, 1.0), base.a);
}
