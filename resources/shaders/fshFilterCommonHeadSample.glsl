#piece fshFilterCommonHead_part2
    vec4 color = texture(original, coord);
