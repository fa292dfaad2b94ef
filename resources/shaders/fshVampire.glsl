// Vampire: a cold, drained world in which only red keeps its strength, with
// blood running down from the top of the frame. The blood image
// (lens_auxilary, 16:9, cropped to the frame's shape below its top edge so
// the drips keep their width) is premultiplied on black: its red
// is at least 0.35 of full inside the blood, so red / 0.35 gives how much the
// blood covers. commonInput (0..1, default 0.5) sets how much colour the
// other hues lose.
{
    vec3 c = clamp(color.rgb, 0.0, 1.0);
    float grey = luminance(c);
    float redness = clamp((c.r - max(c.g, c.b)) * 3.0, 0.0, 1.0);
    vec3 cold = vec3(grey) * vec3(0.84, 0.95, 1.1);
    vec3 drained = mix(c, cold, 0.55 + 0.45 * commonInput);
    vec3 crimson = vec3(min(c.r * 1.15, 1.0), c.g * 0.3, c.b * 0.35);
    vec3 look = mix(drained, crimson, redness);
    // Deeper shadows, a paler light.
    look = smoothstep(0.04, 1.02, look);
    float shape = wvh.x * (9.0 / 16.0);
    vec2 onImage = shape < 1.0 ? vec2(0.5 + (uv.x - 0.5) * shape, uv.y) : vec2(uv.x, uv.y / shape);
    vec4 blood = texture(lens_auxilary, onImage);
    float cover = clamp(blood.r / 0.35, 0.0, 1.0);
    // The image is drawn lit; blood in a dim room is darker.
    color.rgb = look * (1.0 - cover) + blood.rgb * 0.75;
}
