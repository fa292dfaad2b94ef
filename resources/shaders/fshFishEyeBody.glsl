#piece fshFishEye_part2
// Fish-eye, the lens body: the frame around the round lens is a dark body
// (12% of the picture shows through), with a soft rim two pixels wide, and
// the lens falls off a little towards its edge as real wide lenses do.
{
    vec2 toPixels = vec2(max(wvh.x, 1.0), max(wvh.y, 1.0));
    float r = length((uv - 0.5) * toPixels) / 0.5;
    float rim = 2.0 * max(imagestep.x, imagestep.y) / 0.5;
    float inside = 1.0 - smoothstep(1.0 - rim, 1.0, r);
    float falloff = 1.0 - 0.25 * r * r;
    color.rgb *= mix(0.12, falloff, inside);
}
