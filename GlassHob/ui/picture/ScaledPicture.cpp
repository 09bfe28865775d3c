#include "GlassHob/ui/picture/ScaledPicture.h"

#include "GPU/Device.h"
#include "GPU/Texture.h"
#include "GlassHobRender/program/OverlayPipeline.h"

#include <stdexcept>

namespace glasshob {

ScaledPicture::ScaledPicture() = default;
ScaledPicture::~ScaledPicture() = default;

std::shared_ptr<gpu::Texture> ScaledPicture::target(gpu::Device& device, std::uint32_t width, std::uint32_t height) {
    if (texture_ && texture_->width() == width && texture_->height() == height) return texture_;
    gpu::TextureDescriptor descriptor;
    descriptor.width = width;
    descriptor.height = height;
    descriptor.usage = {.shaderRead = true, .renderTarget = true};
    texture_ = device.makeTexture(descriptor).value_or(nullptr);
    return texture_;
}

void ScaledPicture::draw(gpu::RenderCommandEncoder& encoder, const std::shared_ptr<gpu::Device>& device) {
    try {
        if (!pipeline_)
            pipeline_ = std::make_unique<OverlayQuad>(device, gpu::PixelFormat::bgra8Unorm, QuadBlend::none);
    } catch (const std::runtime_error&) {
        return; // a device that cannot make it any more: the picture itself tells of that
    }
    pipeline_->draw(encoder, texture_);
}

void ScaledPicture::reset() {
    texture_.reset();
    pipeline_.reset();
}

} // namespace glasshob
