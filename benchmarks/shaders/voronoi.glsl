// The twin of voronoi.metal.
#extension GL_EXT_shader_explicit_arithmetic_types_float16 : require
layout(set = 0, binding = 1, scalar) uniform ParameterBlock { float scale; float jitter; } p;

vec2 hash2(vec2 at) {
    at = vec2(dot(at, vec2(127.1, 311.7)), dot(at, vec2(269.5, 183.3)));
    return fract(sin(at) * 43758.5453);
}

uint wang(uint h) {
    h = (h ^ 61u) ^ (h >> 16);
    h *= 9u;
    h ^= h >> 4;
    h *= 0x27d4eb2du;
    return h ^ (h >> 15);
}

void vor(vec2 x, float t, float j, out float d1, out float d2, out ivec2 id) {
    vec2 n = floor(x), f = fract(x);
    d1 = d2 = 8.0;
    for (int jj = -1; jj <= 1; jj++)
        for (int i = -1; i <= 1; i++) {
            vec2 g = vec2(i, jj);
            vec2 o = hash2(n + g) * j;
            o = 0.5 + 0.5 * sin(t + 6.2831 * o);
            vec2 r = g + o - f;
            float d = dot(r, r);
            if (d < d1) {
                d2 = d1;
                d1 = d;
                id = ivec2(n + g);
            } else if (d < d2) {
                d2 = d;
            }
        }
    d1 = sqrt(d1);
    d2 = sqrt(d2);
}

float fbm4(vec2 at) {
    float a = 0.5, s = 0.0;
    for (int i = 0; i < 4; ++i) {
        s += a * (0.5 + 0.5 * sin(at.x) * sin(at.y));
        at *= 2.03;
        a *= 0.5;
    }
    return s;
}

vec4 shade(vec2 uv) {
    uv.x *= u.resolution.x / u.resolution.y;
    float a, b;
    ivec2 id = ivec2(0);
    vor(uv * p.scale, u.time, p.jitter, a, b, id);
    uint h = wang(uint(id.x * 73 + id.y * 719 + 5000));
    vec3 col = vec3(h & 255u, (h >> 8) & 255u, (h >> 16) & 255u) / 255.0;
    f16vec3 hc = f16vec3(col) * 0.8hf;
    col = vec3(hc) * (1.0 - 0.5 * (a * a));
    float w = fwidth(b - a);
    col *= smoothstep(0.02, 0.02 + w, b - a);
    col += 0.1 * fbm4(uv * 3.0);
    vec2 m = u.mouse / u.resolution;
    vec2 away = uv - m * vec2(u.resolution.x / u.resolution.y, 1.0);
    col += 0.3 * exp(-20.0 * dot(away, away));
    if (any(isnan(col))) return vec4(1.0, 0.0, 1.0, 1.0);
    return vec4(clamp(col, 0.0, 1.0), 1.0);
}
