    vec4 color = texture(original, coord);
