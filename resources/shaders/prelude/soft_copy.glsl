// A soft copy of the picture around a point: the mean of eight taps of
// `original`, four on the diagonals at `reach` and four on the axes at twice
// it. Looks that diffuse or glow (jolie, venus) build on it.
vec3 softCopy(vec2 at, vec2 reach) {
    return 0.125 * (texture(original, at + reach).rgb + texture(original, at - reach).rgb +
                    texture(original, at + vec2(reach.x, -reach.y)).rgb +
                    texture(original, at + vec2(-reach.x, reach.y)).rgb +
                    texture(original, at + vec2(2.0 * reach.x, 0.0)).rgb +
                    texture(original, at - vec2(2.0 * reach.x, 0.0)).rgb +
                    texture(original, at + vec2(0.0, 2.0 * reach.y)).rgb +
                    texture(original, at - vec2(0.0, 2.0 * reach.y)).rgb);
}
