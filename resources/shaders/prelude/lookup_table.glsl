// The style's lookup table on unit 5: a 512 x 512 image of 8 x 8 tiles of
// 64 x 64, blue choosing the tile (row by row from the top left), red across
// and green down each tile. Lookup images of other tools share this layout.
// Every filter gets it, since film looks apply a table from their own code.
uniform sampler2D lut;

vec3 lookupTable(sampler2D table, vec3 c) {
    float blue = clamp(c.b, 0.0, 1.0) * 63.0;
    float lowTile = floor(blue);
    float highTile = min(lowTile + 1.0, 63.0);
    vec2 lowQuad = vec2(mod(lowTile, 8.0), floor(lowTile / 8.0));
    vec2 highQuad = vec2(mod(highTile, 8.0), floor(highTile / 8.0));
    vec2 inTile = 0.5 / 512.0 + (0.125 - 1.0 / 512.0) * clamp(c.rg, 0.0, 1.0);
    vec3 low = texture(table, lowQuad * 0.125 + inTile).rgb;
    vec3 high = texture(table, highQuad * 0.125 + inTile).rgb;
    return mix(low, high, blue - lowTile);
}
