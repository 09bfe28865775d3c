// Brain floats where shaders of networks have them: weights in buffers, sums in float, and between the stages.
#include <metal_stdlib>
using namespace metal;

template <typename T>
struct Block {
    packed_vec<T, 4> weights;
    T scale;
    T bias;
};

struct Varying {
    float4 position [[position]];
    bfloat2 uv;
    bfloat shade [[flat]];
};

vertex Varying draw(uint id [[vertex_id]], constant bfloat4* corners [[buffer(0)]]) {
    Varying out;
    out.position = float4(corners[id]);
    out.uv = bfloat2(corners[id].xy) * 0.5bf + 0.5bf;
    out.shade = select(1.0bf, 0.25bf, id > 1);
    return out;
}

fragment bfloat4 paint(Varying in [[stage_in]], texture2d<float> image [[texture(0)]],
                       sampler smooth [[sampler(0)]]) {
    const bfloat4 colour = bfloat4(image.sample(smooth, float2(in.uv)));
    return saturate(colour * in.shade + bfloat4(dfdx(in.uv), fwidth(in.uv)));
}

template <typename T, typename Sum = float>
kernel void apply(device const Block<T>* blocks [[buffer(0)]], device const T* input [[buffer(1)]],
                  device T* output [[buffer(2)]], constant uint& count [[buffer(3)]],
                  threadgroup T* shared [[threadgroup(0)]], uint i [[thread_position_in_grid]],
                  uint lane [[thread_index_in_simdgroup]]) {
    Sum sum = 0;
    for (uint k = 0; k < count; ++k) {
        const device Block<T>& block = blocks[i * count + k];
        const vec<T, 4> x = vec<T, 4>(input[4 * k], input[4 * k + 1], input[4 * k + 2], input[4 * k + 3]);
        sum += Sum(dot(vec<T, 4>(block.weights), x)) * block.scale + block.bias;
    }
    const T mean = T(simd_sum(sum) / 32);
    shared[lane] = exp(T(sum) - mean) / (1 + simd_max(mean));
    threadgroup_barrier(mem_flags::mem_threadgroup);
    output[i] = metal::precise::tanh(shared[lane ^ 1]) + simd_shuffle_xor(mean, 1);
}
template kernel void apply<bfloat>(device const Block<bfloat>*, device const bfloat*, device bfloat*, constant uint&,
                                   threadgroup bfloat*, uint, uint);
