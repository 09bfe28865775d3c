#include "GlassHobRender/ImageOverlay.h"

#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GlassHobRender/OverlayPipeline.h"

namespace glasshob {

namespace {

// Texel for pixel: the viewport is the image's place.
constexpr const char* source = R"(#include <metal_stdlib>
using namespace metal;

struct Corner {
    float4 position [[position]];
    float2 uv;
};

vertex Corner io_vertex(uint vid [[vertex_id]]) {
    const float2 c = float2(vid & 1, vid >> 1);
    return {float4(c * 2.0 - 1.0, 0.0, 1.0), float2(c.x, 1.0 - c.y)};
}

fragment float4 io_fragment(Corner in [[stage_in]], texture2d<float> image [[texture(0)]],
                            constant float& opacity [[buffer(0)]]) {
    constexpr sampler exact(filter::nearest, address::clamp_to_edge);
    return image.sample(exact, in.uv) * opacity;
}
)";

} // namespace

ImageOverlay::ImageOverlay(const std::shared_ptr<gpu::Device>& device, gpu::PixelFormat pixelFormat)
    : pipeline_(makeOverlayPipeline(device, source, "io_vertex", "io_fragment", pixelFormat)) {}

void ImageOverlay::draw(gpu::RenderCommandEncoder& encoder, const std::shared_ptr<gpu::Texture>& image, int left,
                        int top, float opacity) const {
    encoder.setRenderPipelineState(pipeline_);
    encoder.setViewport({double(left), double(top), double(image->width()), double(image->height())});
    encoder.setFragmentTexture(image, 0);
    encoder.setFragmentBytes(&opacity, sizeof opacity, 0);
    encoder.drawPrimitives(gpu::PrimitiveType::triangleStrip, 0, 4);
}

} // namespace glasshob
