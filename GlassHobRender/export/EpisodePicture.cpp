#include "GlassHobRender/export/EpisodePicture.h"

#include "GPU/Device.h"
#include "GPU/Texture.h"
#include "GlassHobRender/export/FrameDrawer.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace glasshob {

namespace {

ExportPreset presetOf(const EpisodePlan& plan, QSize size) {
    ExportPreset preset = ExportPreset::web();
    preset.width = std::max(size.width(), 1);
    preset.height = std::max(size.height(), 1);
    preset.fps = plan.fps();
    return preset;
}

} // namespace

EpisodePicture::EpisodePicture(EpisodePlan plan, EpisodePrograms programs, QSize size, std::stop_token stop)
    : plan_(std::move(plan)), preset_(presetOf(plan_, size)), stop_(std::move(stop)) {
    programs.stages.resize(plan_.stages().size());
    segments_ = episodeSegments(plan_.inFrame({int(preset_.width), int(preset_.height)}), programs);
    timeline_ = ExportTimeline(segments_, preset_.fps);
}

EpisodePicture::~EpisodePicture() = default;

std::expected<QImage, ExportError> EpisodePicture::at(double seconds) {
    const double wanted = seconds * double(preset_.fps) + 1e-6;
    const auto most = double(timeline_.frameCount() - 1);
    const auto frame = std::isfinite(wanted) ? std::int64_t(std::clamp(wanted, 0.0, most)) : 0;
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
    }
    return QImage(reinterpret_cast<const uchar*>(texture_->contents()), int(preset_.width), int(preset_.height),
                  qsizetype(texture_->rowBytes()), QImage::Format_RGB32)
        .copy();
}

QSize episodePictureSize(const EpisodePlan& plan, QSize most) {
    const QSize size = QSize(plan.frame().width, plan.frame().height).scaled(most, Qt::KeepAspectRatio);
    return size.expandedTo({1, 1});
}

double typicalMoment(const EpisodePlan& plan, const EpisodePart& part) {
    if (part.kind == EpisodePart::Kind::stage) return pageMoment(plan, part.number, 0);
    return part.at + part.seconds / 2;
}

double pageMoment(const EpisodePlan& plan, std::size_t stage, std::size_t page) {
    for (const EpisodePart& part : plan.parts())
        if (part.kind == EpisodePart::Kind::stage && part.number == stage)
            return part.at + (double(page) + 0.5) * plan.choices().pageSeconds;
    return 0;
}

} // namespace glasshob
