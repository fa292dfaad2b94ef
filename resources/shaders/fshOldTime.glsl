// Old time: ages the print the lookup table has already faded. A soft dark
// edge, paper yellowed where the picture is light, and a sprinkle of fine
// dust that stays put from frame to frame.
    {
        vec2 d = (coord - 0.5) * vec2(wvh.x, 1.0);
        float edge = 1.0 - 0.5 * smoothstep(0.3, 1.0, length(d));
        vec3 c = color.rgb * edge;
        float l = luminance(c);
        c = mix(c, c * vec3(1.05, 0.99, 0.8), l * l);
        // Dust from a hash of the pixel position: a faint speckle everywhere,
        // and about one pixel in a thousand a dark or a light fleck.
        vec2 cell = floor(coord / imagestep);
        float n = fract(sin(dot(cell, vec2(12.9898, 78.233))) * 43758.5453);
        c += (n - 0.5) * 0.035;
        c -= step(0.9993, n) * 0.3;
        c += step(n, 0.0005) * 0.25;
        color.rgb = c;
    }
