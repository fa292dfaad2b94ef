// Opens main: `base` and `layer` are the two pictures at this pixel; a body
// piece changes `result`, which starts as the picture built so far.
void main() {
    vec4 base = texture(original, uv);
    vec4 layer = texture(srcImage, uv);
    vec3 result = base.rgb;
