    color.rgb = lookupCube(color.rgb);
