// Comics: flat printed colours and black ink outlines. The softened picture
// is reduced to a few hues, two saturations and four shades, as a comic's
// colourist fills areas; outlines trace the picture's sharp brightness
// steps.
{
    vec3 lensBefore = color.rgb;
    vec3 soft = texture(gaussianLevel1, coord).rgb;
    vec3 hsl = rgb2hsl(soft);
    // Twelve hues, the grey ones left grey; strong or muted; four shades.
    float hue = floor(hsl.x * 12.0 + 0.5) / 12.0;
    float saturation = hsl.y < 0.12 ? 0.0 : (hsl.y < 0.4 ? 0.45 : 0.85);
    float shade = floor(clamp(hsl.z, 0.0, 0.999) * 4.0);
    float lightness = 0.12 + shade * 0.25;
    vec3 filled = hsl2rgb(vec3(hue, saturation, lightness));

    // Ink: a Sobel of the picture's brightness with taps two pixels out
    // (on a 960-wide frame; as far in proportion on larger ones), where it
    // is steep, plus the deepest shadows. Taps between texels average
    // pairs, which keeps fine texture from inking.
    float reach = max(1.5, 0.002 / imagestep.x);
    vec2 nx = vec2(reach * imagestep.x, 0.0);
    vec2 ny = vec2(0.0, reach * imagestep.y);
    float tl = luminance(texture(original, coord - nx - ny).rgb);
    float tc = luminance(texture(original, coord - ny).rgb);
    float tr = luminance(texture(original, coord + nx - ny).rgb);
    float ml = luminance(texture(original, coord - nx).rgb);
    float mr = luminance(texture(original, coord + nx).rgb);
    float bl = luminance(texture(original, coord - nx + ny).rgb);
    float bc = luminance(texture(original, coord + ny).rgb);
    float br = luminance(texture(original, coord + nx + ny).rgb);
    float gx = (tr + 2.0 * mr + br) - (tl + 2.0 * ml + bl);
    float gy = (bl + 2.0 * bc + br) - (tl + 2.0 * tc + tr);
    float ink = step(0.14, 0.25 * sqrt(gx * gx + gy * gy));
    // Only where the softened picture changes too: specks of detail (a
    // flower in the grass) get no outline of their own.
    float sx = luminance(texture(gaussianLevel1, coord + 3.0 * nx).rgb) - luminance(texture(gaussianLevel1, coord - 3.0 * nx).rgb);
    float sy = luminance(texture(gaussianLevel1, coord + 3.0 * ny).rgb) - luminance(texture(gaussianLevel1, coord - 3.0 * ny).rgb);
    ink *= step(0.03, sqrt(sx * sx + sy * sy));
    ink = max(ink, step(luminance(soft), 0.06));
    color.rgb = filled * (1.0 - ink);
    // The lens's value 1 (0.5 unless moved) below one half fades the
    // effect out, to the untouched picture at 0.
    color.rgb = mix(lensBefore, color.rgb, clamp(2.0 * commonInput, 0.0, 1.0));
}
