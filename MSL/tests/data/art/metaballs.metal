#include <metal_stdlib>
using namespace metal;
using namespace metal;
// @param count 5 1 8
// @param hue 0.3 0 1
struct Ball { float2 c; float r; };
float3 hsv(float3 c) {
    const float4 K = float4(1.0, 2.0 / 3.0, 1.0 / 3.0, 3.0);
    float3 p = abs(fract(c.xxx + K.xyz) * 6.0 - K.www);
    return c.z * mix(K.xxx, saturate(p - K.xxx), c.y);
}
Ball ballAt(int i, float t) {
    Ball b;
    float fi = (float)i;
    b.c = float2(sin(t * (0.7 + 0.13 * fi) + fi), cos(t * (.9 - .07 * fi) + 2.0 * fi)) * 0.6;
    b.r = 0.15 + 0.05 * sin(fi * 7.0);
    return b;
}
float field(float2 q, float t, int n, thread float2 *grad = nullptr) {
    float s = 0;
    float2 g = 0;
    int i = 0;
    while (i < n) {
        Ball b = ballAt(i, t);
        float2 d = q - b.c;
        float l2 = max(dot(d, d), 1e-3f);
        s += b.r * b.r / l2;
        g -= 2.0 * b.r * b.r * d / (l2 * l2);
        i++;
    }
    if (grad) *grad = g;
    return s;
}
fragment float4 unusedOne(float4 pos [[position]], texture2d<float> t [[texture(0)]]) { return float4(0.5); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 q = uv * 2 - 1; q.x *= u.resolution.x/u.resolution.y;
    float2 g;
    float f = field(q, u.time, int(p.count), &g);
    float3 n = normalize(float3(-g * 0.3, 1.0));
    float3 l = normalize(float3(0.4, 0.7, 0.6));
    float diff = max(dot(n, l), 0.0);
    float3 ref = reflect(-l, n);
    float spec = pow(saturate(ref.z), 40);
    float3 base = hsv(float3(p.hue + 0.1 * f, 0.7, 1));
    float3 bg = mix(float3(.02, .02, .05), float3(.1, .05, .15), uv.y);
    float k = smoothstep(0.98, 1.02, f);
    float3 c = mix(bg, base * diff + spec, k);
    float w[4] = { 0.1, 0.2, 0.3, 0.4 };
    float acc = 0.0;
    for (int i = 0, j = 3; i < j; i++, j--) { acc += w[i] * w[j]; }
    c += acc * 0.01;
    do { c *= 0.999; } while (false);
    return float4(c, 1.0);
}
