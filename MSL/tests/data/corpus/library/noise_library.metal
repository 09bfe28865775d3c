#pragma once
#ifndef NOISE_LIBRARY
#define NOISE_LIBRARY
#include <metal_stdlib>
using namespace metal;

namespace noise {

namespace detail {

inline float mod289(float x) { return x - floor(x * (1.0 / 289.0)) * 289.0; }
inline float2 mod289(float2 x) { return x - floor(x * (1.0 / 289.0)) * 289.0; }
inline float3 mod289(float3 x) { return x - floor(x * (1.0 / 289.0)) * 289.0; }
inline float4 mod289(float4 x) { return x - floor(x * (1.0 / 289.0)) * 289.0; }

template <typename T> inline T permute(T x) { return mod289(((x * 34.0) + 1.0) * x); }
template <typename T> inline T taylorInvSqrt(T r) { return 1.79284291400159 - 0.85373472095314 * r; }

} // namespace detail

using namespace detail;

float simplex(float2 v) {
    const float4 C = float4(0.211324865405187, 0.366025403784439, -0.577350269189626, 0.024390243902439);
    float2 i = floor(v + dot(v, C.yy));
    float2 x0 = v - i + dot(i, C.xx);
    float2 i1 = (x0.x > x0.y) ? float2(1.0, 0.0) : float2(0.0, 1.0);
    float4 x12 = x0.xyxy + C.xxzz;
    x12.xy -= i1;
    i = mod289(i);
    float3 p = permute(permute(i.y + float3(0.0, i1.y, 1.0)) + i.x + float3(0.0, i1.x, 1.0));
    float3 m = max(0.5 - float3(dot(x0, x0), dot(x12.xy, x12.xy), dot(x12.zw, x12.zw)), 0.0);
    m = m * m;
    m = m * m;
    float3 x = 2.0 * fract(p * C.www) - 1.0;
    float3 h = abs(x) - 0.5;
    float3 ox = floor(x + 0.5);
    float3 a0 = x - ox;
    m *= taylorInvSqrt(a0 * a0 + h * h);
    float3 g;
    g.x = a0.x * x0.x + h.x * x0.y;
    g.yz = a0.yz * x12.xz + h.yz * x12.yw;
    return 130.0 * dot(m, g);
}

float simplex(float3 v) {
    const float2 C = float2(1.0 / 6.0, 1.0 / 3.0);
    const float4 D = float4(0.0, 0.5, 1.0, 2.0);
    float3 i = floor(v + dot(v, C.yyy));
    float3 x0 = v - i + dot(i, C.xxx);
    float3 g = step(x0.yzx, x0.xyz);
    float3 l = 1.0 - g;
    float3 i1 = min(g.xyz, l.zxy);
    float3 i2 = max(g.xyz, l.zxy);
    float3 x1 = x0 - i1 + C.xxx;
    float3 x2 = x0 - i2 + C.yyy;
    float3 x3 = x0 - D.yyy;
    i = mod289(i);
    float4 p = permute(permute(permute(i.z + float4(0.0, i1.z, i2.z, 1.0)) + i.y + float4(0.0, i1.y, i2.y, 1.0)) + i.x + float4(0.0, i1.x, i2.x, 1.0));
    float n_ = 0.142857142857;
    float3 ns = n_ * D.wyz - D.xzx;
    float4 j = p - 49.0 * floor(p * ns.z * ns.z);
    float4 x_ = floor(j * ns.z);
    float4 y_ = floor(j - 7.0 * x_);
    float4 x = x_ * ns.x + ns.yyyy;
    float4 y = y_ * ns.x + ns.yyyy;
    float4 h = 1.0 - abs(x) - abs(y);
    float4 b0 = float4(x.xy, y.xy);
    float4 b1 = float4(x.zw, y.zw);
    float4 s0 = floor(b0) * 2.0 + 1.0;
    float4 s1 = floor(b1) * 2.0 + 1.0;
    float4 sh = -step(h, float4(0.0));
    float4 a0 = b0.xzyw + s0.xzyw * sh.xxyy;
    float4 a1 = b1.xzyw + s1.xzyw * sh.zzww;
    float3 p0 = float3(a0.xy, h.x), p1 = float3(a0.zw, h.y), p2 = float3(a1.xy, h.z), p3 = float3(a1.zw, h.w);
    float4 norm = taylorInvSqrt(float4(dot(p0, p0), dot(p1, p1), dot(p2, p2), dot(p3, p3)));
    p0 *= norm.x; p1 *= norm.y; p2 *= norm.z; p3 *= norm.w;
    float4 m = max(0.6 - float4(dot(x0, x0), dot(x1, x1), dot(x2, x2), dot(x3, x3)), 0.0);
    m = m * m;
    return 42.0 * dot(m * m, float4(dot(p0, x0), dot(p1, x1), dot(p2, x2), dot(p3, x3)));
}

// The octaves are a template parameter so that the loop has a constant bound.
template <int Octaves = 5, typename P>
float fbm(P p, float lacunarity = 2.0, float gain = 0.5) {
    float sum = 0, amplitude = gain, scale = 0;
    for (int i = 0; i < Octaves; ++i) {
        sum += amplitude * simplex(p);
        scale += amplitude;
        p *= lacunarity;
        amplitude *= gain;
    }
    return sum / scale;
}

struct Cellular {
    float nearest = 8.0;
    float second = 8.0;
    uint id;

    void add(float d, uint cell) {
        if (d < nearest) { second = nearest; nearest = d; id = cell; }
        else if (d < second) second = d;
    }
    float edge() const { return second - nearest; }
};

inline uint hash(uint x) {
    x ^= x >> 16; x *= 0x7feb352dU; x ^= x >> 15; x *= 0x846ca68bU; x ^= x >> 16;
    return x;
}
inline uint hash(int2 v) { return hash(uint(v.x) + hash(uint(v.y))); }
inline float toUnit(uint x) { return float(x >> 8) * 0x1p-24f; }

Cellular cellular(float2 p) {
    Cellular out;
    const int2 base = int2(floor(p));
    for (int y = -1; y <= 1; ++y)
        for (int x = -1; x <= 1; ++x) {
            const int2 cell = base + int2(x, y);
            const uint h = hash(cell);
            const float2 point = float2(cell) + float2(toUnit(h), toUnit(hash(h)));
            out.add(distance_squared(point, p), h);
        }
    return out;
}

} // namespace noise
#endif

struct VertexOut { float4 position [[position]]; float2 uv; };

fragment half4 noise_preview(VertexOut in [[stage_in]], constant float &time [[buffer(0)]], constant int &mode [[buffer(1)]]) {
    const float2 p = in.uv * 8.0;
    switch (mode) {
    case 0: return half4(half3(noise::simplex(p) * 0.5 + 0.5), 1);
    case 1: return half4(half3(noise::fbm(float3(p, time)) * 0.5 + 0.5), 1);
    case 2: return half4(half3(noise::fbm<3>(p, 2.3) * 0.5 + 0.5), 1);
    default: break;
    }
    const auto c = noise::cellular(p);
    return half4(half3(float3(c.nearest, c.edge(), noise::toUnit(c.id))), 1.0h);
}
