#pragma once

// The sound of a timeline, one video frame's worth of samples at a time, with the whole's beginning and end faded: in
// over 20 ms, out over 300 ms. Used by one thread, which it blocks while the GPU works.

#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobRender/export/ExportSegment.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace gpu {
class Buffer;
class CommandQueue;
class Device;
} // namespace gpu

namespace glasshob {

class ExportSound {
  public:
    static constexpr std::int64_t sampleRate = ShaderAssembler::soundSampleRate;

    // `timeline` and its segments outlive this; its frame rate divides the sample rate. Throws ExportError (setup).
    ExportSound(const ExportTimeline& timeline, const std::shared_ptr<gpu::Device>& device);

    std::int64_t samplesPerFrame() const { return samplesPerFrame_; }

    // Interleaved left and right of one frame; silence where its segment is not heard. False when the GPU fails.
    bool render(std::int64_t frame, std::vector<float>& samples);

  private:
    bool evaluate(std::int64_t frame, std::vector<float>& samples);
    void fadeEdges(std::int64_t frame, std::vector<float>& samples) const;

    const ExportTimeline& timeline_;
    std::int64_t samplesPerFrame_;
    std::shared_ptr<gpu::CommandQueue> queue_;
    std::shared_ptr<gpu::Buffer> buffer_;
};

} // namespace glasshob
