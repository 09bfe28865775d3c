#pragma once

// Frames of a film as images in memory, for the small pictures that a window shows: the shader, what lies over it, and
// the mark.
//
// One thread at a time uses it, which it blocks while the GPU works: not the thread that a window lives on.

#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobRender/export/ExportSegment.h"
#include "GlassHobRender/formats/ExportError.h"

#include <QImage>
#include <QSize>

#include <cstdint>
#include <expected>
#include <memory>
#include <stop_token>
#include <vector>

namespace gpu {
class Texture;
}

namespace glasshob {

class FrameDrawer;

class FrameImages {
  public:
    // `size` in pixels, at least one each way; all programs that are there have one device. `stop` ends what takes
    // long: the way of particles up to a frame.
    FrameImages(std::vector<ExportSegment> segments, QSize size, std::int64_t fps, std::stop_token stop = {});
    ~FrameImages();
    FrameImages(const FrameImages&) = delete;
    FrameImages& operator=(const FrameImages&) = delete;

    const ExportTimeline& timeline() const { return timeline_; }

    // In any order, though going on from the frame before is quickest. Fails where its segment has no program.
    std::expected<QImage, ExportError> at(std::int64_t frame);

  private:
    ExportPreset preset_;
    std::vector<ExportSegment> segments_;
    ExportTimeline timeline_;
    std::stop_token stop_;
    std::shared_ptr<gpu::Texture> texture_;
    std::unique_ptr<FrameDrawer> drawer_;
    std::int64_t last_ = -1;
};

} // namespace glasshob
