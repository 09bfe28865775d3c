#include <metal_stdlib>
using namespace metal;

typedef float2 complex_t;
static inline complex_t cmul(complex_t a, complex_t b) { return complex_t(a.x * b.x - a.y * b.y, a.x * b.y + a.y * b.x); }
template <bool Inverse> static complex_t twiddle(uint k, uint n) {
    const float angle = (Inverse ? 2.0f : -2.0f) * M_PI_F * float(k) / float(n);
    return complex_t(cos(angle), sin(angle));
}
template <bool Inverse, uint N>
static void butterfly(threadgroup complex_t *data, uint lane) {
    for (uint span = 1; span < N; span <<= 1) {
        const uint j = lane & (span - 1), at = ((lane - j) << 1) + j;
        const complex_t a = data[at], b = cmul(data[at + span], twiddle<Inverse>(j, span * 2));
        threadgroup_barrier(mem_flags::mem_threadgroup);
        data[at] = a + b;
        data[at + span] = a - b;
        threadgroup_barrier(mem_flags::mem_threadgroup);
    }
}
kernel void fft256(device complex_t *io [[buffer(0)]], constant bool &inverse [[buffer(1)]], uint lane [[thread_index_in_threadgroup]], uint group [[threadgroup_position_in_grid]]) {
    constexpr uint N = 256;
    threadgroup complex_t data[N];
    for (uint i = lane; i < N; i += N / 2) data[reverse_bits(i) >> 24] = io[group * N + i];
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (inverse) butterfly<true, N>(data, lane); else butterfly<false, N>(data, lane);
    for (uint i = lane; i < N; i += N / 2) io[group * N + i] = data[i] * (inverse ? 1.0f / N : 1.0f);
}

constant char edgeTable[8][4] = { {-1,-1,-1,-1}, {0,3,-1,-1}, {0,1,-1,-1}, {1,3,-1,-1}, {1,2,-1,-1}, {0,1,2,3}, {0,2,-1,-1}, {2,3,-1,-1} };
constant uchar3 palette8[] = { uchar3(0), uchar3(255, 0, 0), uchar3(0, 255, 0), uchar3(0, 0, 255) };
constant ushort glyphs[2] = { 0b111101101101111, 0x2C97 };
constant float2 poisson[] = { {-0.94201624, -0.39906216}, {0.94558609, -0.76890725}, {-0.094184101, -0.92938870}, {0.34495938, 0.29387760} };

kernel void marching_squares(texture2d<float> field [[texture(0)]], device packed_float2 *lines [[buffer(0)]],
                             device atomic_uint &count [[buffer(1)]], constant uint &capacity [[buffer(2)]], uint2 cell [[thread_position_in_grid]]) {
    constexpr sampler s(coord::pixel, filter::nearest);
    uchar mask = 0;
    float corner[4];
    for (int k = 0; k < 4; ++k) {
        const uint2 at = cell + uint2((k == 1 || k == 2) ? 1 : 0, k >> 1);
        corner[k] = field.sample(s, float2(at) + 0.5f, level(0)).x;
        if (corner[k] > 0.5f) mask |= 1 << k;
    }
    if (mask > 7) mask = 15 - mask;
    for (int e = 0; e < 4 && edgeTable[mask][e] >= 0; e += 2) {
        const uint slot = atomic_fetch_add_explicit(&count, 1u, memory_order_relaxed);
        if (slot >= capacity) return;
        for (int side = 0; side < 2; ++side) {
            const int a = edgeTable[mask][e + side], b = (a + 1) & 3;
            const float t = (0.5f - corner[a]) / (corner[b] - corner[a]);
            lines[slot * 2 + side] = packed_float2(float2(cell) + mix(float2(a & 1, a >> 1), float2(b & 1, b >> 1), t));
        }
    }
}

fragment float4 glyph(float4 p [[position]], constant int &code [[buffer(0)]]) {
    const int2 g = int2(p.xy) % int2(3, 5);
    const bool on = (glyphs[code] >> (14 - (g.y * 3 + g.x))) & 1;
    float shade = 0;
    for (float2 d : poisson) shade += length(d);
    return float4(float3(palette8[code & 3]) / 255.0f * (on ? 1.0f : 0.25f), shade / (sizeof(poisson) / sizeof(poisson[0])));
}
