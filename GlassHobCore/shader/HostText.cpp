#include "GlassHobCore/shader/HostText.h"

namespace glasshob::hostText {

const std::string_view prelude = R"metal(#include <metal_stdlib>
using namespace metal;

struct Uniforms {
    float2 resolution;
    float  time;
    float  timeDelta;
    float2 mouse;
    uint   frame;
    uint   pad;
};

struct Params {
)metal";

const std::string_view vertexEntry = R"metal(
};

struct GHVertexOut {
    float4 position [[position]];
    float2 uv;
};

vertex GHVertexOut gh_vertex(uint vid [[vertex_id]]) {
    float2 p = float2((vid << 1) & 2, vid & 2);
    GHVertexOut o;
    o.position = float4(p * 2.0 - 1.0, 0.0, 1.0);
    o.uv = p;
    return o;
}
)metal";

const std::string_view trails = R"metal(
struct Trails {
    texture2d<float> image;
    float4 at(float2 uv) const {
        constexpr sampler s(filter::linear, address::clamp_to_edge);
        return image.sample(s, float2(uv.x, 1.0 - uv.y));
    }
};
)metal";

const std::string_view userLineMark = R"metal(
#line 1 "shader.metal"
)metal";

const std::string_view fragmentKind = R"metal(
#line 1 "gh_host"
fragment float4 gh_fragment(GHVertexOut in [[stage_in]],
                                constant Uniforms& u [[buffer(0)]],
                                constant Params& p [[buffer(1)]]) {
    return shade(in.uv, u, p);
})metal";

const std::string_view gridMesh = R"metal(
#line 1 "gh_host"
constant float2 gh_square[6] = { float2(0, 0), float2(1, 0), float2(0, 1), float2(1, 0), float2(1, 1), float2(0, 1) };

vertex Vertex gh_grid_vertex(uint vid [[vertex_id]],
                                constant Uniforms& u [[buffer(0)]],
                                constant Params& p [[buffer(1)]],
                                constant uint& cells [[buffer(2)]]) {
    uint square = vid / 6;
    float2 at = float2(square % cells, square / cells) + gh_square[vid % 6];
    return corner(at / float(cells), u, p);
}

fragment float4 gh_grid_fragment(Vertex in [[stage_in]],
                                    constant Uniforms& u [[buffer(0)]],
                                    constant Params& p [[buffer(1)]]) {
    return shade(in, u, p);
})metal";

const std::string_view gridBackground = R"metal(

fragment float4 gh_background(GHVertexOut in [[stage_in]],
                                 constant Uniforms& u [[buffer(0)]],
                                 constant Params& p [[buffer(1)]]) {
    return background(in.uv, u, p);
})metal";

const std::string_view gridPicture = R"metal(

fragment float4 gh_fragment(GHVertexOut in [[stage_in]],
                                texture2d<float> picture [[texture(0)]]) {
    constexpr sampler s(filter::nearest, address::clamp_to_edge);
    return picture.sample(s, float2(in.uv.x, 1.0 - in.uv.y));
})metal";

const std::string_view particlesBeforeFade = R"metal(
#line 1 "gh_host"
kernel void gh_particle_size(device uint* out [[buffer(0)]], uint i [[thread_position_in_grid]]) {
    if (i == 0) out[0] = sizeof(Particle);
}

kernel void gh_spawn(device Particle* ps [[buffer(0)]],
                          constant Params& p [[buffer(1)]],
                          constant uint& count [[buffer(2)]],
                          uint i [[thread_position_in_grid]]) {
    if (i >= count) return;
    ps[i] = spawn(i, p);
}

kernel void gh_update(device Particle* ps [[buffer(0)]],
                           constant Uniforms& u [[buffer(1)]],
                           constant Params& p [[buffer(2)]],
                           constant uint& count [[buffer(3)]],
                           uint i [[thread_position_in_grid]]) {
    if (i >= count) return;
    Particle q = ps[i];
    update(q, i, u, p);
    ps[i] = q;
}

fragment float4 gh_fade(GHVertexOut in [[stage_in]],
                            texture2d<float> previous [[texture(0)]],
                            constant Uniforms& u [[buffer(0)]],
                            constant Params& p [[buffer(1)]]) {
    )metal";

const std::string_view fadeByUser = R"metal(return fade(in.uv, Trails{previous}, u, p);)metal";

const std::string_view fadeToNothing = R"metal(return float4(0.0);)metal";

const std::string_view particlesAfterFade = R"metal(
}

struct GHDotOut {
    float4 position [[position]];
    float size [[point_size]];
    uint id [[flat]];
};

vertex GHDotOut gh_dot_vertex(uint id [[vertex_id]],
                                 const device Particle* ps [[buffer(0)]],
                                 constant Uniforms& u [[buffer(1)]],
                                 constant Params& p [[buffer(2)]]) {
    float3 w = place(ps[id], u, p);
    GHDotOut o;
    o.position = float4(w.xy * 2.0 - 1.0, 0.0, 1.0);
    o.size = clamp(w.z * u.resolution.y, 0.0, 511.0);
    o.id = id;
    return o;
}

fragment float4 gh_dot_fragment(GHDotOut in [[stage_in]],
                                   float2 pc [[point_coord]],
                                   const device Particle* ps [[buffer(0)]],
                                   constant Uniforms& u [[buffer(1)]],
                                   constant Params& p [[buffer(2)]]) {
    return ink(ps[in.id], float2(pc.x * 2.0 - 1.0, 1.0 - pc.y * 2.0), u, p);
}

fragment float4 gh_fragment(GHVertexOut in [[stage_in]],
                                texture2d<float> trails [[texture(0)]],
                                constant Uniforms& u [[buffer(0)]],
                                constant Params& p [[buffer(1)]]) {
    return shade(in.uv, u, p, Trails{trails});
})metal";

const std::string_view sound = R"metal(

struct SoundUniforms { float start; float rate; uint count; uint pad; };
kernel void gh_sound(device float2* out [[buffer(0)]],
                         constant SoundUniforms& su [[buffer(1)]],
                         constant Params& p [[buffer(2)]],
                         uint i [[thread_position_in_grid]]) {
    if (i >= su.count) return;
    out[i] = clamp(sound(su.start + float(i) / su.rate, p), -1.0, 1.0);
})metal";

} // namespace glasshob::hostText
