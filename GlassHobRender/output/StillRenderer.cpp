#include "GlassHobRender/output/StillRenderer.h"

#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GlassHobCore/files/AtomicFile.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "GlassHobRender/program/ShaderRun.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QImageWriter>

namespace glasshob::StillRenderer {

std::optional<StillImage> render(const std::shared_ptr<const ShaderProgram>& program,
                                 const std::shared_ptr<gpu::Device>& device, std::int64_t width, std::int64_t height,
                                 std::uint32_t frame, const SliderValues& values, float time,
                                 const std::stop_token& stop, const CatchUpInSteps::Told& catchUp) {
    const std::int64_t limit = device->maxTextureSize();
    if (width < 1 || height < 1 || width > limit || height > limit) return std::nullopt;
    const auto queue = device->makeCommandQueue();
    gpu::TextureDescriptor descriptor;
    descriptor.width = std::uint32_t(width);
    descriptor.height = std::uint32_t(height);
    descriptor.storage = gpu::StorageMode::shared;
    descriptor.usage = {.shaderRead = true, .renderTarget = true};
    const auto texture = device->makeTexture(descriptor);
    if (!queue || !texture) return std::nullopt;

    GHUniforms uniforms;
    uniforms.resolution[0] = float(width);
    uniforms.resolution[1] = float(height);
    uniforms.time = time;
    uniforms.mouse[0] = uniforms.resolution[0] * 0.5F;
    uniforms.mouse[1] = uniforms.resolution[1] * 0.5F;
    uniforms.frame = frame;

    std::unique_ptr<ShaderRun> run;
    if (ShaderRun::needsRun(*program)) {
        run = ShaderRun::make(program, device, width, height);
        if (run == nullptr || !CatchUpInSteps::run(*run, **queue, values, double(time), stop, catchUp))
            return std::nullopt;
    }
    const std::shared_ptr<gpu::CommandBuffer> commands = (*queue)->commandBuffer();
    if (commands == nullptr) return std::nullopt;
    if (run != nullptr) run->encode(uniforms, *commands, values);
    gpu::RenderPassDescriptor pass;
    pass.colorAttachments[0].texture = *texture;
    pass.colorAttachments[0].loadAction = program->pictureLoadAction();
    gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
    if (encoder == nullptr) return std::nullopt;
    program->encodePicture(*encoder, uniforms, values, run.get());
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    if (commands->status() != gpu::CommandBufferStatus::completed) return std::nullopt;

    StillImage image{descriptor.width, descriptor.height, {}};
    const std::size_t rowBytes = std::size_t(descriptor.width) * 4;
    image.bytes.resize(rowBytes * descriptor.height);
    (*texture)->getBytes(image.bytes.data(), rowBytes, {0, 0, descriptor.width, descriptor.height});
    return image;
}

std::string png(const StillImage& image) {
    if (image.bytes.size() != std::size_t(image.width) * image.height * 4 || image.bytes.empty()) return {};
    return png(image.bytes.data(), std::size_t(image.width) * 4, image.width, image.height);
}

std::string png(const std::uint8_t* bgra, std::size_t rowBytes, std::int64_t width, std::int64_t height) {
    const QImage wrapped(bgra, int(width), int(height), qsizetype(rowBytes), QImage::Format_RGB32);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    if (!writer.write(wrapped.convertToFormat(QImage::Format_RGB888))) return {};
    // The short tag instead of a whole colour profile: an sRGB chunk (perceptual intent, with its checksum) right
    // behind the signature and the header, whose lengths are fixed.
    constexpr int headerEnd = 8 + 25;
    static constexpr char srgbChunk[] = "\0\0\0\x01sRGB\0\xae\xce\x1c\xe9";
    bytes.insert(headerEnd, srgbChunk, sizeof srgbChunk - 1);
    return bytes.toStdString();
}

std::expected<void, std::string> writePNG(const StillImage& image, const std::string& path) {
    const std::string bytes = png(image);
    if (bytes.empty())
        return std::unexpected("The picture could not be turned into a PNG file: it is empty or too large.");
    return AtomicFile::write(path, bytes);
}

} // namespace glasshob::StillRenderer
