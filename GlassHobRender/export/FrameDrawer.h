#pragma once

// Draws the frames of a timeline, one after another, each into a texture: the picture with its particles or its grid,
// overlays, and the Hob mark. Used by one thread, which it blocks while the GPU works.

#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobRender/export/ExportSegment.h"
#include "GlassHobRender/formats/ExportError.h"

#include <expected>
#include <functional>
#include <memory>
#include <stop_token>

namespace gpu {
class CommandQueue;
class Device;
class Texture;
} // namespace gpu

namespace glasshob {

class OverlayQuad;
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

    // `texture` is of the preset's size and bgra8Unorm; the frame is complete when this returns. Frames of a particle
    // shader are drawn in rising order; the first one may be any and looks as if all before had been drawn.
    std::expected<void, ExportError> draw(std::int64_t frame, const std::shared_ptr<gpu::Texture>& texture);

  private:
    const ExportTimeline& timeline_;
    ExportPreset preset_;
    std::shared_ptr<gpu::Device> device_;
    std::stop_token stop_;
    CatchUp catchUp_;
    std::shared_ptr<gpu::CommandQueue> queue_;
    std::unique_ptr<OverlayQuad> overlay_;
    std::unique_ptr<Watermark> mark_;
    std::unique_ptr<ShaderRun> run_;
    const ExportSegment* runOf_ = nullptr;
};

} // namespace glasshob
