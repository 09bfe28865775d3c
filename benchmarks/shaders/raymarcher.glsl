// The twin of raymarcher.metal.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock { float blend; } p;

const float farAway = 24.0;

float smoothMin(float a, float b, float k) {
    float h = clamp(0.5 + 0.5 * (b - a) / k, 0.0, 1.0);
    return mix(b, a, h) - k * h * (1.0 - h);
}

// The distance, and 1 for the balls, 0 for the floor.
vec2 scene(vec3 at, float time, float k) {
    float a = length(at - vec3(0.9 * sin(time), 1.1, 0.6 * cos(time))) - 0.8;
    float b = length(at - vec3(-0.7 * cos(1.3 * time), 0.8 + 0.3 * sin(2.0 * time), 0.0)) - 0.6;
    float balls = smoothMin(a, b, k);
    return vec2(min(balls, at.y), balls < at.y ? 1.0 : 0.0);
}

vec3 normalAt(vec3 at, float time, float k) {
    const vec2 e = vec2(0.002, 0.0);
    return normalize(vec3(scene(at + e.xyy, time, k).x - scene(at - e.xyy, time, k).x,
                          scene(at + e.yxy, time, k).x - scene(at - e.yxy, time, k).x,
                          scene(at + e.yyx, time, k).x - scene(at - e.yyx, time, k).x));
}

float shadow(vec3 from, vec3 towards, float time, float k) {
    float light = 1.0, way = 0.05;
    for (int i = 0; i < 16 && way < 6.0; i++) {
        float d = scene(from + towards * way, time, k).x;
        if (d < 0.001) return 0.0;
        light = min(light, 9.0 * d / way);
        way += max(d, 0.05);
    }
    return light;
}

vec4 shade(vec2 uv) {
    vec2 screen = (uv - 0.5) * vec2(u.resolution.x / u.resolution.y, 1.0);
    vec3 eye = vec3(0.0, 1.6, -4.5);
    vec3 ray = normalize(vec3(screen, 1.1));
    vec3 sun = normalize(vec3(0.6, 0.9, -0.5));
    vec3 sky = mix(vec3(0.85, 0.55, 0.38), vec3(0.16, 0.24, 0.42), clamp(ray.y * 2.0 + 0.3, 0.0, 1.0));
    float way = 0.0;
    vec2 hit = vec2(farAway, -1.0);
    for (int i = 0; i < 64; i++) {
        hit = scene(eye + ray * way, u.time, p.blend);
        if (hit.x < 0.001 * way || way > farAway) break;
        way += hit.x;
    }
    if (way > farAway) return vec4(sky, 1.0);
    vec3 at = eye + ray * way;
    vec3 n = normalAt(at, u.time, p.blend);
    vec3 base = hit.y == 1.0 ? vec3(0.92, 0.36, 0.12)
                             : vec3(0.30, 0.32, 0.36) * (mod(floor(at.x) + floor(at.z) + 64.0, 2.0) < 0.5 ? 1.0 : 0.75);
    float direct = clamp(dot(n, sun), 0.0, 1.0) * shadow(at + n * 0.01, sun, u.time, p.blend);
    vec3 c = base * (0.25 + 0.2 * n.y + 0.9 * direct);
    c += pow(clamp(dot(reflect(ray, n), sun), 0.0, 1.0), 40.0) * direct * (hit.y == 1.0 ? 0.7 : 0.0);
    c = mix(c, sky, 1.0 - exp(-0.004 * way * way));
    return vec4(sqrt(clamp(c, 0.0, 1.0)), 1.0);
}
