// language: metal2.0
#include <metal_stdlib>
#include <simd/simd.h>

using metal::uint;

struct Light {
    metal::float4x4 proj;
    metal::float4 pos;
    metal::float4 color;
};
struct Entity {
    metal::float4x4 world;
    metal::float4 color;
};
struct Globals {
    metal::float4x4 view_proj;
    metal::uint4 num_lights;
};
typedef Light type_7[10];
constant metal::float3 c_ambient = metal::float3(0.05, 0.05, 0.05);
constant uint c_max_lights = 10u;

float fetch_shadow(
    uint light_id,
    metal::float4 homogeneous_coords,
    metal::depth2d_array<float, metal::access::sample> t_shadow,
    metal::sampler sampler_shadow
) {
    if (homogeneous_coords.w <= 0.0) {
        return 1.0;
    }
    metal::float2 flip_correction = metal::float2(0.5, -0.5);
    float proj_correction = 1.0 / homogeneous_coords.w;
    metal::float2 light_local = ((homogeneous_coords.xy * flip_correction) * proj_correction) + metal::float2(0.5, 0.5);
    float _e24 = t_shadow.sample_compare(sampler_shadow, light_local, static_cast<int>(light_id), homogeneous_coords.z * proj_correction);
    return _e24;
}

struct vs_mainInput {
    metal::int4 position [[attribute(0)]];
    metal::int4 normal [[attribute(1)]];
};
struct vs_mainOutput {
    metal::float4 proj_position [[position]];
    metal::float3 world_normal [[user(loc0), center_perspective]];
    metal::float4 world_position [[user(loc1), center_perspective]];
};
vertex vs_mainOutput vs_main(
  vs_mainInput varyings [[stage_in]]
, constant Globals& u_globals [[buffer(0)]]
, constant Entity& u_entity [[buffer(1)]]
) {
    const auto position = varyings.position;
    const auto normal = varyings.normal;
    metal::float4x4 w = u_entity.world;
    metal::float4 world_pos = u_entity.world * static_cast<metal::float4>(position);
    vs_mainOutput out = {};
    out.world_normal = metal::float3x3(w[0].xyz, w[1].xyz, w[2].xyz) * static_cast<metal::float3>(normal.xyz);
    out.world_position = world_pos;
    out.proj_position = u_globals.view_proj * world_pos;
    const auto _tmp = out;
    return vs_mainOutput { _tmp.proj_position, _tmp.world_normal, _tmp.world_position };
}

struct fs_mainInput {
    metal::float3 world_normal [[user(loc0), center_perspective]];
    metal::float4 world_position [[user(loc1), center_perspective]];
};
struct fs_mainOutput {
    metal::float4 member_1 [[color(0)]];
};
fragment fs_mainOutput fs_main(
  fs_mainInput varyings_1 [[stage_in]]
, metal::float4 proj_position [[position]]
, constant Globals& u_globals [[buffer(0)]]
, constant Entity& u_entity [[buffer(1)]]
, device type_7 const& s_lights [[buffer(2)]]
, metal::depth2d_array<float, metal::access::sample> t_shadow [[texture(0)]]
, metal::sampler sampler_shadow [[sampler(0)]]
) {
    metal::float3 color = c_ambient;
    uint i = 0u;
    metal::float3 normal_1 = metal::normalize(varyings_1.world_normal);
    bool loop_init = true;
    while(true) {
        if (!loop_init) {
            uint _e40 = i;
            i = _e40 + 1u;
        }
        loop_init = false;
        if (i < metal::min(u_globals.num_lights.x, c_max_lights)) {
        } else {
            break;
        }
        {
            Light light = s_lights[i];
            float shadow = fetch_shadow(i, light.proj * varyings_1.world_position, t_shadow, sampler_shadow);
            metal::float3 light_dir = metal::normalize(light.pos.xyz - varyings_1.world_position.xyz);
            float diffuse = metal::max(0.0, metal::dot(normal_1, light_dir));
            color = color + ((shadow * diffuse) * light.color.xyz);
        }
    }
    return fs_mainOutput { metal::float4(color, 1.0) * u_entity.color };
}
