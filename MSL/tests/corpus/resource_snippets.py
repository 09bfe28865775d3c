# The snippets about textures, atomics, threads and what only one kind of function has; see snippets.py.

from snippets import ALL, FRAGMENT, KERNEL, VERTEX, Snippet as S

LEVEL = ", level(0.0)"

RESOURCE_SNIPPETS = [
    # ------------------------------------------------------------------------------------------ sampled textures
    S("sample_2d", """
    acc += _101.sample(_101Smplr, uv) + _101.sample(_101Smplr, uv, bias(0.5)) + _101.sample(_101Smplr, uv, int2(1, -1));
    acc.xy += _101.sample(_101Smplr, (uv * 2.0), bias(-1.0), int2(0, 1)).xy;
""", params=["texture2d<float> _101 [[texture($T)]]", "sampler _101Smplr [[sampler($S)]]"], stages=FRAGMENT),
    S("sample_2d_level", """
    acc += _102.sample(_102Smplr, uv, level(1.0)) + _102.sample(_102Smplr, uv, level(0.0), int2(2, 3));
    acc += _102.sample(_102Smplr, uv, gradient2d(uv, uv.yx)) + _102.sample(_102Smplr, uv, gradient2d(uv, uv), int2(1));
""", params=["texture2d<float> _102 [[texture($T)]]", "sampler _102Smplr [[sampler($S)]]"]),
    S("sample_kinds", """
    acc += _103a.sample(_103Smplr, uv.x) + _103b.sample(_103Smplr, uv.x, uint(rint(uv.y)));
    acc += _103c.sample(_103Smplr, uv, uint(num), level(0.0)) + _103d.sample(_103Smplr, float3(uv, 0.5), level(0.0));
    acc += _103e.sample(_103Smplr, float3(uv, 1.0), level(0.0)) + _103f.sample(_103Smplr, float3(uv, 1.0), uint(rint(uv.x)), level(1.0));
    acc += _103d.sample(_103Smplr, float3(uv, 0.5), gradient3d(float3(0.1), float3(0.2)));
    acc += _103e.sample(_103Smplr, float3(uv, 0.5), gradientcube(float3(0.1), float3(0.2)));
""", params=["texture1d<float> _103a [[texture($T)]]", "texture1d_array<float> _103b [[texture($T)]]",
             "texture2d_array<float> _103c [[texture($T)]]", "texture3d<float> _103d [[texture($T)]]",
             "texturecube<float> _103e [[texture($T)]]", "texturecube_array<float> _103f [[texture($T)]]",
             "sampler _103Smplr [[sampler($S)]]"]),
    S("sample_whole_numbers", """
    acc += float4(_104.sample(_104Smplr, uv, level(0.0))) + float4(_104b.sample(_104Smplr, uv, level(0.0)));
""", params=["texture2d<int> _104 [[texture($T)]]", "texture2d<uint> _104b [[texture($T)]]", "sampler _104Smplr [[sampler($S)]]"]),
    S("sample_half", """
    half4 _105v = _105.sample(_105Smplr, uv, level(0.0));
    acc += float4(_105v * half(0.5));
""", params=["texture2d<half> _105 [[texture($T)]]", "sampler _105Smplr [[sampler($S)]]"]),
    S("depth_compare", """
    acc.x += _106.sample_compare(_106Smplr, uv, 0.5, level(0.0)) + _106b.sample_compare(_106Smplr, uv, uint(num), 0.25, level(0.0));
    acc.y += _106c.sample_compare(_106Smplr, float3(uv, 1.0), 0.75, level(0.0));
    acc.z += _106.sample(_106bSmplr, uv, level(0.0)) + _106.sample_compare(_106Smplr, uv, uv.x, level(0.0), int2(1, 2));
    acc += _106.gather_compare(_106Smplr, uv, 0.5) + _106.gather(_106bSmplr, uv);
""", params=["depth2d<float> _106 [[texture($T)]]", "depth2d_array<float> _106b [[texture($T)]]",
             "depthcube<float> _106c [[texture($T)]]", "sampler _106Smplr [[sampler($S)]]", "sampler _106bSmplr [[sampler($S)]]"]),
    S("depth_compare_implicit", """
    acc.x += _107.sample_compare(_107Smplr, uv, uv.x) + _107b.sample_compare(_107Smplr, float3(uv, 1.0), uint(rint(uv.y)), 0.5);
    float3 _107c = float3(uv, 0.4);
    acc.y += _107.sample_compare(_107Smplr, _107c.xy, _107c.z) + _107.sample_compare(_107Smplr, (_107c.xy / float2(2.0)), _107c.z);
""", params=["depth2d<float> _107 [[texture($T)]]", "depthcube_array<float> _107b [[texture($T)]]",
             "sampler _107Smplr [[sampler($S)]]"], stages=FRAGMENT),
    S("gather", """
    acc += _108.gather(_108Smplr, uv) + _108.gather(_108Smplr, uv, int2(1)) + _108.gather(_108Smplr, uv, int2(0), component::y);
    acc += _108b.gather(_108Smplr, uv, uint(num), int2(0), component::w) + _108c.gather(_108Smplr, float3(uv, 1.0), component::z);
    acc += float4(_108d.gather(_108Smplr, uv, int2(0), component::x));
""", params=["texture2d<float> _108 [[texture($T)]]", "texture2d_array<float> _108b [[texture($T)]]",
             "texturecube<float> _108c [[texture($T)]]", "texture2d<uint> _108d [[texture($T)]]", "sampler _108Smplr [[sampler($S)]]"]),
    S("texture_queries", """
    acc.xy += float2(int2(_109.get_width(), _109.get_height())) + float2(uint2(_109.get_width(1), _109.get_height(1)));
    acc.xyz += float3(int3(_109b.get_width(), _109b.get_height(), _109b.get_depth()));
    acc.w += float(_109.get_num_mip_levels()) + float(int(_109c.get_array_size())) + float(_109d.get_num_samples());
    acc.x += float(_109e.get_width(uint(num))) + float(_109f.get_width());
    acc.yz += float2(int2(_109f.get_width(), _109f.get_array_size()));
""", params=["texture2d<float> _109 [[texture($T)]]", "texture3d<float> _109b [[texture($T)]]",
             "texture2d_array<float> _109c [[texture($T)]]", "texture2d_ms<float> _109d [[texture($T)]]",
             "texturecube<float> _109e [[texture($T)]]", "texturecube_array<float> _109f [[texture($T)]]"]),
    S("lod_query", """
    acc.x += _110.calculate_clamped_lod(_110Smplr, uv) + _110.calculate_unclamped_lod(_110Smplr, uv);
""", params=["texture2d<float> _110 [[texture($T)]]", "sampler _110Smplr [[sampler($S)]]"], stages=FRAGMENT),
    S("texture_arrays", """
    for (int _111i = 0; _111i < 4; _111i++)
    {
        acc += _111[_111i].sample(_111Smplr[_111i], uv, level(0.0));
    }
    acc += _111[num & 3].sample(_111Smplr[2], uv, level(0.0)) + _111b[1].read(uint2(0u));
""", params=["array<texture2d<float>, 4> _111 [[texture($T4)]]", "array<texture2d<float>, 2> _111b [[texture($T2)]]",
             "array<sampler, 4> _111Smplr [[sampler($S4)]]"]),
    S("textures_through_helpers", """
    acc += sampleTwice(_112, _112Smplr, uv);
    acc.x += lookUpDepth(_112b, _112Smplr, uv, 0.5);
""", """
static inline __attribute__((always_inline))
float4 sampleTwice(texture2d<float> image, sampler imageSmplr, thread const float2& at)
{
    return image.sample(imageSmplr, at, level(0.0)) + image.sample(imageSmplr, at.yx, level(0.0));
}

static inline __attribute__((always_inline))
float lookUpDepth(depth2d<float> image, sampler imageSmplr, float2 at, float reference)
{
    return image.sample_compare(imageSmplr, at, reference, level(0.0));
}
""", ["texture2d<float> _112 [[texture($T)]]", "depth2d<float> _112b [[texture($T)]]", "sampler _112Smplr [[sampler($S)]]"]),
    S("constexpr_samplers", """
    constexpr sampler _113Smplr(filter::linear, mip_filter::linear, address::repeat);
    constexpr sampler _113b(coord::pixel, filter::nearest, address::clamp_to_edge);
    constexpr sampler _113c(filter::linear, compare_func::less_equal, max_anisotropy(8), lod_clamp(0.0f, 4.0f), s_address::mirrored_repeat, t_address::clamp_to_zero, r_address::clamp_to_edge);
    acc += _113.sample(_113Smplr, uv, level(0.0)) + _113.sample(_113b, uv, level(0.0)) + _113.sample(_113c, uv, level(0.0));
    acc += _113.sample(_113d, uv, level(0.0));
""", """
constexpr sampler _113d(mag_filter::linear, min_filter::nearest, border_color::opaque_white, address::clamp_to_border);
""", params=["texture2d<float> _113 [[texture($T)]]"]),
    S("texture_swizzle_helper", """
    acc += swizzled(_114.sample(_114Smplr, uv, level(0.0)), uint(num));
""", """
enum class Channel : uint
{
    none = 0,
    zero,
    one,
    red,
    green,
    blue,
    alpha
};

template<typename T>
inline T channelOf(vec<T, 4> x, Channel which)
{
    switch (which)
    {
        case Channel::none:
            return x.x;
        case Channel::zero:
            return T(0);
        case Channel::one:
            return T(1);
        case Channel::red:
            return x.r;
        case Channel::green:
            return x.g;
        case Channel::blue:
            return x.b;
        case Channel::alpha:
            return x.a;
    }
    return T(0);
}

template<typename T>
inline vec<T, 4> swizzled(vec<T, 4> x, uint s)
{
    if (!s)
    {
        return x;
    }
    return vec<T, 4>(channelOf(x, Channel((s >> 0) & 0xFF)), channelOf(x, Channel((s >> 8) & 0xFF)), channelOf(x, Channel((s >> 16) & 0xFF)), channelOf(x, Channel((s >> 24) & 0xFF)));
}
""", ["texture2d<float> _114 [[texture($T)]]", "sampler _114Smplr [[sampler($S)]]"]),

    # ------------------------------------------------------------------------------------------ read and written
    S("read_kinds", """
    acc += _120a.read(uint(num)) + _120b.read(uint2(uv), 0) + _120c.read(uint2(int2(num)), uint(1), 0);
    acc += _120d.read(uint3(uint2(uv), 2u), 1) + _120e.read(uint2(0u), 3u) + _120f.read(uint2(1u), uint(num) % 6u);
    acc.x += _120g.read(uint2(int2(num)), 0) + _120h.read(uint2(2u), 1u);
""", params=["texture1d<float> _120a [[texture($T)]]", "texture2d<float> _120b [[texture($T)]]",
             "texture2d_array<float> _120c [[texture($T)]]", "texture3d<float> _120d [[texture($T)]]",
             "texture2d_ms<float> _120e [[texture($T)]]", "texturecube<float, access::read> _120f [[texture($T)]]",
             "depth2d<float> _120g [[texture($T)]]", "depth2d_ms<float> _120h [[texture($T)]]"]),
    S("buffer_texture", """
    acc += _121.read(texelCoord(num)) + float4(_121b.read(texelCoord(7)));
    acc.x += float(_121.get_width());
""", """
// A buffer of texels as rows of a picture
static inline __attribute__((always_inline))
uint2 texelCoord(uint tc)
{
    return uint2(tc % 4096, tc / 4096);
}
""", ["texture2d<float> _121 [[texture($T)]]", "texture2d<uint> _121b [[texture($T)]]"]),
    S("texture_buffer_kind", """
    acc += _122.read(idx) + _122.read(uint(num));
    acc.x += float(_122.get_width());
""", params=["texture_buffer<float> _122 [[texture($T)]]"]),
    S("write_2d", """
    _123.write(float4(uv, 0.0, 1.0), uint2(int2(num)));
    _123b.write(uint4(idx), uint2(idx, 0u));
    _123c.write(int4(num), uint2(1u));
""", params=["texture2d<float, access::write> _123 [[texture($T)]]", "texture2d<uint, access::write> _123b [[texture($T)]]",
             "texture2d<int, access::write> _123c [[texture($T)]]"], stages=KERNEL),
    S("write_kinds", """
    _124a.write(acc, uint2(uv), uint(num));
    _124b.write(acc, uint3(1u, 2u, 3u));
    _124c.write(acc, uint(num));
    _124d.write(acc, uint2(4u), 2u);
""", params=["texture2d_array<float, access::write> _124a [[texture($T)]]", "texture3d<float, access::write> _124b [[texture($T)]]",
             "texture1d<float, access::write> _124c [[texture($T)]]", "texturecube<float, access::write> _124d [[texture($T)]]"],
      stages=KERNEL),
    S("read_write", """
    float4 _125v = _125.read(uint2(idx, 0u));
    _125.write(_125v + float4(1.0), uint2(idx, 1u));
    _125.fence();
    acc += _125.read(uint2(idx, 1u));
    _125b.write(_125b.read(uint2(3u)).x + 1u, uint2(3u));
""", params=["texture2d<float, access::read_write> _125 [[texture($T)]]", "texture2d<uint, access::read_write> _125b [[texture($T)]]"],
      stages=KERNEL),
    S("ordered_access", """
    float4 _127v = _127.read(uint2(idx, 0u));
    _127.write(_127v * 0.5, uint2(idx, 0u));
    _127b[idx] = _127v.x;
""", params=["texture2d<float, access::read_write> _127 [[texture($T), raster_order_group(0)]]",
             "device float* _127b [[buffer($B), raster_order_group(0)]]"], stages=FRAGMENT),
    S("half_write", """
    half4 _126v = _126.read(uint2(idx, 2u));
    _126b.write(_126v * half(2.0), uint2(idx));
""", params=["texture2d<half, access::read> _126 [[texture($T)]]", "texture2d<half, access::write> _126b [[texture($T)]]"], stages=KERNEL),

    S("image_atomics", """
    uint _128v = _128.atomic_fetch_add(uint2(int2(num)), 1u).x;
    _128v += _128.atomic_fetch_max(uint2(idx, 0u), idx).x + _128b.atomic_fetch_or(uint3(idx), 3u).x;
    int4 _128w = int4(num);
    _128v += uint(_128c.atomic_compare_exchange_weak(idx, &_128w, int4(2)));
    _128.atomic_store(uint4(_128v), uint2(1u));
    acc.x += float(_128v) + float(_128.atomic_load(uint2(1u)).x);
""", params=["texture2d<uint, access::read_write> _128 [[texture($T)]]", "texture3d<uint, access::read_write> _128b [[texture($T)]]",
             "texture_buffer<int, access::read_write> _128c [[texture($T)]]"], stages=KERNEL),
    S("chosen_texture", """
    texture2d<float> _129 = (num > 3) ? _129a : _129b;
    for (uint _129i = 0; _129i < 2; _129i++)
    {
        acc += _129.sample(_129Smplr, uv, level(float(_129i)));
    }
    acc += _129c.read(uint2(idx & 3u), uint(num) % 6u);
""", params=["texture2d<float> _129a [[texture($T)]]", "texture2d<float> _129b [[texture($T)]]", "texturecube<float> _129c [[texture($T)]]",
             "sampler _129Smplr [[sampler($S)]]"]),

    # ------------------------------------------------------------------------------------------ atomics
    S("buffer_atomics", """
    uint _130v = atomic_fetch_add_explicit((device atomic_uint*)&_130.count, 1u, memory_order_relaxed);
    _130v += atomic_fetch_or_explicit((device atomic_uint*)&_130.bits[num & 3], 7u, memory_order_relaxed);
    _130v += atomic_fetch_and_explicit((device atomic_uint*)&_130.bits[0], 3u, memory_order_relaxed);
    _130v += atomic_fetch_xor_explicit((device atomic_uint*)&_130.bits[1], idx, memory_order_relaxed);
    _130v += atomic_exchange_explicit((device atomic_uint*)&_130.bits[2], 9u, memory_order_relaxed);
    int _130w = atomic_fetch_min_explicit((device atomic_int*)&_130.low, num, memory_order_relaxed);
    _130w += atomic_fetch_max_explicit((device atomic_int*)&_130.low, -num, memory_order_relaxed);
    _130w += atomic_fetch_sub_explicit((device atomic_int*)&_130.low, 2, memory_order_relaxed);
    acc.x += float(_130v) + float(_130w);
""", """
struct Counters
{
    uint count;
    int low;
    uint bits[4];
};
""", ["device Counters& _130 [[buffer($B)]]"], KERNEL),
    S("atomic_pointer", """
    acc.x += float(atomic_fetch_add_explicit(_131, 1u, memory_order_relaxed));
    atomic_store_explicit(&_131[1], idx, memory_order_relaxed);
    acc.y += float(atomic_load_explicit(_131 + 1, memory_order_relaxed));
""", params=["device atomic_uint* _131 [[buffer($B)]]"], stages=KERNEL),
    S("atomic_compare", """
    uint _132v;
    do
    {
        _132v = 10u;
    } while (!atomic_compare_exchange_weak_explicit((device atomic_uint*)&_132.turn, &_132v, 2u, memory_order_relaxed, memory_order_relaxed) && _132v == 10u);
    acc.z += float(_132v);
    atomic_store_explicit((volatile device atomic_int*)&_132.other, num, memory_order_relaxed);
    acc.z += float(atomic_load_explicit((volatile device atomic_int*)&_132.other, memory_order_relaxed));
""", """
struct Turns
{
    uint turn;
    int other;
};
""", ["volatile device Turns& _132 [[buffer($B)]]"], KERNEL),
    S("threadgroup_atomics", """
    threadgroup atomic_uint _133;
    threadgroup uint _133b;
    if (gl_LocalInvocationIndex == 0u)
    {
        atomic_store_explicit(&_133, 0u, memory_order_relaxed);
        _133b = 0u;
    }
    threadgroup_barrier(mem_flags::mem_threadgroup);
    uint _133v = atomic_fetch_add_explicit(&_133, idx & 3u, memory_order_relaxed);
    _133v += atomic_fetch_max_explicit((threadgroup atomic_uint*)&_133b, idx, memory_order_relaxed);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    acc.w += float(atomic_load_explicit(&_133, memory_order_relaxed)) + float(_133v);
""", stages=KERNEL),

    # ------------------------------------------------------------------------------------------ threads together
    S("threadgroup_array", """
    threadgroup float4 _140[64];
    _140[gl_LocalInvocationIndex & 63u] = float4(uv, acc.xy);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    for (uint _140i = 32u; _140i > 0u; _140i = _140i >> 1u)
    {
        if (gl_LocalInvocationIndex < _140i)
        {
            _140[gl_LocalInvocationIndex] += _140[gl_LocalInvocationIndex + _140i];
        }
        threadgroup_barrier(mem_flags::mem_threadgroup);
    }
    acc += _140[0];
""", stages=KERNEL),
    S("threadgroup_through_helper", """
    threadgroup WrappedArray<float, 16> _141;
    threadgroup TileState _141b;
    fillTile(_141, gl_LocalInvocationIndex, uv.x);
    _141b.sum = 0.0;
    threadgroup_barrier(mem_flags::mem_device | mem_flags::mem_threadgroup | mem_flags::mem_texture);
    acc.x += readTile(_141, num) + _141b.sum;
""", """
struct TileState
{
    float sum;
    uint seen[4];
};

static inline __attribute__((always_inline))
void fillTile(threadgroup WrappedArray<float, 16>& tile, thread uint& at, thread const float& with)
{
    tile[at & 15u] = with;
    threadgroup_barrier(mem_flags::mem_threadgroup);
}

static inline __attribute__((always_inline))
float readTile(threadgroup WrappedArray<float, 16>& tile, thread const int& at)
{
    return tile[at];
}
""", stages=KERNEL, needs=["wrapped_array"]),
    S("barriers", """
    threadgroup_barrier(mem_flags::mem_none);
    threadgroup_barrier(mem_flags::mem_device);
    threadgroup_barrier(mem_flags::mem_texture);
    simdgroup_barrier(mem_flags::mem_threadgroup);
""", stages=KERNEL),
    S("simd_functions", """
    acc.x += simd_sum(uv.x) + simd_max(uv.y) + float(simd_min(num)) + simd_product(uv.x);
    acc.y += float(simd_and(idx)) + float(simd_or(idx)) + float(simd_xor(idx));
    acc.z += simd_broadcast(uv.x, ushort(0)) + simd_broadcast_first(uv.y) + simd_shuffle(uv.x, ushort(idx & 3u)) + simd_shuffle_xor(uv.y, ushort(1));
    acc.w += simd_shuffle_up(uv.x, ushort(1)) + simd_shuffle_down(uv.y, ushort(1)) + simd_prefix_exclusive_sum(uv.x) + simd_prefix_inclusive_sum(uv.x);
    acc.x += (simd_all(uv.x > 0.0) || simd_any(uv.y > 0.5)) ? 1.0 : 0.0;
    acc.y += simd_is_first() ? 1.0 : 0.0;
    acc.zw += float2(uint2(as_type<uint2>((simd_vote::vote_t)simd_ballot(uv.x > 0.5)))) * 0.0;
""", stages=KERNEL),
    S("simd_basic", """
    acc.x += simd_sum(uv.x) + simd_max(uv.y) + float(simd_min(num));
    acc.y += float(simd_and(idx)) + float(simd_or(idx)) + float(simd_xor(idx));
    acc.z += simd_broadcast_first(uv.y) + simd_shuffle(uv.x, ushort(idx & 3u));
    acc.w += (simd_all(uv.x > 0.0) || simd_any(uv.y > 0.5)) ? 1.0 : 0.0;
    acc.w += float(gl_SubgroupInvocationID) + float(gl_SubgroupSize);
""", params=["uint gl_SubgroupInvocationID [[thread_index_in_simdgroup]]", "uint gl_SubgroupSize [[threads_per_simdgroup]]"], stages=KERNEL),
    S("quad_functions", """
    acc.x += quad_broadcast(uv.x, ushort(2)) + quad_shuffle_xor(uv.y, ushort(1)) + quad_sum(uv.x) + quad_max(uv.y);
""", stages=KERNEL),
    S("thread_numbers", """
    acc += float4(float3(gl_WorkGroupID), float(gl_LocalInvocationIndex2)) + float4(float3(gl_NumWorkGroups), 1.0);
    acc.xyz += float3(gl_LocalInvocationID) + float3(gl_LocalSize) + float3(gridSize);
""", params=["uint3 gl_WorkGroupID [[threadgroup_position_in_grid]]", "uint3 gl_NumWorkGroups [[threadgroups_per_grid]]",
             "uint3 gl_LocalInvocationID [[thread_position_in_threadgroup]]", "uint gl_LocalInvocationIndex2 [[thread_index_in_threadgroup]]",
             "uint3 gl_LocalSize [[threads_per_threadgroup]]", "uint3 gridSize [[threads_per_grid]]"], stages=KERNEL),
    S("thread_numbers_short", """
    acc.x += float(groupInGrid) + float(inGroup.y) + float(simdIndex) + float(simdCount);
""", params=["uint groupInGrid [[threadgroup_position_in_grid]]", "ushort2 inGroup [[thread_position_in_threadgroup]]",
             "uint simdIndex [[simdgroup_index_in_threadgroup]]", "uint simdCount [[simdgroups_per_threadgroup]]"], stages=KERNEL),
    S("reinterpreted_buffer", """
    device uint* _149w = reinterpret_cast<device uint*>(_149);
    _149w[idx] = as_type<uint>(uv.x);
    acc.x += float(_149[num]);
""", params=["device uint* _149 [[buffer($B)]]"], stages=KERNEL),

    # ------------------------------------------------------------------------------------------ fragments
    S("derivatives", """
    acc.xy += dfdx(uv) + dfdy(uv);
    acc.z += fwidth(uv.x) + dfdx(uv.x) * dfdy(uv.y);
    acc.xyz += normalize(cross(dfdx(float3(uv, acc.x)), dfdy(float3(uv, acc.y))));
""", stages=FRAGMENT),
    S("discard", """
    if (uv.x < 0.01)
    {
        discard_fragment();
    }
    if ((num & 64) != 0)
    {
        discard_fragment();
    }
""", stages=FRAGMENT),
    S("discard_in_helper", """
    clipAt(uv.y);
""", """
static inline __attribute__((always_inline))
void clipAt(thread const float& v)
{
    if (v > 0.999)
    {
        discard_fragment();
    }
}
""", stages=FRAGMENT),
    S("depth_any", """
    out.gl_FragDepth = 0.25 + uv.x * 0.5;
""", stages=FRAGMENT, fields_out=["float gl_FragDepth [[depth(any)]];"], excludes=["depth_less", "early_tests"]),
    S("depth_less", """
    out.gl_FragDepth = gl_FragCoord.z * 0.5;
""", stages=FRAGMENT, fields_out=["float gl_FragDepth [[depth(less)]];"], excludes=["depth_any", "early_tests"]),
    S("several_targets", """
    out.second = acc * 0.5;
    out.third = uint4(idx);
    out.fourth = float2(uv);
    out.fifth = half4(half(0.5));
""", stages=FRAGMENT, fields_out=["float4 second [[color(1)]];", "uint4 third [[color(2)]];", "float2 fourth [[color(3)]];",
                                  "half4 fifth [[color(4)]];"]),
    S("front_facing", """
    acc.x += gl_FrontFacing ? 1.0 : -1.0;
""", params=["bool gl_FrontFacing [[front_facing]]"], stages=FRAGMENT),
    S("point_coord", """
    acc.xy += gl_PointCoord;
""", params=["float2 gl_PointCoord [[point_coord]]"], stages=FRAGMENT),
    S("sample_numbers", """
    acc.x += float(gl_SampleID);
""", params=["uint gl_SampleID [[sample_id]]"], stages=FRAGMENT),
    S("sample_mask", """
    acc.x += float(gl_SampleMaskIn);
    out.gl_SampleMask = gl_SampleMaskIn & 5u;
""", params=["uint gl_SampleMaskIn [[sample_mask]]"], stages=FRAGMENT, fields_out=["uint gl_SampleMask [[sample_mask]];"]),
    S("primitive_id", """
    acc.y += float(gl_PrimitiveID);
""", params=["uint gl_PrimitiveID [[primitive_id]]"], stages=FRAGMENT),
    S("layer_in", """
    acc.z += float(gl_Layer);
""", params=["uint gl_Layer [[render_target_array_index]]"], stages=FRAGMENT),
    S("interpolation", """
    acc += float4(in.vFlat) + float4(in.vCentre, in.vNear) + float4(in.vSample, in.vHalf.x, 0.0);
    acc.x += float(in.vWhole) + float(in.vCount.y);
""", stages=FRAGMENT, fields_in=["float4 vFlat [[user(locn$L), flat]];", "float3 vCentre [[user(locn$L), center_no_perspective]];",
                                 "float vNear [[user(locn$L), centroid_perspective]];", "float2 vSample [[user(locn$L), sample_perspective]];",
                                 "half2 vHalf [[user(locn$L)]];", "int vWhole [[user(locn$L)]];", "uint2 vCount [[user(locn$L), flat]];"]),
    S("flattened_inputs", """
    WrappedArray<float4, 3> _165 = {};
    _165[0] = in._165_0;
    _165[1] = in._165_1;
    _165[2] = in._165_2;
    float3x2 _165m = {};
    _165m[0] = in._165m_0;
    _165m[1] = in._165m_1;
    _165m[2] = in._165m_2;
    acc += _165[num % 3] + _165[1];
    acc.xy += _165m[1] + _165m[num % 3];
""", stages=FRAGMENT, needs=["wrapped_array"],
      fields_in=["float4 _165_0 [[user(locn$L)]];", "float4 _165_1 [[user(locn$L)]];", "float4 _165_2 [[user(locn$L)]];",
                 "float2 _165m_0 [[user(locn$L)]];", "float2 _165m_1 [[user(locn$L)]];", "float2 _165m_2 [[user(locn$L)]];"]),
    S("interpolants", """
    acc += in._166.interpolate_at_center() + in._166.interpolate_at_centroid() + in._166.interpolate_at_sample(uint(num));
    acc.xy += in._166b.interpolate_at_offset((float2(0.25) + 0.4375)) + get_sample_position(get_num_samples() - 1u);
""", stages=FRAGMENT, fields_in=["interpolant<float4, interpolation::perspective> _166 [[user(locn$L)]];",
                                 "interpolant<float2, interpolation::no_perspective> _166b [[user(locn$L)]];"]),
    S("attachments_in", """
    acc += _167 * float(_167b);
""", params=["float4 _167 [[color(0)]]", "half _167b [[color(1), raster_order_group(0)]]"], stages=FRAGMENT),
    S("early_tests", """
    acc.x += 0.5;
""", stages=FRAGMENT, excludes=["depth_any", "depth_less"]),

    # ------------------------------------------------------------------------------------------ vertices
    S("vertex_numbers", """
    acc.x += float(gl_InstanceIndex) + float(gl_BaseVertex) + float(gl_BaseInstance);
""", params=["uint gl_InstanceIndex [[instance_id]]", "uint gl_BaseVertex [[base_vertex]]", "uint gl_BaseInstance [[base_instance]]"],
      stages=VERTEX),
    S("attributes", """
    acc += in.tangent + float4(in.joints) * in.weights;
    acc.xy += in.texcoord + float2(in.small) + float2(in.signedPair);
    acc.x += float(in.one);
""", stages=VERTEX, fields_in=["float4 tangent [[attribute($L)]];", "uint4 joints [[attribute($L)]];", "float4 weights [[attribute($L)]];",
                               "float2 texcoord [[attribute($L)]];", "half2 small [[attribute($L)]];", "int2 signedPair [[attribute($L)]];",
                               "float one [[attribute($L)]];"]),
    S("matrix_attribute", """
    float4x4 _172 = {};
    _172[0] = in._172_0;
    _172[1] = in._172_1;
    _172[2] = in._172_2;
    _172[3] = in._172_3;
    acc = _172 * acc;
""", stages=VERTEX, fields_in=["float4 _172_0 [[attribute($L)]];", "float4 _172_1 [[attribute($L)]];", "float4 _172_2 [[attribute($L)]];",
                               "float4 _172_3 [[attribute($L)]];"]),
    S("varyings_out", """
    out.vColour = float4(uv, 0.0, 1.0);
    out.vNormal = float3(uv, 1.0);
    out.vWhole = num;
    out.vPair = half2(uv);
""", stages=VERTEX, fields_out=["float4 vColour [[user(locn$L)]];", "float3 vNormal [[user(locn$L)]];", "int vWhole [[user(locn$L)]];",
                                "half2 vPair [[user(locn$L)]];"]),
    S("point_size", """
    out.gl_PointSize = 2.0 + uv.x;
""", stages=VERTEX, fields_out=["float gl_PointSize [[point_size]];"]),
    S("clip_distances", """
    out.gl_ClipDistance[0] = uv.x;
    out.gl_ClipDistance[1] = 1.0 - uv.y;
""", stages=VERTEX, fields_out=["float gl_ClipDistance [[clip_distance]] [2];"]),
    S("layer_out", """
    out.gl_Layer = uint(num);
""", stages=VERTEX, fields_out=["uint gl_Layer [[render_target_array_index]];"]),
    S("viewport_out", """
    out.gl_ViewportIndex = idx & 1u;
""", stages=VERTEX, fields_out=["uint gl_ViewportIndex [[viewport_array_index]];"]),
    S("skinning", """
    float4x4 _178 = ((_178b.bones[num & 7] * 0.5) + (_178b.bones[idx & 7u] * 0.5));
    acc = (_178b.viewProjection * _178) * float4(acc.xyz, 1.0);
""", """
struct Skeleton
{
    float4x4 viewProjection;
    float4x4 bones[8];
};
""", ["constant Skeleton& _178b [[buffer($B)]]"], VERTEX),
]
