// Light rays: shafts of light streaming from the brightest part of the upper
// picture (the sun, a lamp, bright sky), as light does through haze or
// leaves. Every pixel gathers the highlights that lie around the light on
// its way there, nearer taps counting more (a radial blur of the light's
// surroundings towards it), so bright gaps cast shafts and dark edges cast
// shadows between them. The sum is screened over the picture as warm light.
// A per-pixel jitter of the taps hides their steps. commonInput (0..1,
// default 0.5) sets the strength of the rays.
{
    vec2 source = lightRaySource();
    vec2 toSource = source - coord;
    vec2 aspect = vec2(max(wvh.x, 1.0), max(wvh.y, 1.0));
    float jitter = fract(sin(dot(floor(coord / imagestep), vec2(12.9898, 78.233))) * 43758.5453);
    float rays = 0.0;
    float weight = 1.0;
    for (int i = 0; i < 32; i++) {
        vec2 at = coord + toSource * ((float(i) + jitter) / 32.0);
        float nearLight = 1.0 - smoothstep(0.05, 0.8, length((at - source) * aspect));
        rays += weight * nearLight * lightRayHighlight(texture(original, at).rgb);
        weight *= 0.97;
    }
    // The weights add up to (1 - 0.97^32) / 0.03, about 20.
    rays /= 20.4;
    float away = length(toSource * aspect);
    float strength = 0.5 + commonInput;
    vec3 light = vec3(1.0, 0.88, 0.65) * rays * strength * 3.5 / (1.0 + away);
    color.rgb = blendScreen(clamp(color.rgb, 0.0, 1.0), clamp(light, 0.0, 1.0));
}
