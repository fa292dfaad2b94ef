// Blue screen over a background picture (type 0).
//
// The matte is measured at full resolution: the pixel's key lead as a
// fraction of the lead of the backdrop around it (from the mask), which is
// about 1 on the backdrop however it is lit, 0 on the subject, and in
// between on the mixed pixels of edges and strands of hair, so fine detail
// keeps a soft, partial coverage. The ramp ends leave room for the
// backdrop's noise (above kBackdrop) and for spill on the subject's edge
// (below kSubject). Where the mask found solid subject the pixel stays whole,
// so areas that only lean towards the key colour get no holes.
//
// The backdrop's share is then taken out of the pixel (what is left is the
// subject's own colour times its coverage), the key colour's spill is
// removed near the backdrop, and the background fills the rest.
{
    const float kSubject = 0.1;
    const float kBackdrop = 0.85;
    vec4 mask = texture(segmentTex, coord);
    vec3 local = mask.rgb;
    vec3 raw = texture(original, coord).rgb;
    float coverage = mask.a;
    float localLead = 0.0;
    if (bgMaxIndex != 0) {
        localLead = keyLead(local);
        if (localLead > 0.02) {
            float share = keyLead(raw) / localLead;
            coverage = clamp((kBackdrop - share) / (kBackdrop - kSubject), 0.0, 1.0);
        } else {
            coverage = 1.0;
        }
        coverage = max(coverage, smoothstep(0.9, 1.0, mask.a));
    }
    if (bgEnabled != 0) {
        // The subject's colour times its coverage.
        vec3 subject = clamp(color.rgb - (1.0 - coverage) * local, vec3(0.0), vec3(coverage));
        if (bgMaxIndex != 0) {
            subject = mix(subject, withoutSpill(subject), smoothstep(0.01, 0.06, localLead));
        }
        color.rgb = subject + (1.0 - coverage) * backgroundAt(uv);
    }
}
