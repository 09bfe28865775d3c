#include <metal_stdlib>
#include <simd/simd.h>
using namespace metal;
// @param twist 1.5 -4 4 Twist of the tunnel
// @param speed 1 0 5 Speed
// @still 3.5
#define STEPS 64
#define SQ(x) ((x)*(x))
#define PI M_PI_F
typedef float2x2 Turn;
using Colour = float3;
static inline Turn rot(float a) { float c = cos(a), s = sin(a); return Turn(c, -s, s, c); }
constant float3 kRamp[4] = { float3(0.1,0.0,0.2), float3(0.8,0.2,0.1), float3(1.0,0.8,0.3), float3(1) };
constant float kEps = 1e-4;
enum Mode { Flat, Wavy = 3 };
enum class Tone : uint { warm = 1, cold };
struct Ray { float3 o; float3 d; float3 at(float t) const { return o + t * d; } };
struct Hit { float d = 1e9; int id; };
float map(float3 p, constant Params& prm);
float map(float3 p, constant Params& prm) {
    p.xy *= rot(p.z * 0.1 * prm.twist);
    float r = 1.6 - length(p.xy);
    r += 0.15 * sin(p.z * 2.) * cos(atan2(p.y, p.x) * 6.);
    return r * .7;
}
float3 palette(float x) {
    x = fract(x) * 3.0;
    int i = int(floor(x));
    return mix(kRamp[i], kRamp[min(i + 1, 3)], smoothstep(0.0, 1.0, x - float(i)));
}
float mod(float x, float y) { return x - y * floor(x / y); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 q = (2.0 * uv - 1) * float2(u.resolution.x / u.resolution.y, 1);
    Ray r = { float3(0, 0, u.time * p.speed), normalize(float3(q, 1.5)) };
    float t = 0.;
    int i;
    for (i = 0; i < STEPS; i++) {
        float3 pos = r.at(t);
        float d = map(pos, p);
        if (abs(d) < kEps) break;
        else if (t > 40.) { t = 40.; break; }
        t += d;
    }
    float3 pos = r.at(t);
    Mode m = pos.z > 3 ? Wavy : Flat;
    Colour c = palette(mod(pos.z, 7.0) * .14 + t * 0.02);
    c *= exp(-SQ(t * .08));
    switch (m) { case Flat: c.r *= 1.1; break; case Wavy: c.gb *= 0.95; default: c += 0.01; }
    c = pow(c, float3(0.4545));
    Tone tone = Tone::warm;
    if (tone == Tone::cold) c = c.bgr;
    return float4(c, 1);
}
