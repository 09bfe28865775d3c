#include "GlassHobRender/output/Watermark.h"

#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Pipeline.h"
#include "GlassHobRender/program/LibraryFromMSL.h"
#include "GlassHobRender/program/OverlayPipeline.h"

namespace glasshob {

namespace {

constexpr const char* source = R"(#include <metal_stdlib>
using namespace metal;

struct Mark {
    float4 rect;
    float2 target;
    float opacity;
    float pad;
};

struct Corner {
    float4 position [[position]];
    float2 p;
};

vertex Corner wm_vertex(uint vid [[vertex_id]], constant Mark& mark [[buffer(0)]]) {
    const float2 c = float2(vid & 1, vid >> 1);
    const float2 pixel = mark.rect.xy + c * mark.rect.z;
    return {float4(pixel / mark.target * 2.0 - 1.0, 0.0, 1.0), c * 2.0 - 1.0};
}

static float4 over(float4 a, float4 b) {
    return a + b * (1.0 - a.a);
}

fragment float4 wm_fragment(Corner in [[stage_in]], constant Mark& mark [[buffer(0)]]) {
    const float2 p = in.p;
    const float hw = 0.36, base = -0.56, wall = 0.10, top = 0.56 - hw;
    const float aa = 2.0 / mark.rect.z; // one pixel

    // How far outside of the arch: a half disc on straight walls over a flat base.
    const float d = p.y > top ? length(p - float2(0.0, top)) - hw : max(abs(p.x) - hw, base - p.y);

    const float inside = 1.0 - smoothstep(-aa, aa, d);
    const float ring = smoothstep(-aa, aa, d) * (1.0 - smoothstep(wall - aa, wall + aa, d));
    const float glow = exp(-max(d - wall, 0.0) * 7.0) * smoothstep(wall - aa, wall + aa, d) * 0.45;

    // The opening is hottest low in the middle.
    const float t = (p.y - base) / (top + hw - base);
    const float side = abs(p.x) / hw;
    const float heat = clamp(1.0 - 0.75 * t, 0.0, 1.0) * (1.0 - 0.55 * side * side);
    float3 col = mix(float3(0.88, 0.26, 0.05), float3(1.0, 0.68, 0.20), smoothstep(0.30, 0.70, heat));
    col = mix(col, float3(1.0, 0.97, 0.84), smoothstep(0.75, 1.0, heat));

    const float rim = (1.0 - smoothstep(0.0, 0.03 + aa, abs(d))) * 0.55;
    float4 result = float4(float3(1.0, 0.45, 0.10) * glow, glow);
    result = over(float4(float3(0.02, 0.012, 0.015) * ring * 0.78, ring * 0.78), result);
    result = over(float4(col * inside, inside), result);
    result = over(float4(float3(1.0, 0.953, 0.871) * rim, rim), result);
    return result * mark.opacity;
}
)";

} // namespace

Watermark::Watermark(const std::shared_ptr<gpu::Device>& device, gpu::PixelFormat pixelFormat)
    : pipeline_(makeOverlayPipeline(device, source, "wm_vertex", "wm_fragment", pixelFormat)) {}

void Watermark::draw(gpu::RenderCommandEncoder& encoder, const float (&rect)[3], float width, float height,
                     float opacity) const {
    const WMUniforms uniforms{{rect[0], rect[1], rect[2], 0}, {width, height}, opacity, 0};
    encoder.setRenderPipelineState(pipeline_);
    encoder.setVertexBytes(&uniforms, sizeof uniforms, 0);
    encoder.setFragmentBytes(&uniforms, sizeof uniforms, 0);
    encoder.drawPrimitives(gpu::PrimitiveType::triangleStrip, 0, 4);
}

} // namespace glasshob
