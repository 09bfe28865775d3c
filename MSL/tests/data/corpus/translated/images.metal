// language: metal2.2
#include <metal_stdlib>
#include <simd/simd.h>

using metal::uint;

constant metal::int2 const_offset = metal::int2(3, 1);

struct load_Input {
};
kernel void load_(
  metal::uint3 local_id [[thread_position_in_threadgroup]]
, metal::texture2d<uint, metal::access::sample> image_mipmapped_src [[texture(0)]]
, metal::texture2d_ms<uint, metal::access::read> image_multisampled_src [[texture(1)]]
, metal::texture2d<uint, metal::access::read> image_storage_src [[texture(2)]]
, metal::texture2d_array<uint, metal::access::sample> image_array_src [[texture(3)]]
, metal::texture1d<uint, metal::access::sample> image_1d_src [[texture(4)]]
, metal::texture2d<uint, metal::access::write> image_dst [[texture(5)]]
) {
    metal::uint2 dim = metal::uint2(image_storage_src.get_width(), image_storage_src.get_height());
    metal::int2 itc = static_cast<metal::int2>(dim * local_id.xy) % metal::int2(10, 20);
    metal::uint4 value1_ = image_mipmapped_src.read(metal::uint2(itc), static_cast<int>(local_id.z));
    metal::uint4 value2_ = image_multisampled_src.read(metal::uint2(itc), static_cast<int>(local_id.z));
    metal::uint4 value4_ = image_storage_src.read(metal::uint2(itc));
    metal::uint4 value5_ = image_array_src.read(metal::uint2(itc), local_id.z, as_type<int>(as_type<uint>(static_cast<int>(local_id.z)) + as_type<uint>(1)));
    metal::uint4 value7_ = image_1d_src.read(uint(static_cast<int>(local_id.x)));
    metal::uint4 value8_ = uint(itc.x) < image_storage_src.get_width() && metal::all(metal::uint2(itc) < metal::uint2(image_storage_src.get_width(), image_storage_src.get_height())) ? image_storage_src.read(metal::uint2(itc)) : metal::uint4();
    image_dst.write(((value1_ + value2_) + (value4_ + value5_)) + (value7_ + value8_), metal::uint2(itc));
    return;
}

struct queriesOutput {
    metal::float4 member_1 [[position]];
};
vertex queriesOutput queries(
  metal::texture1d<float, metal::access::sample> image_1d [[texture(0)]]
, metal::texture2d<float, metal::access::sample> image_2d [[texture(1)]]
, metal::texture2d_array<float, metal::access::sample> image_2d_array [[texture(2)]]
, metal::texturecube<float, metal::access::sample> image_cube [[texture(3)]]
, metal::texturecube_array<float, metal::access::sample> image_cube_array [[texture(4)]]
, metal::texture3d<float, metal::access::sample> image_3d [[texture(5)]]
, metal::texture2d_ms<float, metal::access::read> image_aa [[texture(6)]]
) {
    uint dim_1d = image_1d.get_width();
    metal::uint2 dim_2d = metal::uint2(image_2d.get_width(), image_2d.get_height());
    uint num_levels_2d = image_2d.get_num_mip_levels();
    metal::uint2 dim_2d_lod = metal::uint2(image_2d.get_width(1), image_2d.get_height(1));
    uint num_layers = image_2d_array.get_array_size();
    metal::uint2 dim_cube = metal::uint2(image_cube.get_width());
    metal::uint2 dim_cube_lod = metal::uint2(image_cube.get_width(1));
    metal::uint2 dim_cube_array = metal::uint2(image_cube_array.get_width());
    metal::uint3 dim_3d = metal::uint3(image_3d.get_width(), image_3d.get_height(), image_3d.get_depth());
    uint num_samples_aa = image_aa.get_num_samples();
    uint sum = ((((((((dim_1d + dim_2d.y) + dim_2d_lod.y) + num_levels_2d) + num_layers) + dim_cube.y) + dim_cube_lod.y) + dim_cube_array.y) + dim_3d.z) + num_samples_aa;
    return queriesOutput { metal::float4(static_cast<float>(sum)) };
}

struct texture_sampleOutput {
    metal::float4 member_2 [[color(0)]];
};
fragment texture_sampleOutput texture_sample(
  metal::texture2d<float, metal::access::sample> image_2d [[texture(0)]]
, metal::texture2d_array<float, metal::access::sample> image_2d_array [[texture(1)]]
, metal::texturecube_array<float, metal::access::sample> image_cube_array [[texture(2)]]
, metal::depth2d<float, metal::access::sample> image_2d_depth [[texture(3)]]
, metal::depthcube<float, metal::access::sample> image_cube_depth [[texture(4)]]
, metal::sampler sampler_reg [[sampler(0)]]
, metal::sampler sampler_cmp [[sampler(1)]]
) {
    metal::float4 a = {};
    metal::float2 tc = metal::float2(0.5);
    metal::float3 tc3_ = metal::float3(0.5);
    a = a + image_2d.sample(sampler_reg, tc);
    a = a + image_2d.sample(sampler_reg, tc, const_offset);
    a = a + image_2d.sample(sampler_reg, tc, metal::level(2.3));
    a = a + image_2d.sample(sampler_reg, tc, metal::level(2.3), const_offset);
    a = a + image_2d.sample(sampler_reg, tc, metal::bias(2.0), const_offset);
    a = a + image_2d_array.sample(sampler_reg, tc, 0u, metal::level(2.3), const_offset);
    a = a + image_cube_array.sample(sampler_reg, tc3_, 1u, metal::bias(2.0));
    float d = image_2d_depth.sample_compare(sampler_cmp, tc, 0.5) + image_2d_depth.sample_compare(sampler_cmp, tc, 0.5, metal::level(0.0));
    d = d + image_cube_depth.sample_compare(sampler_cmp, tc3_, 0.5);
    metal::float4 s2d_1_ = image_2d.gather(sampler_reg, tc, metal::int2(0), metal::component::y);
    metal::float4 s2d_offset_1_ = image_2d.gather(sampler_reg, tc, const_offset, metal::component::w);
    metal::float4 s2d_depth_1_ = image_2d_depth.gather_compare(sampler_cmp, tc, 0.5);
    return texture_sampleOutput { (a + metal::float4(d)) + (s2d_1_ + s2d_offset_1_ + s2d_depth_1_) };
}
