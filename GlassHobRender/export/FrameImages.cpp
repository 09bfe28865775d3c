#include "GlassHobRender/export/FrameImages.h"

#include "GPU/Device.h"
#include "GPU/Texture.h"
#include "GlassHobRender/export/FrameDrawer.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace glasshob {

namespace {

ExportPreset presetOf(QSize size, std::int64_t fps) {
    ExportPreset preset = ExportPreset::web();
    preset.width = std::max(size.width(), 1);
    preset.height = std::max(size.height(), 1);
    preset.fps = fps;
    return preset;
}

} // namespace

FrameImages::FrameImages(std::vector<ExportSegment> segments, QSize size, std::int64_t fps, std::stop_token stop)
    : preset_(presetOf(size, fps)), segments_(std::move(segments)), timeline_(segments_, fps), stop_(std::move(stop)) {}

FrameImages::~FrameImages() = default;

std::expected<QImage, ExportError> FrameImages::at(std::int64_t frame) {
    const ExportSegment& segment = *timeline_[frame].segment;
    if (segment.program == nullptr) return std::unexpected(ExportError::setup("the program is not there yet"));
    const auto device = segment.program->device();
    if (texture_ == nullptr) {
        const auto texture = device->makeTexture({.width = std::uint32_t(preset_.width),
                                                  .height = std::uint32_t(preset_.height),
                                                  .storage = gpu::StorageMode::shared,
                                                  .usage = {.shaderRead = false, .renderTarget = true}});
        if (!texture) return std::unexpected(ExportError::setup("there is not enough memory for the picture"));
        texture_ = *texture;
    }
    try {
        // Particles go forwards only.
        const bool goesBack = frame < last_ && segment.program->particles() != nullptr;
        if (drawer_ == nullptr || goesBack) drawer_ = std::make_unique<FrameDrawer>(timeline_, preset_, device, stop_);
        last_ = frame;
        if (auto drawn = drawer_->draw(frame, texture_); !drawn) {
            drawer_.reset();
            return std::unexpected(std::move(drawn.error()));
        }
    } catch (ExportError& error) {
        return std::unexpected(std::move(error));
    } catch (const std::exception& error) {
        return std::unexpected(ExportError::setup(error.what()));
    }
    return QImage(reinterpret_cast<const uchar*>(texture_->contents()), int(preset_.width), int(preset_.height),
                  qsizetype(texture_->rowBytes()), QImage::Format_RGB32)
        .copy();
}

} // namespace glasshob
