#include "GlassHobRender/export/FrameDrawer.h"

#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GlassHobCore/shader/Uniforms.h"
#include "GlassHobRender/episode/OverlayReel.h"
#include "GlassHobRender/output/CatchUpInSteps.h"
#include "GlassHobRender/output/Watermark.h"
#include "GlassHobRender/paint/PaintedImage.h"
#include "GlassHobRender/program/OverlayPipeline.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "GlassHobRender/program/ShaderRun.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace glasshob {

namespace {

constexpr float markOpacity = 0.9F;
// How long before its time the painting of a segment's first images begins.
constexpr std::int64_t secondsAhead = 2;

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

// Whether the mark and the picture have pixels in common.
bool FrameDrawer::reachesMark(const FrameLayout::Rectangle& picture) const {
    const WatermarkPlacement::Rect mark = WatermarkPlacement::rect(preset_.width, preset_.height);
    // The mark's place counts from the lower edge.
    const double top = double(preset_.height) - double(mark.y) - double(mark.size);
    return QRectF(double(picture.x), double(picture.y), double(picture.width), double(picture.height))
        .intersects(QRectF(mark.x, top, mark.size, mark.size).adjusted(-1, -1, 1, 1));
}

std::expected<void, ExportError> FrameDrawer::showOverlay(std::int64_t frame) {
    const ExportSegment* segment = timeline_[frame].segment;
    const OverlaySequence& overlays = segment->layout->overlays;
    if (shown_.of != segment) {
        shown_ = next_.of == segment ? std::exchange(next_, {}) : Overlays{};
        shown_.of = segment;
        if (shown_.reel == nullptr) shown_.reel = std::make_unique<OverlayReel>(overlays);
    }
    const std::int64_t index = overlays.indexAt(timeline_.localTime(frame));
    if (index == shown_.index) return {};
    const QImage image = shown_.reel->at(index);
    shown_.index = index;
    shown_.image.reset();
    shown_.bounds = shown_.overPicture = {};
    if (overlays.isEmpty(index)) return {};
    if (!image.isNull()) shown_.image = textureOf(image, *device_);
    const FrameLayout::Rectangle& picture = segment->layout->picture;
    const QRect box(int(picture.x), int(picture.y), int(picture.width), int(picture.height));
    shown_.bounds = paintedBounds(image, image.rect());
    shown_.overPicture = paintedBounds(image, box);
    if (shown_.image == nullptr) return std::unexpected(ExportError::setup("could not draw the walkthrough overlay"));
    return {};
}

void FrameDrawer::prepareNextOverlays(std::int64_t frame) {
    const std::int64_t ahead = secondsAhead * preset_.fps;
    const ExportSegment* later = timeline_[std::min(frame + ahead, timeline_.frameCount() - 1)].segment;
    if (later == timeline_[frame].segment || later == next_.of || !later->layout) return;
    next_ = {};
    next_.of = later;
    next_.reel = std::make_unique<OverlayReel>(later->layout->overlays);
}

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
    if (layout != nullptr)
        if (auto overlay = showOverlay(number); !overlay) return overlay;
    prepareNextOverlays(number);
    const auto commands = queue_->commandBuffer();
    if (commands == nullptr) return failed;
    if (run_ != nullptr) run_->encode(uniforms, *commands, segment.values);
    // A texture that holds a frame of the same overlay already wants a new picture only, unless the mark lies over it.
    const std::pair now(&segment, shown_.index);
    const auto last = drawn_.find(texture.get());
    const bool isThere = layout != nullptr && last != drawn_.end() && last->second == now &&
                         segment.program->pictureLoadAction() != gpu::LoadAction::clear &&
                         !(segment.watermark && reachesMark(layout->picture));
    drawn_.erase(texture.get());
    gpu::RenderPassDescriptor pass;
    pass.colorAttachments[0].texture = texture;
    pass.colorAttachments[0].loadAction = isThere             ? gpu::LoadAction::load
                                          : layout != nullptr ? gpu::LoadAction::clear
                                                              : segment.program->pictureLoadAction();
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
        const QRect over = isThere ? shown_.overPicture : shown_.bounds;
        if (shown_.image != nullptr && !over.isEmpty()) {
            encoder->setScissorRect({std::uint32_t(over.x()), std::uint32_t(over.y()), std::uint32_t(over.width()),
                                     std::uint32_t(over.height())});
            overlay_->draw(*encoder, shown_.image);
        }
        encoder->setScissorRect({0, 0, std::uint32_t(preset_.width), std::uint32_t(preset_.height)});
    } else {
        segment.program->encodePicture(*encoder, uniforms, segment.values, run_.get());
    }
    if (segment.watermark && !isThere) {
        const WatermarkPlacement::Rect rect = WatermarkPlacement::rect(preset_.width, preset_.height);
        mark_->draw(*encoder, {rect.x, rect.y, rect.size}, float(preset_.width), float(preset_.height), markOpacity);
    }
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    if (commands->status() != gpu::CommandBufferStatus::completed) return failed;
    if (layout != nullptr) drawn_[texture.get()] = now;
    return {};
}

} // namespace glasshob
