// The twin of metaballs.metal.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock { float count; float hue; } p;

struct Ball { vec2 c; float r; };

vec3 hsv(vec3 c) {
    const vec4 K = vec4(1.0, 2.0 / 3.0, 1.0 / 3.0, 3.0);
    vec3 q = abs(fract(c.xxx + K.xyz) * 6.0 - K.www);
    return c.z * mix(K.xxx, clamp(q - K.xxx, 0.0, 1.0), c.y);
}

Ball ballAt(int i, float t) {
    Ball b;
    float fi = float(i);
    b.c = vec2(sin(t * (0.7 + 0.13 * fi) + fi), cos(t * (0.9 - 0.07 * fi) + 2.0 * fi)) * 0.6;
    b.r = 0.15 + 0.05 * sin(fi * 7.0);
    return b;
}

float field(vec2 q, float t, int n, out vec2 grad) {
    float s = 0.0;
    vec2 g = vec2(0.0);
    int i = 0;
    while (i < n) {
        Ball b = ballAt(i, t);
        vec2 d = q - b.c;
        float l2 = max(dot(d, d), 1e-3);
        s += b.r * b.r / l2;
        g -= 2.0 * b.r * b.r * d / (l2 * l2);
        i++;
    }
    grad = g;
    return s;
}

vec4 shade(vec2 uv) {
    vec2 q = uv * 2.0 - 1.0;
    q.x *= u.resolution.x / u.resolution.y;
    vec2 g;
    float f = field(q, u.time, int(p.count), g);
    vec3 n = normalize(vec3(-g * 0.3, 1.0));
    vec3 l = normalize(vec3(0.4, 0.7, 0.6));
    float diff = max(dot(n, l), 0.0);
    vec3 ref = reflect(-l, n);
    float spec = pow(clamp(ref.z, 0.0, 1.0), 40.0);
    vec3 base = hsv(vec3(p.hue + 0.1 * f, 0.7, 1.0));
    vec3 bg = mix(vec3(0.02, 0.02, 0.05), vec3(0.1, 0.05, 0.15), uv.y);
    float k = smoothstep(0.98, 1.02, f);
    vec3 c = mix(bg, base * diff + spec, k);
    float w[4] = float[4](0.1, 0.2, 0.3, 0.4);
    float acc = 0.0;
    for (int i = 0, j = 3; i < j; i++, j--) acc += w[i] * w[j];
    c += acc * 0.01;
    do { c *= 0.999; } while (false);
    return vec4(c, 1.0);
}
