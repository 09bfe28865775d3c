#include <metal_stdlib>
using namespace metal;
#define N 5
#define rot(a) float2x2(cos(a), -sin(a), sin(a), cos(a))
#define S(a, b, t) smoothstep(a, b, t)
struct Uniforms { float2 resolution; float time; };
constant const float kA = 1; const constant float kB = 2 * kA; constexpr constant float kC = kA + 1; static constexpr constant int kD = 3; constant static const float3 kV = float3(1) * 2; constant float2 dirs[] = {float2(1, 0), {0, 1}, 2};
struct P { float2 a; float3 b[2]; };
P mk(float2 x) { return {x, {x.xyx, 1}}; }
inline constexpr float sqr(float x) { return x * x; }
float sdBox(float2 p, thread const float2& b) { float2 d = abs(p) - b; return length(max(d, 0.0)) + min(max(d.x, d.y), 0.0); }
void pR(thread float2 &p, float a) { p = cos(a) * p + sin(a) * float2(p.y, -p.x); }
void two(thread float2& a, thread float& b) { a += b; b = a.x; }
float3 pal(float t) { const float3 a = 0.5, b = 0.5, c = 1, d = float3(0, .33, .67); return a + b * cos(6.28318 * (c * t + d)); }
float4 shade(float2 uv, constant Uniforms& u) {
  float3 a = 0; float3 c(1, 2, 3); float2 q{uv}; float4 o = 0; uv -= .5, uv *= 2.;
  for (float i = 0.; i++ < 5.;) o += i; for (float i = 0, z = 0, d; i++ < 1e2; o += (cos(z + float4(0, 1, 2, 3)) + 1.) / 3.) { float3 p = z * normalize(float3(uv, 1)); p.z -= u.time; d = length(sin(p.yz)) * .1; z += d; p.xy *= rot(z * .1 + u.time); a += p; }
  o = tanh(o * o / 1e7); for (int i = 0; i < N; ++i) { uv = abs(uv) / dot(uv, uv) - .5; uv *= rot(.5 + float(i) / N); }
  float x = int(q.x * 10) % 2 == 0 ? 1 : q.y > 0 ? .5 : 0; x += sign(x) * pow(2, 3) + max(0, N) + clamp(N, 0, 5) + min(N, 3u) + abs(N - 2) + sign(3) + mix(1., 2., x > .5) + sqr(x);
  bool k = (x > 0) & (q.x < 1); k ^= true; x += k; x -= !k; uint h = uint(x) & 1u; h = h * 1664525u + 1013904223u; x += float(h & 0x00ffffffu) / float(0x01000000); half3 hh = half3(0.0h); hh += half(x); hh *= half3(1, 2, 3); a += float3(hh); float3 w = fract(a).xxy; w.zyx *= 2; w = -w.yxz; w += x > 0 ? 1. : 0.; w = select(w, a, a < w); a = max(max(a, w), 0); a = clamp(a, 0, 1); a = pow(a, 1 / 2.2); a = pow(a, float3(.4545)); a = mix(a, w, .5); a = step(.5, a); a = a > .5 ? w : a; if (any(isnan(a)) || isinf(x)) a = 0;
  P p = mk(q); p.b[1].yz += 1; p.a = p.b[0].xy; float2x2 ms[2] = {float2x2(1), rot(1.)}; q = ms[1] * q; pR(q, .3); pR(p.a, 1); two(q, x); float tab[4]; for (int i = 0; i < 4; i++) tab[i] = i * i; x += tab[int(x) & 3]; float3 cs[] = {float3(1), 0.5, {1, 2, 3}}; a += cs[N % 3] + dirs[1].xyx + kV; float best = INFINITY; best = min(best, x); x = as_type<float>(as_type<uint>(x) & 0x7fffffff); x = atan2(uv.y, uv.x) / M_PI_F; int s = 1 << 3 | 2; s >>= 1; s = -s; x += s; x += (float)s / 2; x = (int)x; x = float3(1, 2, 3)[s & 1]; float3x3 m3 = float3x3(float3(1, 0, 0), float3(0, 1, 0), a); a = m3 * a; a = transpose(m3) * a * m3; a.xy = a.yx; a.x = a.y = a.z; x = uv.x, x += 1; { float x = 2; a += x; } float e = 1e-3f, f = .5F; x += e + f; S(0, 1, x); do x--; while (x > 0); switch (s & 3) { case 0: { x = 1; break; } case 1: case 2: x = 2; default: ; } int i = 3; while (i --> 0) a += i; float dist = 1.0, step = 0.1; dist += step; a += sdBox(q, float2(.5, .2)) + sdBox(q, q) + pal(x);
  return float4(a * S(0., 1., x) + kB + kC + kD, 1);
}
struct V { float4 position [[position]]; float2 uv; };
fragment half4 fr(V in [[stage_in]], constant Uniforms& u [[buffer(0)]]) { return half4(shade(in.uv, u)); }
