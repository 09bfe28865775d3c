// Gets a new pipeline's compiling out of the live picture's way.
//
// The CPU driver compiles a shader for real at its first draw, in the thread that also draws the live picture, which
// then stands still for 30 to 90 ms. A warmer draws the new pipelines once at 8×8 on a device of its own, in a thread
// of its own; the driver's disk cache then has the code, and the live device's first draw is short. Until the handler
// runs, the live picture keeps drawing the old program. On a real GPU the driver compiles when the pipeline is made, so
// warm() calls the handler at once.
//
// Only the newest request counts: one that has not begun when the next arrives is dropped (its handler gets
// WarmResult::superseded). A shader may take a driver many seconds: the next one is then warmed beside it, by a few
// threads at most. The destructor drops waiting requests and waits for those at work, so what must not wait ends a
// warmer on a thread of its own.
#pragma once

#include "GPU/Pipeline.h"

#include <functional>
#include <memory>
#include <vector>

namespace gpu {

class Device;

enum class WarmResult : std::uint8_t { ready, superseded, failed };

// The pipelines of one new picture. Their functions see buffers of zeros.
struct WarmWork {
    struct Draw {
        std::shared_ptr<RenderPipelineState> pipeline;
        PixelFormat sampled = PixelFormat::bgra8Unorm; // of the two-dimensional textures that it samples
        std::shared_ptr<DepthStencilState> depthState = nullptr;
    };
    std::vector<Draw> draws;
    std::vector<std::shared_ptr<ComputePipelineState>> kernels;
};

class PipelineWarmer {
  public:
    // For pipelines of `device`. Cheap: the second device is made at the first request.
    explicit PipelineWarmer(std::shared_ptr<Device> device);
    ~PipelineWarmer();

    // Whether warming does anything on this device; when not, handlers run inside warm().
    bool isUseful() const;

    // `handler` runs once, on the warmer's thread (or inside the call, see isUseful()); hand over to your own thread
    // from it.
    void warm(WarmWork work, std::function<void(WarmResult)> handler);

    // Whether any warmer of the process is at work. A process must not run its ordinary end during that: that would
    // take the driver away under the work.
    static bool isAnyAtWork();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace gpu
