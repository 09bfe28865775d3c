#include "GlassHobRender/program/MeshTarget.h"

#include "GPU/Device.h"

namespace glasshob {

std::unique_ptr<MeshTarget> MeshTarget::make(gpu::Device& device, std::int64_t width, std::int64_t height) {
    const std::int64_t limit = device.maxTextureSize();
    if (width < 1 || height < 1 || width > limit || height > limit) return nullptr;
    const auto texture = [&](gpu::PixelFormat format, bool isMultisample) -> std::shared_ptr<gpu::Texture> {
        gpu::TextureDescriptor descriptor;
        descriptor.type = isMultisample ? gpu::TextureType::type2DMultisample : gpu::TextureType::type2D;
        descriptor.format = format;
        descriptor.width = std::uint32_t(width);
        descriptor.height = std::uint32_t(height);
        descriptor.sampleCount = isMultisample ? 4 : 1;
        descriptor.usage = {.shaderRead = !isMultisample, .renderTarget = true};
        const auto made = device.makeTexture(descriptor);
        return made ? *made : nullptr;
    };
    auto target = std::make_unique<MeshTarget>();
    target->color = texture(gpu::PixelFormat::bgra8Unorm, true);
    target->depth = texture(gpu::PixelFormat::depth32Float, true);
    target->resolved = texture(gpu::PixelFormat::bgra8Unorm, false);
    if (target->color == nullptr || target->depth == nullptr || target->resolved == nullptr) return nullptr;
    return target;
}

} // namespace glasshob
