// Old television: a worn set on a weak signal. The picture loses colour and
// crispness, its colour bleeds to the right of the edges it belongs to, dark
// scanlines cross it, snow from the static image (lens_auxilary: 4 x 4 tiles,
// lensTexIdx picks one per frame) lies over it, and a brighter band that
// tears the lines a little rolls slowly up the screen with frameCount.
// commonInput (0..1, default 0.5) sets how weak the signal is.
{
    vec2 px = imagestep;
    // The rolling band: a tenth of the height, once up the screen every 90 frames.
    float roll = fract(frameCount / 90.0);
    float band = 1.0 - smoothstep(0.0, 0.06, abs(fract(uv.y + roll + 0.5) - 0.5));
    vec2 at = coord + vec2(band * 2.5 * px.x, 0.0);
    vec3 sharp = texture(original, at).rgb;
    // Colour arrives late on the line: chroma from a smear to the left.
    vec3 smear = (texture(original, at - vec2(2.0 * px.x, 0.0)).rgb +
                  texture(original, at - vec2(4.0 * px.x, 0.0)).rgb +
                  texture(original, at - vec2(6.0 * px.x, 0.0)).rgb) / 3.0;
    float y = mix(luminance(sharp), luminance(smear), 0.3);
    vec3 tv = y + (smear - luminance(smear)) * 0.75;
    // Snow: one static texel per pixel, read inside the tile so that
    // filtering never reaches the neighbouring tile.
    vec2 inTile = clamp(fract(uv / (px * 128.0)), 0.5 / 128.0, 1.0 - 0.5 / 128.0);
    float snow = texture(lens_auxilary, (lensTexIdx + inTile) * 0.25).r;
    float weak = 0.2 + 0.4 * commonInput;
    tv = mix(tv * 0.85 + 0.06, vec3(snow), weak);
    // Scanlines at least three pixels apart, at most 240 across the height.
    float lines = min(240.0, 1.0 / (3.0 * px.y));
    float scan = sin(uv.y * lines * 3.14159265);
    tv *= 0.78 + 0.22 * (1.0 - scan * scan);
    tv += band * 0.07;
    // The curved tube is darker towards its corners.
    vec2 fromCentre = (uv - 0.5) * 2.0;
    tv *= 1.0 - 0.35 * smoothstep(0.5, 1.6, dot(fromCentre, fromCentre));
    color.rgb = tv;
}
