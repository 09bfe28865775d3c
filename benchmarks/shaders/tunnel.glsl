// The twin of tunnel.metal. Its table is read without a check of the index.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock { float twist; float speed; } p;

const vec3 ramp[4] = vec3[4](vec3(0.1, 0.0, 0.2), vec3(0.8, 0.2, 0.1), vec3(1.0, 0.8, 0.3), vec3(1.0));

mat2 rot(float a) {
    float c = cos(a), s = sin(a);
    return mat2(c, -s, s, c);
}

float map(vec3 at) {
    at.xy *= rot(at.z * 0.1 * p.twist);
    float r = 1.6 - length(at.xy);
    r += 0.15 * sin(at.z * 2.0) * cos(atan(at.y, at.x) * 6.0);
    return r * 0.7;
}

vec3 palette(float x) {
    x = fract(x) * 3.0;
    int i = int(floor(x));
    return mix(ramp[i], ramp[min(i + 1, 3)], smoothstep(0.0, 1.0, x - float(i)));
}

vec4 shade(vec2 uv) {
    vec2 q = (2.0 * uv - 1.0) * vec2(u.resolution.x / u.resolution.y, 1.0);
    vec3 o = vec3(0.0, 0.0, u.time * p.speed), d = normalize(vec3(q, 1.5));
    float t = 0.0;
    for (int i = 0; i < 64; i++) {
        vec3 pos = o + t * d;
        float way = map(pos);
        if (abs(way) < 1e-4) break;
        else if (t > 40.0) { t = 40.0; break; }
        t += way;
    }
    vec3 pos = o + t * d;
    bool isWavy = pos.z > 3.0;
    vec3 c = palette(mod(pos.z, 7.0) * 0.14 + t * 0.02);
    c *= exp(-(t * 0.08) * (t * 0.08));
    switch (isWavy ? 3 : 0) {
    case 0: c.r *= 1.1; break;
    case 3: c.gb *= 0.95;
    default: c += 0.01;
    }
    c = pow(c, vec3(0.4545));
    return vec4(c, 1.0);
}
