#include "GlassHobRender/export/FrameDrawer.h"

#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GlassHobCore/shader/Uniforms.h"
#include "GlassHobRender/output/CatchUpInSteps.h"
#include "GlassHobRender/output/Watermark.h"
#include "GlassHobRender/program/OverlayPipeline.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "GlassHobRender/program/ShaderRun.h"

#include <algorithm>
#include <stdexcept>

namespace glasshob {

namespace {

constexpr float markOpacity = 0.9F;

} // namespace

FrameDrawer::FrameDrawer(const ExportTimeline& timeline, const ExportPreset& preset,
                         std::shared_ptr<gpu::Device> device, std::stop_token stop, CatchUp catchUp)
    : timeline_(timeline), preset_(preset), device_(std::move(device)), stop_(std::move(stop)),
      catchUp_(std::move(catchUp)) {
    const auto queue = device_->makeCommandQueue(gpu::QueuePriority::background);
    if (!queue) throw ExportError::setup("no command queue");
    queue_ = *queue;
    try {
        if (timeline.hasLayout()) overlay_ = std::make_unique<OverlayQuad>(device_, gpu::PixelFormat::bgra8Unorm);
    } catch (const std::runtime_error&) {
        throw ExportError::setup("the overlay did not compile");
    }
    try {
        if (timeline.hasWatermark()) mark_ = std::make_unique<Watermark>(device_, gpu::PixelFormat::bgra8Unorm);
    } catch (const std::runtime_error&) {
        throw ExportError::setup("the watermark did not compile");
    }
}

FrameDrawer::~FrameDrawer() = default;

std::expected<void, ExportError> FrameDrawer::draw(std::int64_t number, const std::shared_ptr<gpu::Texture>& texture) {
    const ExportTimeline::Entry entry = timeline_[number];
    const ExportSegment& segment = *entry.segment;
    const FrameLayout* layout = segment.layout ? &*segment.layout : nullptr;
    const std::int64_t width = layout != nullptr ? layout->picture.width : preset_.width;
    const std::int64_t height = layout != nullptr ? layout->picture.height : preset_.height;
    const std::unexpected failed(ExportError::render(number));
    GHUniforms uniforms;
    uniforms.resolution[0] = float(width);
    uniforms.resolution[1] = float(height);
    uniforms.time = float(timeline_.localTime(number) + segment.start);
    uniforms.timeDelta = float(1.0 / double(preset_.fps));
    uniforms.mouse[0] = uniforms.resolution[0] * 0.5F;
    uniforms.mouse[1] = uniforms.resolution[1] * 0.5F;
    uniforms.frame = std::uint32_t(entry.local);
    if (&segment != runOf_) {
        runOf_ = &segment;
        run_.reset();
        if (ShaderRun::needsRun(*segment.program)) {
            run_ = ShaderRun::make(segment.program, device_, width, height);
            if (run_ == nullptr) return failed;
            if (!CatchUpInSteps::run(*run_, *queue_, segment.values, double(uniforms.time), stop_, catchUp_)) {
                return stop_.stop_requested() ? std::unexpected(ExportError::cancelled()) : failed;
            }
        }
    }
    const auto commands = queue_->commandBuffer();
    if (commands == nullptr) return failed;
    if (run_ != nullptr) run_->encode(uniforms, *commands, segment.values);
    gpu::RenderPassDescriptor pass;
    pass.colorAttachments[0].texture = texture;
    pass.colorAttachments[0].loadAction =
        layout != nullptr ? gpu::LoadAction::clear : segment.program->pictureLoadAction();
    if (layout != nullptr) pass.colorAttachments[0].clearColor = layout->background;
    gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
    if (encoder == nullptr) return failed;
    if (layout != nullptr) {
        const FrameLayout::Rectangle& r = layout->picture;
        encoder->setViewport({double(r.x), double(r.y), double(r.width), double(r.height)});
        encoder->setScissorRect(
            {std::uint32_t(r.x), std::uint32_t(r.y), std::uint32_t(r.width), std::uint32_t(r.height)});
        segment.program->encodePicture(*encoder, uniforms, segment.values, run_.get());
        encoder->setViewport({0, 0, double(preset_.width), double(preset_.height)});
        encoder->setScissorRect({0, 0, std::uint32_t(preset_.width), std::uint32_t(preset_.height)});
        const std::int64_t wanted = layout->overlayIndex(timeline_.localTime(number));
        const auto last = std::int64_t(layout->overlays.size()) - 1;
        overlay_->draw(*encoder, layout->overlays.at(std::size_t(std::clamp<std::int64_t>(wanted, 0, last))));
    } else {
        segment.program->encodePicture(*encoder, uniforms, segment.values, run_.get());
    }
    if (segment.watermark) {
        const WatermarkPlacement::Rect rect = WatermarkPlacement::rect(preset_.width, preset_.height);
        mark_->draw(*encoder, {rect.x, rect.y, rect.size}, float(preset_.width), float(preset_.height), markOpacity);
    }
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    if (commands->status() != gpu::CommandBufferStatus::completed) return failed;
    return {};
}

} // namespace glasshob
