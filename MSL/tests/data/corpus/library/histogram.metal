#include <metal_stdlib>
#include <metal_atomic>

using namespace metal;

#define BINS 256
#define GROUP 128

typedef struct {
    uint width;
    uint height;
    bool linear;
} HistogramInfo;

kernel void histogram(texture2d<float, access::read> image [[texture(0)]],
                      device atomic_uint *bins [[buffer(0)]],
                      constant HistogramInfo *info [[buffer(1)]],
                      uint2 position [[thread_position_in_grid]],
                      uint local [[thread_index_in_threadgroup]],
                      uint2 groupSize [[threads_per_threadgroup]])
{
    threadgroup atomic_uint shared_bins[BINS];
    for (uint i = local; i < BINS; i += groupSize.x * groupSize.y)
        atomic_store_explicit(&shared_bins[i], 0, memory_order_relaxed);
    threadgroup_barrier(mem_flags::mem_threadgroup);

    if (position.x < info->width && position.y < info->height) {
        float4 c = image.read(position);
        float l = dot(c.rgb, float3(0.299, 0.587, 0.114));
        if (!info->linear) l = pow(l, 1.0 / 2.2);
        const uint bin = uint(saturate(l) * (BINS - 1) + 0.5);
        atomic_fetch_add_explicit(&shared_bins[bin], 1, memory_order_relaxed);
    }
    threadgroup_barrier(mem_flags::mem_threadgroup);

    for (uint i = local; i < BINS; i += groupSize.x * groupSize.y) {
        uint count = atomic_load_explicit(&shared_bins[i], memory_order_relaxed);
        if (count > 0) atomic_fetch_add_explicit(bins + i, count, memory_order_relaxed);
    }
}

template <typename T>
static T group_reduce(T value, threadgroup T *scratch, uint local, uint size)
{
    scratch[local] = value;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    for (uint offset = size >> 1; offset > 0; offset >>= 1) {
        if (local < offset) scratch[local] += scratch[local + offset];
        threadgroup_barrier(mem_flags::mem_threadgroup);
    }
    return scratch[0];
}

kernel void reduce_sum(const device float *input [[buffer(0)]],
                       device float *output [[buffer(1)]],
                       constant uint &count [[buffer(2)]],
                       uint id [[thread_position_in_grid]],
                       uint local [[thread_index_in_threadgroup]],
                       uint group [[threadgroup_position_in_grid]],
                       uint size [[threads_per_threadgroup]])
{
    threadgroup float scratch[GROUP];
    const float value = id < count ? input[id] : 0.0f;
    const float total = group_reduce(value, scratch, local, min(size, uint(GROUP)));
    if (local == 0) output[group] = total;
}

kernel void prefix_sum(device uint *data [[buffer(0)]],
                       threadgroup uint *temp [[threadgroup(0)]],
                       uint i [[thread_position_in_threadgroup]],
                       uint n [[threads_per_threadgroup]])
{
    temp[i] = data[i];
    threadgroup_barrier(mem_flags::mem_threadgroup);
    for (uint d = 1; d < n; d *= 2) {
        uint t = i >= d ? temp[i - d] : 0;
        threadgroup_barrier(mem_flags::mem_threadgroup);
        temp[i] += t;
        threadgroup_barrier(mem_flags::mem_threadgroup);
    }
    data[i] = temp[i];
}
