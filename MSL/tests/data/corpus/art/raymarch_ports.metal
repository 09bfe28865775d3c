#include <metal_stdlib>
using namespace metal;

#define MAX_STEPS 100
#define MAX_DIST 100.
#define SURF_DIST .001
#define TAU 6.283185
#define S(a, b, t) smoothstep(a, b, t)
#define sat(x) clamp(x, 0., 1.)
#define R(a) float2x2(cos(a), -sin(a), sin(a), cos(a))
#define repeat(i, n) for (int i = 0; i < n; i++)

constant float3 kSky[3] = { float3(.3, .5, .8), float3(.8, .6, .4), float3(.1, .1, .3) };
constant float PI = 3.14159265;

struct Uniforms { float2 resolution; float time; float2 mouse; };

float2x2 rot(float a) {
    float s = sin(a), c = cos(a);
    return float2x2(c, -s, s, c);
}

float sdBox(float3 p, float3 s) {
    p = abs(p) - s;
    return length(max(p, 0.)) + min(max(p.x, max(p.y, p.z)), 0.);
}
float sdTorus(float3 p, float2 t) { return length(float2(length(p.xz) - t.x, p.y)) - t.y; }
float smin(float a, float b, float k = .1) {
    float h = clamp(.5 + .5 * (b - a) / k, 0., 1.);
    return mix(b, a, h) - k * h * (1. - h);
}

float map(float3 p, float time) {
    float3 q = p;
    q.xz *= rot(time * .3);
    q.xy = R(time * .2) * q.xy;
    float d = sdBox(q, float3(1));
    d = smin(d, sdTorus(q - float3(0, .5, 0), float2(1.2, .2)), .3);
    for (float i = 1.; i < 4.; i++) {
        q = abs(q) - .4 / i;
        q.yz *= rot(i + time * .1);
        d = max(d, -sdBox(q, float3(.3 / i)));
    }
    return min(d, p.y + 2.);
}

float march(float3 ro, float3 rd, float time) {
    float dO = 0.;
    repeat (i, MAX_STEPS) {
        float3 p = ro + rd * dO;
        float dS = map(p, time);
        dO += dS;
        if (dO > MAX_DIST || abs(dS) < SURF_DIST) break;
    }
    return dO;
}

float3 normalAt(float3 p, float time) {
    const float2 e = float2(.001, 0);
    return normalize(map(p, time) - float3(map(p - e.xyy, time), map(p - e.yxy, time), map(p - e.yyx, time)));
}

float softShadow(float3 ro, float3 rd, float time, float k = 16) {
    float res = 1, t = .02;
    while (t < 8.) {
        float h = map(ro + rd * t, time);
        if (h < .001) return 0.;
        res = min(res, k * h / t);
        t += h;
    }
    return res;
}

float3 palette(float t, float3 a = .5, float3 b = float3(.5), float3 c = float3(1), float3 d = float3(0., .33, .67)) {
    return a + b * cos(TAU * (c * t + d));
}

struct VertexOut {
    float4 pos [[position]];
    float2 uv;
};

vertex VertexOut fullscreen(uint id [[vertex_id]]) {
    const float2 corners[4] = { {-1, -1}, {1, -1}, {-1, 1}, {1, 1} };
    VertexOut out;
    out.pos = float4(corners[id], 0, 1);
    out.uv = corners[id];
    return out;
}

fragment float4 raymarch(VertexOut in [[stage_in]], constant Uniforms &u [[buffer(0)]]) {
    float2 uv = (in.pos.xy - .5 * u.resolution) / u.resolution.y;
    uv.y = -uv.y;
    float3 ro = float3(0, 3, -4), lookat = 0;
    ro.yz *= rot(-u.mouse.y * PI + 1.), ro.xz *= rot(-u.mouse.x * TAU);
    float3 f = normalize(lookat - ro), r = normalize(cross(float3(0, 1, 0), f)), up = cross(f, r);
    float3 rd = normalize(f + uv.x * r + uv.y * up);
    float3 col = mix(kSky[0], kSky[1], S(-.2, .6, rd.y));
    float d = march(ro, rd, u.time);
    if (d < MAX_DIST) {
        float3 p = ro + rd * d, n = normalAt(p, u.time), l = normalize(float3(1, 2, -1));
        float dif = dot(n, l) * .5 + .5;
        dif *= softShadow(p + n * .01, l, u.time);
        col = palette(dif + p.y * .1) * sat(dif) + kSky[2] * .2;
        col += pow(max(dot(reflect(-l, n), -rd), 0.), 32.) * .5;
    }
    col = pow(col, .4545);
    col *= 1. - dot(uv, uv) * .3;
    return float4(col, 1);
}
