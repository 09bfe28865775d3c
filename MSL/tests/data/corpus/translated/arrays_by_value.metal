// language: metal2.4
#include <metal_stdlib>
#include <simd/simd.h>

using metal::uint;

struct type_3 {
    float inner[4];
};
struct type_5 {
    type_3 inner[2];
};
struct type_7 {
    metal::float4 inner[3];
};
struct Globals {
    metal::float4x4 m;
    type_5 nested;
    char _pad2[12];
    uint which;
};
constant type_3 table = type_3 {1.0, 2.0, 4.0, 8.0};
constant metal::float3 const_0_ = metal::float3(0.25, 0.5, 0.75);

float total(
    type_3 values
) {
    float sum = 0.0;
    uint i = 0u;
#define LOOP_IS_REACHABLE if (volatile bool unpredictable = true; unpredictable)
    LOOP_IS_REACHABLE while(true) {
        if (i >= 4u) {
            break;
        }
        sum = sum + values.inner[i];
        i = i + 1u;
    }
    return sum;
}

type_7 make_colours(
    metal::float2 at,
    metal::float4x4 m
) {
    type_7 out = type_7 {m[0], m * metal::float4(at, 0.0, 1.0), metal::float4(at.x)};
    out.inner[2].w = 1.0;
    return out;
}

struct fs_mainInput {
    metal::float2 uv [[user(loc0), center_perspective]];
    uint layer [[user(loc1), flat]];
};
struct fs_mainOutput {
    metal::float4 member [[color(0)]];
    float depth [[depth(any)]];
};
fragment fs_mainOutput fs_main(
  fs_mainInput varyings [[stage_in]]
, metal::float4 position [[position]]
, bool front [[front_facing]]
, constant Globals& globals [[buffer(0)]]
) {
    const auto uv = varyings.uv;
    const auto layer = varyings.layer;
    type_3 local = {};
    type_5 copy = globals.nested;
    local = copy.inner[layer % 2u];
    float _e12 = total(local);
    float _e13 = total(table);
    type_7 colours = make_colours(uv, globals.m);
    metal::float4 picked = colours.inner[metal::min(unsigned(globals.which), 2u)];
    float indexed = uint(layer) < 4 ? local.inner[layer] : float();
    metal::float3 tint = front ? const_0_ : metal::float3(1.0) - const_0_;
    const auto _tmp = fs_mainOutput { picked * (_e12 + _e13) + metal::float4(tint, indexed), metal::saturate(position.z) };
    return fs_mainOutput { _tmp.member, _tmp.depth };
}
