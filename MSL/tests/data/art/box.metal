// a shadertoy port with half types, loops with float counters and macros
#define T u.time
#define R u.resolution
#define rot2(a) float2x2(cos(a), sin(a), -sin(a), cos(a))
half3 tint(half t) { half3 a = half3(0.5h), b = 0.5h; return a + b * cos(6.28h * (half3(1, 1, 1) * t + half3(0.0h, 0.33h, 0.67h))); }
float sdBox(float3 p, float3 b) { float3 q = abs(p) - b; return length(max(q, 0.0)) + min(max(q.x, max(q.y, q.z)), 0.0); }
float smin(float a, float b, float k = 0.3) { float h = clamp(0.5 + 0.5 * (b - a) / k, 0., 1.); return mix(b, a, h) - k * h * (1. - h); }
float scene(float3 p, float t) {
    float3 q = p; q.xz = q.xz * rot2(t * .5); q.xy *= rot2(.7);
    float d = sdBox(q, float3(.5)) - .1;
    d = smin(d, length(p - float3(sin(t), .3, 0)) - .4);
    return min(d, p.y + 1.);
}
float3 normalAt(float3 p, float t) {
    float2 e = float2(1e-3, 0);
    return normalize(float3(scene(p + e.xyy, t) - scene(p - e.xyy, t), scene(p + e.yxy, t) - scene(p - e.yxy, t), scene(p + e.yyx, t) - scene(p - e.yyx, t)));
}
float4 shade(float2 uv, constant Uniforms &u, constant Params &p)
{
    float2 q = (uv - .5) * 2.; q.x *= R.x / R.y;
    float3 ro = float3(0, .3, -3), rd = normalize(float3(q, 1.8)), col = 0;
    float t = 0.0;
    for (float i = 0.; i < 90.; i++) { float d = scene(ro + rd * t, T); if (d < .001 || t > 20.) break; t += d; }
    if (t < 20.) {
        float3 pos = ro + rd * t, n = normalAt(pos, T), L = normalize(float3(.6, .8, -.5));
        float sh = 1.;
        for (int i = 0.; i < 24.; i++) { float hh = scene(pos + L * (.02 + float(i) * .06) , T); sh = min(sh, 8. * hh / (.02 + float(i) * .06)); }
        sh = saturate(sh);
        float dif = fmax(dot(n, L), 0.0) * sh;
        half3 b = tint(half(pos.y * .5 + .5));
        col = float3(b) * (dif + .15) + powr(saturate(dot(reflect(rd, n), L)), 32.) * sh;
        float s, c2; s = sincos(T, c2); col *= 0.95 + 0.05 * s * c2;
    }
    col = mix(col, float3(.05, .06, .1), 1. - exp(-.01 * t * t));
    float whole; float fr = modf(T, whole); col += fr * 0.0;
    return float4(sqrt(col), 1.);
}
