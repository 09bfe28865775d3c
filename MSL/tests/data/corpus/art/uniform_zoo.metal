// Many small pieces as people paste them one after the other
#include <metal_stdlib>
#include <simd/simd.h>
using namespace metal;

struct ColorInOut { float4 position [[position]]; float2 texCoord; };

static float3 hsv2rgb(float3 c) {
    float4 K = float4(1.0, 2.0 / 3.0, 1.0 / 3.0, 3.0);
    float3 p = abs(fract(c.xxx + K.xyz) * 6.0 - K.www);
    return c.z * mix(K.xxx, clamp(p - K.xxx, 0.0, 1.0), c.y);
}
inline float3 rgb2hsv(float3 c) {
    float4 K = float4(0.0, -1.0 / 3.0, 2.0 / 3.0, -1.0);
    float4 p = mix(float4(c.bg, K.wz), float4(c.gb, K.xy), step(c.b, c.g));
    float4 q = mix(float4(p.xyw, c.r), float4(c.r, p.yzx), step(p.x, c.r));
    float d = q.x - min(q.w, q.y);
    float e = 1.0e-10;
    return float3(abs(q.z + (q.w - q.y) / (6.0 * d + e)), d / (q.x + e), q.x);
}

float2 random2(float2 st) {
    st = float2(dot(st, float2(127.1, 311.7)), dot(st, float2(269.5, 183.3)));
    return -1.0 + 2.0 * fract(sin(st) * 43758.5453123);
}

float gradientNoise(float2 st) {
    float2 i = floor(st);
    float2 f = fract(st);
    float2 u = f * f * (3.0 - 2.0 * f);
    return mix(mix(dot(random2(i + float2(0.0, 0.0)), f - float2(0.0, 0.0)),
                   dot(random2(i + float2(1.0, 0.0)), f - float2(1.0, 0.0)), u.x),
               mix(dot(random2(i + float2(0.0, 1.0)), f - float2(0.0, 1.0)),
                   dot(random2(i + float2(1.0, 1.0)), f - float2(1.0, 1.0)), u.x), u.y);
}

uint32_t xorshift(thread uint32_t &state) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}
float nextFloat(thread uint32_t *state) { return float(xorshift(*state)) / float(UINT_MAX); }

union Bits { float f; uint u; };
float fastInverse(float x) {
    Bits b;
    b.f = x;
    b.u = 0x5f3759df - (b.u >> 1);
    return b.f * (1.5 - 0.5 * x * b.f * b.f);
}

struct Complex {
    float re, im;
    Complex operator+(Complex o) const { return { re + o.re, im + o.im }; }
    Complex operator*(Complex o) const { return Complex{ re * o.re - im * o.im, re * o.im + im * o.re }; }
    float norm() const { return re * re + im * im; }
};

class Turtle {
public:
    Turtle(float2 at) : position(at), heading(0) {}
    void turn(float degrees) { heading += degrees * M_PI_F / 180; }
    void forward(float d) { position += d * float2(cos(heading), sin(heading)); }
    float2 where() const { return position; }
private:
    float2 position;
    float heading;
};

template <typename T> T remap(T x, T a, T b, T c = T(0), T d = T(1)) { return c + (x - a) * (d - c) / (b - a); }
template <int N> float polygon(float2 p, float r) {
    float a = atan2(p.x, p.y) + M_PI_F;
    float k = 2 * M_PI_F / N;
    return cos(floor(.5 + a / k) * k - a) * length(p) - r;
}

static float glow(float2 st, float2 at, float r) { return r / (0.01 + distance(st, at)); }

fragment float4 zoo(ColorInOut in [[stage_in]],
                    constant float2 *resolution [[buffer(0)]],
                    constant float &time [[buffer(1)]],
                    constant uint &frame [[buffer(2)]],
                    texture2d<float, access::sample> feedback [[texture(0)]]) {
    float2 uv = in.position.xy / *resolution;
    float2 st = (uv - 0.5) * float2(resolution->x / resolution->y, 1);
    uint32_t seed = uint(in.position.x) * 1973u + uint(in.position.y) * 9277u + frame * 26699u | 1u;
    float3 color = hsv2rgb(float3(gradientNoise(st * 4 + time), 0.6, 0.9));
    color += nextFloat(&seed) * 0.05 - 0.025;
    Complex z = { st.x * 2, st.y * 2 }, c{ -0.8, 0.156 };
    int i = 0;
    do { z = z * z + c; } while (++i < 50 && z.norm() < 4);
    color = mix(color, rgb2hsv(color).zyx, remap(float(i), 0.0, 50.0));
    Turtle turtle(st);
    for (int k = 0; k < 5; ++k) { turtle.forward(0.1); turtle.turn(72); }
    color *= 1 - smoothstep(0.0, 0.01, abs(polygon<5>(turtle.where(), 0.2)));
    color.rg += fastInverse(1 + dot(st, st)) * 0.1;
    color += glow(st, float2(0.2, 0.1), 0.002) + glow(st, -0.2, 0.001);
    constexpr sampler nearest(coord::pixel, address::clamp_to_edge, filter::nearest);
    color = mix(color, feedback.sample(nearest, in.position.xy).rgb, 0.3);
    for (int i = 0.; i < 3.; i++) color[i] = clamp(color[i], 0, 1);
    return float4(pow(color, float3(1.0 / 2.2)), 1.0);
}
