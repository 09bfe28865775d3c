#pragma once

// Draws the frames of a timeline, one after another, each into a texture: the picture with its particles or its grid,
// overlays, and the Hob mark. Used by one thread, which it blocks while the GPU works.

#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobRender/export/ExportSegment.h"
#include "GlassHobRender/formats/ExportError.h"

#include <QRect>

#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <stop_token>
#include <utility>

namespace gpu {
class CommandQueue;
class Device;
class Texture;
} // namespace gpu

namespace glasshob {

class OverlayQuad;
class OverlayReel;
class ShaderRun;
class Watermark;

class FrameDrawer {
  public:
    // How far a particle simulation's run up to its first frame has come, in seconds of shader time.
    using CatchUp = std::function<void(double reached, double target)>;

    // `timeline` and its segments outlive the drawer. `stop` ends a run up to the first frame. Throws ExportError
    // (setup).
    FrameDrawer(const ExportTimeline& timeline, const ExportPreset& preset, std::shared_ptr<gpu::Device> device,
                std::stop_token stop = {}, CatchUp catchUp = {});
    ~FrameDrawer();
    FrameDrawer(const FrameDrawer&) = delete;
    FrameDrawer& operator=(const FrameDrawer&) = delete;

    // `texture` is of the preset's size and bgra8Unorm; the frame is complete when this returns. A texture that comes
    // again holds the frame that was drawn into it last. Frames of a particle
    // shader are drawn in rising order; the first one may be any and looks as if all before had been drawn.
    std::expected<void, ExportError> draw(std::int64_t frame, const std::shared_ptr<gpu::Texture>& texture);

  private:
    const ExportTimeline& timeline_;
    ExportPreset preset_;
    std::shared_ptr<gpu::Device> device_;
    std::stop_token stop_;
    CatchUp catchUp_;
    std::shared_ptr<gpu::CommandQueue> queue_;
    // What lies over the frames of a segment with a layout.
    struct Overlays {
        const ExportSegment* of = nullptr;
        std::unique_ptr<OverlayReel> reel;
        // The one in `image`, which is null where nothing lies over the frame.
        std::int64_t index = -1;
        std::shared_ptr<gpu::Texture> image;
        // Where it is not transparent: of the whole frame, and of the shader's picture.
        QRect bounds;
        QRect overPicture;
    };
    std::expected<void, ExportError> showOverlay(std::int64_t frame);
    void prepareNextOverlays(std::int64_t frame);
    bool reachesMark(const FrameLayout::Rectangle& picture) const;

    std::unique_ptr<OverlayQuad> overlay_;
    Overlays shown_;
    // The next segment's, whose first images are painted before its time.
    Overlays next_;
    // By texture: the overlay, and the segment, of the frame that was drawn into it last. What lies outside of the
    // shader's picture need not be drawn again.
    std::map<const gpu::Texture*, std::pair<const ExportSegment*, std::int64_t>> drawn_;
    std::unique_ptr<Watermark> mark_;
    std::unique_ptr<ShaderRun> run_;
    const ExportSegment* runOf_ = nullptr;
};

} // namespace glasshob
