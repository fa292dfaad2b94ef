#prelude es3
// Opens the ES 3 filter shader; the tail writes fragColor.
out vec4 fragColor;
