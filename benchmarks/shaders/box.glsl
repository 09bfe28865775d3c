// The twin of box.metal.
#extension GL_EXT_shader_explicit_arithmetic_types_float16 : require
layout(set = 0, binding = 1, scalar) uniform ParameterBlock { float unused; } p;

#define rot2(a) mat2(cos(a), sin(a), -sin(a), cos(a))

f16vec3 tint(float16_t t) {
    f16vec3 a = f16vec3(0.5hf), b = f16vec3(0.5hf);
    return a + b * f16vec3(cos(vec3(6.28hf * (f16vec3(1, 1, 1) * t + f16vec3(0.0hf, 0.33hf, 0.67hf)))));
}

float sdBox(vec3 q, vec3 b) {
    vec3 e = abs(q) - b;
    return length(max(e, 0.0)) + min(max(e.x, max(e.y, e.z)), 0.0);
}

float smin(float a, float b) {
    const float k = 0.3;
    float h = clamp(0.5 + 0.5 * (b - a) / k, 0.0, 1.0);
    return mix(b, a, h) - k * h * (1.0 - h);
}

float scene(vec3 at, float t) {
    vec3 q = at;
    q.xz = q.xz * rot2(t * 0.5);
    q.xy *= rot2(0.7);
    float d = sdBox(q, vec3(0.5)) - 0.1;
    d = smin(d, length(at - vec3(sin(t), 0.3, 0.0)) - 0.4);
    return min(d, at.y + 1.0);
}

vec3 normalAt(vec3 at, float t) {
    vec2 e = vec2(1e-3, 0.0);
    return normalize(vec3(scene(at + e.xyy, t) - scene(at - e.xyy, t), scene(at + e.yxy, t) - scene(at - e.yxy, t),
                          scene(at + e.yyx, t) - scene(at - e.yyx, t)));
}

vec4 shade(vec2 uv) {
    vec2 q = (uv - 0.5) * 2.0;
    q.x *= u.resolution.x / u.resolution.y;
    vec3 ro = vec3(0.0, 0.3, -3.0), rd = normalize(vec3(q, 1.8)), col = vec3(0.0);
    float t = 0.0;
    for (float i = 0.0; i < 90.0; i++) {
        float d = scene(ro + rd * t, u.time);
        if (d < 0.001 || t > 20.0) break;
        t += d;
    }
    if (t < 20.0) {
        vec3 pos = ro + rd * t, n = normalAt(pos, u.time), L = normalize(vec3(0.6, 0.8, -0.5));
        float sh = 1.0;
        for (int i = 0; float(i) < 24.0; i++) {
            float hh = scene(pos + L * (0.02 + float(i) * 0.06), u.time);
            sh = min(sh, 8.0 * hh / (0.02 + float(i) * 0.06));
        }
        sh = clamp(sh, 0.0, 1.0);
        float dif = max(dot(n, L), 0.0) * sh;
        f16vec3 b = tint(float16_t(pos.y * 0.5 + 0.5));
        col = vec3(b) * (dif + 0.15) + pow(clamp(dot(reflect(rd, n), L), 0.0, 1.0), 32.0) * sh;
        float s = sin(u.time), c2 = cos(u.time);
        col *= 0.95 + 0.05 * s * c2;
    }
    col = mix(col, vec3(0.05, 0.06, 0.1), 1.0 - exp(-0.01 * t * t));
    float whole;
    float fr = modf(u.time, whole);
    col += fr * 0.0;
    return vec4(sqrt(col), 1.0);
}
