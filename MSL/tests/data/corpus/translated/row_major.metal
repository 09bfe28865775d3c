#include <metal_stdlib>
#include <simd/simd.h>

using namespace metal;

typedef packed_float2 packed_float2x2[2];
typedef packed_float3 packed_rm_float4x3[4];
typedef packed_float2 packed_rm_float2x3[3];

struct UBO
{
    float3x4 col_major0;
    packed_rm_float4x3 packed0;
    packed_rm_float2x3 packed1;
    packed_float2x2 packed2;
    float rows[4][3];
};

struct main0_out
{
    float4 gl_Position [[position]];
};

struct main0_in
{
    float4 aVertex [[attribute(0)]];
};

vertex main0_out main0(main0_in in [[stage_in]], constant UBO& _17 [[buffer(0)]])
{
    main0_out out = {};
    float4x3 m0 = float4x3(float3(_17.packed0[0]), float3(_17.packed0[1]), float3(_17.packed0[2]), float3(_17.packed0[3]));
    float3x2 m1 = float3x2(float2(_17.packed1[0]), float2(_17.packed1[1]), float2(_17.packed1[2]));
    float2x2 m2 = float2x2(float2(_17.packed2[0]), float2(_17.packed2[1]));
    float3 v = transpose(float3x4(_17.col_major0[0], _17.col_major0[1], _17.col_major0[2])) * in.aVertex;
    v += m0 * in.aVertex;
    v.xy += m1 * v + m2 * v.yz;
    v.x += float4(_17.rows[0][0], _17.rows[1][0], _17.rows[2][0], _17.rows[3][0]).w + _17.packed0[2][1];
    out.gl_Position = float4(v, 1.0);
    return out;
}
