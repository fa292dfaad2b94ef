    color.rgb = lookupTable(lut, color.rgb);
