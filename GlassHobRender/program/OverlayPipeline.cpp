#include "GlassHobRender/program/OverlayPipeline.h"

#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Pipeline.h"
#include "GlassHobRender/program/LibraryFromMSL.h"

#include <stdexcept>

namespace glasshob {

namespace {

constexpr const char* quadSource = R"(#include <metal_stdlib>
using namespace metal;

struct Corner {
    float4 position [[position]];
    float2 uv;
};

vertex Corner ov_vertex(uint vid [[vertex_id]]) {
    const float2 c = float2(vid & 1, vid >> 1);
    return {float4(c * 2.0 - 1.0, 0.0, 1.0), float2(c.x, 1.0 - c.y)};
}

fragment float4 ov_fragment(Corner in [[stage_in]], texture2d<float> image [[texture(0)]],
                            constant float& opacity [[buffer(0)]]) {
    constexpr sampler smooth(filter::linear, address::clamp_to_edge);
    return image.sample(smooth, in.uv) * opacity;
}
)";

} // namespace

std::shared_ptr<gpu::RenderPipelineState> makeOverlayPipeline(const std::shared_ptr<gpu::Device>& device,
                                                              const char* source, const char* vertexName,
                                                              const char* fragmentName, gpu::PixelFormat pixelFormat,
                                                              QuadBlend blend) {
    auto compiled = msl::compile(source);
    if (!compiled) throw std::runtime_error(compiled.error().text);
    const auto library = device->makeLibrary(libraryDescriptor(std::move(*compiled), vertexName));
    if (!library) throw std::runtime_error(library.error().text);
    gpu::RenderPipelineDescriptor descriptor;
    descriptor.vertexFunction = (*library)->makeFunction(vertexName);
    descriptor.fragmentFunction = (*library)->makeFunction(fragmentName);
    descriptor.colorAttachments[0] = {.format = pixelFormat,
                                      .blendingEnabled = blend == QuadBlend::over,
                                      .sourceRGB = gpu::BlendFactor::one,
                                      .destinationRGB = gpu::BlendFactor::oneMinusSourceAlpha,
                                      .sourceAlpha = gpu::BlendFactor::one,
                                      .destinationAlpha = gpu::BlendFactor::oneMinusSourceAlpha};
    const auto pipeline = device->makeRenderPipelineState(descriptor);
    if (!pipeline) throw std::runtime_error(pipeline.error().text);
    return *pipeline;
}

OverlayQuad::OverlayQuad(const std::shared_ptr<gpu::Device>& device, gpu::PixelFormat pixelFormat, QuadBlend blend)
    : pipeline_(makeOverlayPipeline(device, quadSource, "ov_vertex", "ov_fragment", pixelFormat, blend)) {}

void OverlayQuad::draw(gpu::RenderCommandEncoder& encoder, const std::shared_ptr<gpu::Texture>& image,
                       float opacity) const {
    encoder.setRenderPipelineState(pipeline_);
    encoder.setFragmentTexture(image, 0);
    encoder.setFragmentBytes(&opacity, sizeof opacity, 0);
    encoder.drawPrimitives(gpu::PrimitiveType::triangleStrip, 0, 4);
}

} // namespace glasshob
