// A 64-step raymarcher: two spheres melting over a floor, with soft shadow and fog.
// @still 2.5
// @param blend 0.45 0.05 1 How far the spheres melt into one another

constant float farAway = 24.0;

struct Hit {
    float distance;
    int what;
};

float smoothMin(float a, float b, float k) {
    float h = saturate(0.5 + 0.5 * (b - a) / k);
    return mix(b, a, h) - k * h * (1.0 - h);
}

Hit scene(float3 p, float time, float k) {
    float a = length(p - float3(0.9 * sin(time), 1.1, 0.6 * cos(time))) - 0.8;
    float b = length(p - float3(-0.7 * cos(1.3 * time), 0.8 + 0.3 * sin(2.0 * time), 0.0)) - 0.6;
    float balls = smoothMin(a, b, k);
    Hit hit;
    hit.distance = min(balls, p.y);
    hit.what = balls < p.y ? 1 : 0;
    return hit;
}

float3 normalAt(float3 p, float time, float k) {
    const float2 e = float2(0.002, 0.0);
    return normalize(float3(scene(p + e.xyy, time, k).distance - scene(p - e.xyy, time, k).distance,
                            scene(p + e.yxy, time, k).distance - scene(p - e.yxy, time, k).distance,
                            scene(p + e.yyx, time, k).distance - scene(p - e.yyx, time, k).distance));
}

float shadow(float3 from, float3 towards, float time, float k) {
    float light = 1.0, way = 0.05;
    for (int i = 0; i < 16 && way < 6.0; i++) {
        float d = scene(from + towards * way, time, k).distance;
        if (d < 0.001) return 0.0;
        light = min(light, 9.0 * d / way);
        way += max(d, 0.05);
    }
    return light;
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 screen = (uv - 0.5) * float2(u.resolution.x / u.resolution.y, 1.0);
    float3 eye = float3(0.0, 1.6, -4.5);
    float3 ray = normalize(float3(screen, 1.1));
    float3 sun = normalize(float3(0.6, 0.9, -0.5));
    float3 sky = mix(float3(0.85, 0.55, 0.38), float3(0.16, 0.24, 0.42), saturate(ray.y * 2.0 + 0.3));
    float way = 0.0;
    Hit hit = { farAway, -1 };
    for (int i = 0; i < 64; i++) {
        hit = scene(eye + ray * way, u.time, p.blend);
        if (hit.distance < 0.001 * way || way > farAway) break;
        way += hit.distance;
    }
    if (way > farAway) return float4(sky, 1.0);
    float3 at = eye + ray * way;
    float3 n = normalAt(at, u.time, p.blend);
    float3 base = hit.what == 1 ? float3(0.92, 0.36, 0.12)
                                : float3(0.30, 0.32, 0.36) * (fmod(floor(at.x) + floor(at.z) + 64.0, 2.0) < 0.5 ? 1.0 : 0.75);
    float direct = saturate(dot(n, sun)) * shadow(at + n * 0.01, sun, u.time, p.blend);
    float3 c = base * (0.25 + 0.2 * n.y + 0.9 * direct);
    c += pow(saturate(dot(reflect(ray, n), sun)), 40.0) * direct * (hit.what == 1 ? 0.7 : 0.0);
    c = mix(c, sky, 1.0 - exp(-0.004 * way * way));
    return float4(sqrt(saturate(c)), 1.0);
}
