#include <metal_stdlib>
using namespace metal;

// The old trick: a few sines on top of one another, through a cosine palette; with macros, half precision and while.
// @param turns 2 1 6 Colours from end to end

#define TAU 6.2831853
#define WAVE(x) (0.5 + 0.5 * sin(x))
#ifndef LAYERS
#define LAYERS 4
#endif

constant half3 tint = half3(0.2h, 0.45h, 0.8h);

half3 palette(float x) {
    return 0.5h + 0.5h * cos(half3(half(TAU) * (half(x) + tint)));
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 q = uv * 2.0 - 1.0;
    q.x *= u.resolution.x / u.resolution.y;
    float sum = 0.0;
    int layer = 0;
    while (layer < LAYERS) {
        float angle = float(layer) * TAU / float(LAYERS);
        float2 along = float2(cos(angle), sin(angle));
        sum += WAVE(dot(q, along) * 6.0 + u.time * (1.0 + 0.2 * layer));
        ++layer;
    }
    return float4(float3(palette(sum / LAYERS * p.turns)), 1.0);
}
