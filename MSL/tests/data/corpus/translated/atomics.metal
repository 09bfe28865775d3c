// language: metal2.2
#include <metal_stdlib>
#include <simd/simd.h>

using metal::uint;

struct type_2 {
    metal::atomic_int inner[2];
};
struct Struct {
    metal::atomic_uint atomic_scalar;
    type_2 atomic_arr;
};

kernel void cs_main(
  metal::uint3 id [[thread_position_in_threadgroup]]
, device metal::atomic_uint& storage_atomic_scalar [[buffer(0)]]
, device type_2& storage_atomic_arr [[buffer(1)]]
, device Struct& storage_struct [[buffer(2)]]
, threadgroup metal::atomic_uint& workgroup_atomic_scalar [[threadgroup(0)]]
) {
    threadgroup type_2 workgroup_atomic_arr;
    threadgroup Struct workgroup_struct;
    if (metal::all(id == metal::uint3(0u))) {
        metal::atomic_store_explicit(&workgroup_atomic_scalar, 0, metal::memory_order_relaxed);
        for (int _idx = 0; _idx < 2; _idx++) {
            metal::atomic_store_explicit(&workgroup_atomic_arr.inner[_idx], 0, metal::memory_order_relaxed);
        }
        metal::atomic_store_explicit(&workgroup_struct.atomic_scalar, 0, metal::memory_order_relaxed);
    }
    metal::threadgroup_barrier(metal::mem_flags::mem_threadgroup);
    metal::atomic_store_explicit(&storage_atomic_scalar, 1u, metal::memory_order_relaxed);
    metal::atomic_store_explicit(&storage_atomic_arr.inner[1], 1, metal::memory_order_relaxed);
    metal::atomic_store_explicit(&storage_struct.atomic_scalar, 1u, metal::memory_order_relaxed);
    metal::atomic_store_explicit(&storage_struct.atomic_arr.inner[1], 1, metal::memory_order_relaxed);
    uint l0_ = metal::atomic_load_explicit(&storage_atomic_scalar, metal::memory_order_relaxed);
    int l1_ = metal::atomic_load_explicit(&storage_struct.atomic_arr.inner[id.x & 1u], metal::memory_order_relaxed);
    metal::threadgroup_barrier(metal::mem_flags::mem_threadgroup);
    uint _e51 = metal::atomic_fetch_add_explicit(&storage_atomic_scalar, l0_, metal::memory_order_relaxed);
    int _e55 = metal::atomic_fetch_sub_explicit(&storage_atomic_arr.inner[1], l1_, metal::memory_order_relaxed);
    uint _e59 = metal::atomic_fetch_max_explicit(&workgroup_atomic_scalar, _e51, metal::memory_order_relaxed);
    int _e63 = metal::atomic_fetch_min_explicit(&workgroup_atomic_arr.inner[1], _e55, metal::memory_order_relaxed);
    uint _e67 = metal::atomic_fetch_and_explicit(&workgroup_struct.atomic_scalar, _e59, metal::memory_order_relaxed);
    int _e71 = metal::atomic_exchange_explicit(&workgroup_struct.atomic_arr.inner[1], _e63, metal::memory_order_relaxed);
    uint old = _e67;
    bool exchanged = metal::atomic_compare_exchange_weak_explicit(&storage_struct.atomic_scalar, &old, 2u + uint(_e71), metal::memory_order_relaxed, metal::memory_order_relaxed);
    metal::threadgroup_barrier(metal::mem_flags::mem_device);
    if (exchanged) {
        metal::atomic_fetch_xor_explicit(&storage_atomic_scalar, old, metal::memory_order_relaxed);
    }
    return;
}
