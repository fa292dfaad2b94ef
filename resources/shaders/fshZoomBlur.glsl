// Zoom blur: the streaks of zooming the lens during the exposure. Each
// point is the mean of 16 taps on the line from it towards the frame's
// centre, spanning a share of its distance from the centre, so the middle
// stays sharp and the edges rush outwards. commonInput (0..1, default 0.5)
// sets the span, 4% to 20% of the distance. The blur is added as a change
// to the colour that earlier code (face smoothing, tone mapping) left.
{
    float span = 0.04 + 0.16 * commonInput;
    vec2 toCentre = (vec2(0.5) - coord) * span / 15.0;
    vec3 here = texture(original, coord).rgb;
    vec3 sum = here;
    for (int i = 1; i < 16; i++) {
        sum += texture(original, coord + toCentre * float(i)).rgb;
    }
    color.rgb += sum / 16.0 - here;
}
