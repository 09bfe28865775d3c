#pragma clang diagnostic ignored "-Wunused-variable"
#include <metal_stdlib>
#include <simd/simd.h>
using namespace metal;

struct Foo { float a; float b[2]; };
struct Bar { Foo foos[2]; uint n; };
struct _RESERVED_IDENTIFIER_FIXUP_main { float v; };

static inline __attribute__((always_inline))
Bar make(thread const float& x)
{
    Bar b = Bar{ { Foo{ x, { 1.0, 2.0 } }, Foo{ 2.0, { 3.0, x } } }, 2u };
    return b;
}

[[clang::optnone]] float3x3 mulPrecise(float3x3 l, float3x3 r)
{
    float3x3 res;
    for (uint i = 0; i < 3; i++)
    {
        float3 tmp(0.0f);
        for (uint j = 0; j < 3; j++)
        {
            tmp = fma(float3(r[i][j]), l[j], tmp);
        }
        res[i] = tmp;
    }
    return res;
}

static inline __attribute__((always_inline))
uint3 wideMul(thread const uint& l, thread const uint& r, thread uint& high)
{
    ulong t = ulong(l) * ulong(r);
    high = uint(t >> 32ul);
    return uint3(uint(t), mulhi(l, r), l * r);
}

fragment float4 main0(float4 gl_FragCoord [[position]], constant int4& i [[buffer(0)]], constant short2& sh [[buffer(1)]], constant _RESERVED_IDENTIFIER_FIXUP_main& fx [[buffer(2)]])
{
    Bar bar = make(gl_FragCoord.x);
    bar.foos[i.x & 1].b[i.y & 1] = 4.0;
    Foo f = bar.foos[1];
    uint hi;
    uint3 w = wideMul(uint(i.x), uint(i.y), hi);
    short s = sh.x;
    switch (s) { case short(1): s += 2; break; case 7: s = 0; break; default: break; }
    uchar uc = uchar(i.z);
    switch (uc) { case 3: return float4(0.0); default: break; }
    for (short k = 0; k < sh.y; k++) { f.a += float(k); }
    ushort2 us = as_type<ushort2>(i.w);
    char c = char(i.x);
    bool4 bv = bool4(i);
    float3x3 m = mulPrecise(float3x3(1.0), float3x3(float3(1.0), float3(2.0), float3(fx.v)));
    int4 e; float4 mant = frexp(gl_FragCoord, e);
    float4 l = ldexp(mant, e);
    f.b[0] += float(isinf(f.a) ? INFINITY : NAN) * 0.0;
    float2 big = float2(as_type<float>(0x7fc00000u /* nan */), as_type<float>(0xff800000u /* -inf */));
    uint4 shifted = uint4(i) << uint4(1u, 2u, 3u, 4u);
    return float4(w.x, hi, s, uc) + float4(us.x, c, bv.y, f.b[1]) + m[1].xyzz + l + (any(bv) ? big.xyxy : float4(0.0)) + float4(shifted) + float4(fx.v, float3(bar.n));
}
