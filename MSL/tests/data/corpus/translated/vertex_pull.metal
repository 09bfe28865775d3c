#include <metal_stdlib>
#include <simd/simd.h>

using namespace metal;

struct Payload { packed_float3 p; packed_half2 uv; packed_uchar4 colour; packed_short2 extra; };

struct main0_out
{
    float4 gl_Position [[position]];
    float4 colour [[user(locn0)]];
    float gl_ClipDistance [[clip_distance]] [1];
    float gl_ClipDistance_0 [[user(clip0)]];
};

vertex main0_out main0(uint gl_VertexIndex [[vertex_id]], uint gl_InstanceIndex [[instance_id]], uint gl_BaseVertex [[base_vertex]], const device Payload* vertices [[buffer(0)]], constant ushort* indices [[buffer(1)]], constant uint* sizes [[buffer(25)]])
{
    main0_out out = {};
    const device Payload& v = vertices[indices[gl_VertexIndex - gl_BaseVertex]];
    constant uint& count = sizes[0];
    int gl_VertexID = int(gl_VertexIndex);
    out.gl_Position = float4(float3(v.p) + float3(half3(half2(v.uv), 1.0h)), 1.0);
    out.colour = float4(uchar4(v.colour)) / 255.0 + float4(float2(short2(v.extra)), 0.0, 0.0);
    out.colour.a = float(gl_VertexID % int(count));
    out.gl_ClipDistance[0] = out.gl_Position.x;
    out.gl_ClipDistance_0 = out.gl_ClipDistance[0];
    return out;
}
