// Rainy window: the picture seen through a wet pane. The rain image
// (lens_auxilary, 16:9, cropped to the frame's shape so drops stay round) holds each drop's surface slope
// across and down in red and green (0.5 flat) and the water in blue. Between
// the drops the glass is misted: the picture is soft, paler and cooler. A
// drop is a small lens: it shows a sharp view bent by its slope, catches a
// highlight on its upper left and darkens along its lower rim. commonInput
// (0..1, default 0.5) sets how strongly the drops bend the light.
{
    float shape = wvh.x * (9.0 / 16.0);
    vec2 onImage = 0.5 + (uv - 0.5) * (shape < 1.0 ? vec2(shape, 1.0) : vec2(1.0, 1.0 / shape));
    vec4 rain = texture(lens_auxilary, onImage);
    vec2 slope = rain.rg * 2.0 - 1.0;
    float water = smoothstep(0.1, 0.6, rain.b);
    // The bend is a share of the shorter side, the same in pixels both ways.
    float bend = 0.015 + 0.03 * commonInput;
    vec2 shift = -slope * bend * vec2(min(wvh.y, 1.0), min(wvh.x, 1.0));
    vec3 inDrop = texture(original, coord + shift).rgb;
    vec3 mist = softCopy(coord, imagestep * 4.0);
    mist = mix(mist, vec3(luminance(mist)), 0.25) * vec3(0.9, 0.96, 1.04) * 0.85 + 0.1;
    float shine = pow(max(dot(slope, vec2(-0.55, -0.83)), 0.0), 3.0);
    float rim = smoothstep(0.5, 1.0, length(slope)) * step(0.0, slope.y);
    inDrop = inDrop * (1.0 - 0.45 * rim) + 0.6 * shine;
    color.rgb = mix(mist, inDrop, water);
}
