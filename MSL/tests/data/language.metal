#include <metal_stdlib>
#include <simd/simd.h>
using namespace metal;
#include <metal_stdlib>
using namespace metal;
typedef float2x2 Turn;
using Colour = float3;
struct Params { float bands; float speed; };
struct Uniforms { float2 resolution; float time; uint frame; };
struct Hit { float d; int id; };
struct Light { float3 dir; float power = 1.0; };
struct Orbit { float r; float2 c; };
struct Ball { Orbit orbit; float past[5]; packed_float3 pos; };
struct Ray { float3 o; float3 d; Ray(float3 a, float3 b) : o(a), d(normalize(b)) {} float3 at(float t) const { return o + t * d; } };
struct C { float x, y; };
C operator*(C a, C b) { return C{a.x * b.x - a.y * b.y, a.x * b.y + a.y * b.x}; }
C operator+(C a, C b) { return {a.x + b.x, a.y + b.y}; }
enum Mode { Flat, Wavy, Last = 7 };
enum class Tone : uint { warm = 1, cold };
constant float kPi = 3.14159;
constant float3 kRamp[3] = { float3(0), float3(0.5), float3(1) };
constant float w5[] = { 1.0, 2.0, 3, 4, .5 };
static constant int kN = 4;
constant Hit table[2] = { {1, 2}, {3.0, 4} };
constant float2x2 kM = float2x2(1, 0, 0, 1);
float noise(float2 p);
float mod(float x, float y) { return x - y * floor(x / y); }
float3 mod(float3 x, float y) { return x - y * floor(x / y); }
float length(float2 p, float k) { return pow(pow(abs(p.x), k) + pow(abs(p.y), k), 1 / k); }
float2 rotate(float2 p, float a) { float c = cos(a), s = sin(a); return float2(c * p.x - s * p.y, s * p.x + c * p.y); }
float sign(float x) { return x < 0 ? -1.0 : 1.0; }
float2x2 rot(float a) { float s = sin(a), c = cos(a); return float2x2(c, -s, s, c); }
float f(float x, float k = 1.0) { return x * k; }
float h(float x) { return x; } float h(float2 x) { return x.x; } float h(float3 x) { return x.y; }
void step(thread float& x) { x += 1.0; }
void zero(thread float* v) { v[0] = 0.0; *v = 1; v += 1; v++; }
float total(thread float v[4]) { float s = 0; for (int i = 0; i < 4; i++) s += v[i]; return s; }
static inline float hash21(float2 p) { p = fract(p * float2(123.34, 456.21)); p += dot(p, p + 45.32); return fract(p.x * p.y); }
float noise(float2 p) { float2 i = floor(p), f = fract(p); f = f * f * (3 - 2 * f); 
  return mix(mix(hash21(i), hash21(i + float2(1, 0)), f.x), mix(hash21(i + float2(0, 1)), hash21(i + 1.0), f.x), f.y); }
template <typename T> T sq(T x) { return x * x; }
template <int N> float fbm(float2 p) { float s = 0, a = .5; for (int i = 0; i < N; i++) { s += a * noise(p); p *= 2; a *= .5; } return s; }
template <typename T> struct Pair { T a, b; T sum() const { return a + b; } };
template <typename T, int N> T first(thread const array<T, N>& x) { return x[0]; }
template <> float sq<float>(float x) { return x * x + 0; }
namespace tile { constant float k = 2; float f(float x) { return x * k; } namespace deep { float g(float x) { return f(x); } } }
namespace { float hidden(float x) { return x; } }
using tile::deep::g;
constexpr int fact(int n) { return n <= 1 ? 1 : n * fact(n - 1); }
static_assert(fact(4) == 24, "fact");
static_assert(sizeof(Ball) == 48, "ball");
constexpr sampler smp(coord::normalized, filter::linear, address::repeat);
half4 halves(half3 c, half k) { half3 d = c * 2.0 + 0.5h; d = mix(d, half3(k), half(0.3)); d.rg *= 0.5; return half4(saturate(d), 1); }
[[stitchable]] half4 effect(float2 pos, half4 color, float t) { half2 uv = half2(pos / 100); return half4(color.rgb * sin(t), color.a * uv.x); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
  constexpr float kTau = 6.2831853;
  const float asp = u.resolution.x / u.resolution.y;
  float2 q = uv * 2 - 1; q.x *= asp; q = rot(0.3) * q; q *= rot(u.time); q = q * rot(.2);
  float3 v = float3(q, 0); v.xz = v.zx; v.xz *= rot(1); v.rgb *= 0.5; v.x++; --v.y; v.xy += 1;
  Turn m = rot(1) * rot(2); m[0][1] = 2; m[1] = float2(1, 2); float3x3 m3 = float3x3(v, v, v); v = m3 * v; v = v * m3; m3 *= 2; m3 = m3 + m3; m = 2 * m;
  Ray r = Ray(float3(0), v); Ray r2(v, v); Ray r3{v, v}; r = r2; v += r.at(1) + r3.o;
  Light l = { .dir = v, .power = 2.0 }; Light l2; Light l3 = {v}; Light l4 = {}; l2 = l; v += l3.power * l4.dir * l2.power;
  Ball ball = { {1, {2, 3}}, {1, 2, 3}, float3(1, 2, 3) }; Ball flat = { 1, 2, 3, 4, 5 }; float3 bp = ball.pos; ball.pos = bp * 2; ball.pos += 1; ball.pos.x = 3; bp += ball.pos + flat.pos;
  C c1 = C{1, 2} * C{3, 4} + C{0, 0}; v.x += c1.x;
  float arr[4] = { 0.1, 0.2, 0.3, 0.4 }; float a2[2][3] = {{1, 2, 3}, {4, 5, 6}}; float a3[2][3] = {1, 2, 3, 4, 5, 6}; v.x += total(arr) + a2[1][2] + a3[0][0]; zero(arr); zero(&arr[1]);
  array<float, 4> ar = {1, 2, 3}; v.y += first(ar) + ar.size() + ar[2];
  float s = 0.0, amp = 0.5; for (float a = 0.0; a < 6.0; a += 0.5) s += a; for (int i = 0, j = 9; i < j; i++, j--) s += i; for (int i = 0.; i < 100.; i++) s += i; for (;;) { if (s > 1) break; s += amp; }
  while (true) { s--; if (s < 0) break; else continue; } do { s += 1; } while (s < 3);
  int mode = int(p.bands); switch (mode) { case Flat: s = 1; break; case Wavy: case 2: s = 2; default: s += 3; }
  Mode md = Wavy; if (md == Flat) s += 1; Tone tn = Tone::cold; if (tn == Tone::warm) s += 1; switch (tn) { case Tone::warm: s = 0; break; case Tone::cold: s = 1; } s += md; int im = md; uint ut = uint(tn); s += im + ut;
  uint hsh = 0x9e3779b9u; hsh ^= (hsh >> 16) & 0xffu; hsh = hsh << 3 | ~hsh; int mm = mode % 4; hsh += mm; uint2 uu = uint2(q * 100) % 7; uu = uu >> 2u; uu ^= uint2(1, 2); s += uu.x;
  bool hit = s < 1 && !(s > 2) || mode == 3; float3 cc = hit ? v : float3(1, 2, 3); cc = select(cc, v, cc < v); if (any(cc < 0.0) || all(v > 0)) s += 1; cc = cc < v ? cc : v; float k = hit ? 1 : 0.5; k = mode; 
  s += h(1) + h(q) + h(v) + f(1) + f(2, 3) + mod(1, 2) + mod(v, 2.0).x + length(q) + length(q, 2.0) + rotate(q, 1).x + sign(-1.0) + sign(v).x; step(s); 
  s += pow(2, s) + pow(s, 2) + max(s, 0) + max(v, 0.0).x + clamp(v, 0.0, 1.0).y + clamp(mode, 0, 3) + smoothstep(0, 1, s) + atan2(q.y, q.x) + atan(q.x) + step(0.5, s) + mix(1.0, 2.0, s) + abs(mode) + min(uint(3), 4u) + fast::sin(s) + metal::cos(s) + precise::exp(s) + sqrt(2);
  float whole, fr = modf(s, whole); int ex; float ma = frexp(s, ex); float cs; float sn = sincos(s, cs); s += fr + whole + ma + ex + cs + sn; s += fmod(s, 2) + dot(v, v) + distance(q, uv) + cross(v, v).x + reflect(v, v).x + refract(v, v, 0.9).x + fwidth(s) + dfdx(s) + determinant(m3) + transpose(m3)[0].x + normalize(v).x + as_type<float>(hsh) + popcount(hsh) + clz(3) + isnan(s) + fract(-0.25) + length_squared(v) + saturate(s) + rint(s) + exp2(s) + median3(1.0, 2.0, s) + max3(s, 1.0, 2.0);
  s += sq(2.0) + sq(3) + sq(v).x + fbm<4>(q) + Pair<float>{1, 2}.sum() + tile::f(2) + tile::deep::g(1) + g(2) + hidden(2) + noise(q) + numeric_limits<float>::max() + FLT_MAX + M_PI_F + INFINITY + kRamp[1].x + w5[mode & 3] + kN + table[1].d + kM[0].x;
  half4 hh = halves(half3(cc), 0.5h); half hv = hh.x; hv += 1; hv *= 2.0; s += hv; float4 ff = float4(hh); s += float(hh.y) + ff.x; half3 h3 = max(hh.rgb, 0.0h); h3 = h3 * 0.5 + 1; h3 = pow(h3, half3(2.2)); h3 = half3(v); h3 += half3(pow(float3(h3), 2));
  auto au = uv * 2.0; auto& ar2 = au; ar2.x = 3; const auto n2 = 4; s += au.x + n2 + (float)mode / (float)n2 + static_cast<float>(mode) + bool(mode) + (hit ? 1 : 0) + (true, 3) + -s + +s + 'a';
  int2 iv = int2(q); iv += 1; iv = iv * 2; float2 fv = float2(iv) + 1; bool2 bv = iv == int2(1); bv = !bv && bv; s += fv.x + float(bv.x) + iv[1] + v[mode] + q.yx.x + q.xyx.z + float3(1).x + float4(q, q).w + float4(1, v).x + float4(v.xy, 1, 2).w + vec<float, 3>(1, 2, 3).x + float2(1, 2)[0];
  float4 vv; vv.xyz = v; vv.w = 1; vv = vv.wzyx; vv.zw = float2(1); int last[kN]; for (int i = 0; i < kN; ++i) last[i] = i; s += last[2]; thread float& rf = arr[2]; rf = 3; thread float* pf = &rf; *pf = 4; pf[1] = 2; const thread float& cr = s; s += cr; uint32_t u32 = 3; size_t sz = sizeof(Hit); s += u32 + sz; unsigned int ui = 3; s += ui; unsigned ui2 = 2; s += ui2; float2x2 mz = float2x2(1.0); s += mz[0][0]; vector_float3 vf3 = simd_float3(1); s += vf3.x; matrix_float4x4 m44 = matrix_float4x4(1); s += m44[3].x; packed_float2 pk = float2(1, 2); s += pk.x + length(float2(pk)) ; float2 pq = pk * 2 + q; s += pq.x;
  if (float z = s * 2) s += z; { using namespace metal; float s2 = s; s += s2; } ; 
  return float4(v + s, 1.0);
}
struct V { float4 position [[position]]; float2 uv; };
fragment float4 fr(V in [[stage_in]], constant Uniforms& u [[buffer(0)]], constant Params& p [[buffer(1)]], texture2d<float> t [[texture(0)]], sampler ss [[sampler(0)]]) {
  uint w = t.get_width(); float4 c = t.sample(ss, in.uv) + t.sample(smp, in.uv, level(0)) + t.read(uint2(1, 2)); c += w; return shade(in.uv, u, p) + c; }
kernel void kn(const device Hit* hits [[buffer(0)]], device float* out [[buffer(1)]], constant uint& n, texture2d<half, access::write> tw [[texture(0)]], device atomic_uint* at [[buffer(3)]], uint2 gid [[thread_position_in_grid]], uint i [[thread_index_in_threadgroup]]) {
  threadgroup float tile[64]; tile[i] = hits[i].d; threadgroup_barrier(mem_flags::mem_threadgroup); out[gid.x] = tile[i] + n; tw.write(half4(1), gid); atomic_fetch_add_explicit(at, 1u, memory_order_relaxed); const device Hit& q = hits[3]; out[0] += q.d + hits->d; device float* o2 = out + 3; *o2 = 1; }
