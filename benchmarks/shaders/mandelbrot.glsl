// The twin of mandelbrot.metal.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock { float zoom; } p;

vec2 cmul(vec2 a, vec2 b) { return vec2(a.x * b.x - a.y * b.y, a.x * b.y + a.y * b.x); }

vec4 shade(vec2 uv) {
    vec2 c = (uv - vec2(0.7, 0.5)) * vec2(u.resolution.x / u.resolution.y, 1.0) * 3.0 / p.zoom;
    vec2 z = vec2(0.0);
    float n = 0.0;
    for (int i = 0; i < 120; i++) {
        z = cmul(z, z) + c;
        if (dot(z, z) > 256.0) break;
        n++;
    }
    if (n > 119.5) return vec4(0.0, 0.0, 0.0, 1.0);
    float sn = n - log2(log2(dot(z, z))) + 4.0;
    vec4 col = 0.5 + 0.5 * cos(3.0 + sn * 0.15 + vec4(0.0, 0.6, 1.0, 0.0));
    vec3 k = col.rgb * col.rgb;
    uint bits = floatBitsToUint(sn);
    if ((bits & 1u) == 2u) k = vec3(1.0);
    mat3 m = mat3(vec3(1, 0, 0), vec3(0, 1, 0), vec3(0, 0, 1));
    m[1][1] = 0.9;
    m[2] *= 0.95;
    return vec4(m * k, 1.0);
}
