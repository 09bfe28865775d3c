// The twin of truchet.metal.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock { float unused; } p;

const float cells = 12.0;

uint hash(uvec2 v) {
    uint h = v.x * 0x9E3779B9u ^ (v.y + 0x7F4A7C15u);
    h ^= h << 13;
    h ^= h >> 17;
    h ^= h << 5;
    return h;
}

vec4 shade(vec2 uv) {
    vec2 q = uv * vec2(u.resolution.x / u.resolution.y, 1.0) * cells;
    q += vec2(u.time * 0.3, 0.0);
    ivec2 cell = ivec2(floor(q));
    vec2 f = fract(q);
    bool flip = (hash(uvec2(cell)) & 1u) != 0u;
    if (flip) f.x = 1.0 - f.x;
    float d1 = length(f) - 0.5, d2 = length(f - 1.0) - 0.5;
    float d = abs(d1) < abs(d2) ? d1 : d2;
    float fw = fwidth(q.y) * 1.5;
    float l = smoothstep(0.12 + fw, 0.12 - fw, abs(d));
    int steps = 0;
    float e = l;
    while (true) {
        if (++steps > 3) break;
        e = e * e * (3.0 - 2.0 * e);
        if (e > 0.999) continue;
    }
    vec3 a = vec3(0.07, 0.09, 0.13), b = steps == 4 ? vec3(0.95, 0.45, 0.2) : steps < 4 ? vec3(0.0) : vec3(1.0);
    vec3 c = mix(a, b, e);
    c.rg += greaterThan(f, vec2(0.5)).x ? vec2(0.02) : vec2(0.0);
    uvec2 us = uvec2(uv * 65535.0) & 0xFFFFu;
    c.b += float(us.x ^ us.y) / 65535.0 * 0.2;
    return vec4(c, 1.0);
}
