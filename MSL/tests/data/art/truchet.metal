// Truchet + bit tricks + ternary chains + while loops
// @still 1
#ifndef CELLS
#define CELLS 12.0
#endif
#if defined(CELLS) && 1
#  define LINE(d, w) smoothstep((w) + fw, (w) - fw, abs(d))
#else
#  error no
#endif
uint hash(uint2 v) { uint h = v.x * 0x9E3779B9u ^ (v.y + 0x7F4A7C15u); h ^= h << 13; h ^= h >> 17; h ^= h << 5; return h; }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 q = uv * float2(u.resolution.x / u.resolution.y, 1.0) * CELLS;
    q += float2(u.time * 0.3, 0);
    int2 cell = int2(floor(q));
    float2 f = fract(q);
    const bool flip = (hash(uint2(cell)) & 1u) != 0u;
    if (flip) f.x = 1.0 - f.x;
    float d1 = length(f) - 0.5, d2 = length(f - 1.0) - 0.5;
    float d = abs(d1) < abs(d2) ? d1 : d2;
    float fw = fwidth(q.y) * 1.5;
    float l = LINE(d, 0.12);
    int steps = 0; float e = l;
    while (true) { if (++steps > 3) break; e = e * e * (3.0 - 2.0 * e); if (e > 0.999) continue; }
    float3 a = float3(.07, .09, .13), b = steps == 4 ? float3(.95, .45, .2) : steps < 4 ? float3(0) : float3(1);
    float3 c = mix(a, b, e);
    c.rg += (bool2(f > 0.5)).x ? float2(.02) : float2(0);
    ushort2 us = ushort2(uv * 65535.0);
    c.b += float(us.x ^ us.y) / 65535.0 * 0.2;
    float4 outc = {c, 1};
    return outc;
}
