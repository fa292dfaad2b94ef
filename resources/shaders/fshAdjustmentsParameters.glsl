// The user's own adjustments, each 0..1 (0.5 unless the host moves them):
// x brightness, y contrast, z saturation. The defaults already give a gentle
// enhance; 0 and 1 are the sensible extremes of each control.
uniform vec3 styleInput;
