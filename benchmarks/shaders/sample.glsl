// The twin of the bundled sample's picture.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock {
    float flow; float scale; float bend; float warmth; float glow; float volume;
} p;

vec2 wave(vec2 x) {
    vec2 t = 2.0 * fract(x) - 1.0;
    vec2 y = 4.0 * t * (1.0 - abs(t));
    return y * (0.775 + 0.225 * abs(y));
}

vec3 ramp(float x) {
    vec3 c = mix(vec3(0.012, 0.030, 0.055), vec3(0.010, 0.240, 0.290), smoothstep(0.00, 0.28, x));
    c = mix(c, vec3(0.20, 0.07, 0.30), smoothstep(0.22, 0.46, x));
    c = mix(c, vec3(0.78, 0.17, 0.10), smoothstep(0.40, 0.66, x));
    c = mix(c, vec3(1.00, 0.60, 0.18), smoothstep(0.62, 0.88, x));
    return mix(c, vec3(1.00, 0.90, 0.66), smoothstep(0.86, 1.06, x));
}

vec4 shade(vec2 uv) {
    vec2 shape = vec2(u.resolution.x / u.resolution.y, 1.0);
    vec2 q = (uv - 0.5) * shape;
    float edge = dot(q, q);
    vec2 away = q - (u.mouse / u.resolution - 0.5) * shape;
    q = p.scale * (q - away * 0.035 / (0.09 + dot(away, away)));

    float t = u.time * p.flow * 0.12;
    vec2 drift = vec2(t, -0.8 * t);
    vec2 push = vec2(0.0);
    float size = 0.46 * p.bend;
    float fineness = 0.5;
    for (int i = 0; i < 4; i++) {
        push = wave(q.yx * fineness + drift);
        q += size * push;
        q = vec2(0.8 * q.x - 0.6 * q.y, 0.6 * q.x + 0.8 * q.y);
        drift = vec2(0.37 - 1.1 * drift.y, 0.19 + 1.1 * drift.x);
        fineness *= 1.4;
        size *= 0.68;
    }

    vec2 h = wave(vec2(0.55 * q.x + 0.25 * t, 0.8 * (q.x + q.y)));
    float heat = clamp(0.47 + 0.34 * h.x + 0.16 * h.y * push.x + 0.4 * (p.warmth - 0.5), 0.0, 1.0);
    float crest = 1.0 - abs(h.y);
    crest *= crest;
    crest *= crest;

    vec3 c = ramp(heat);
    c += vec3(1.0, 0.55, 0.25) * (0.4 * p.glow * crest * heat);
    c *= 1.0 - 0.35 * edge;

    vec2 pixel = uv * u.resolution;
    float grain = fract(52.9829189 * fract(dot(pixel, vec2(0.06711056, 0.00583715))));
    return vec4(c + (grain - 0.5) / 255.0, 1.0);
}
