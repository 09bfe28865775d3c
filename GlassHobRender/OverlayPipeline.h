#pragma once

// Pipelines that lay something premultiplied over a frame: the Hob mark, and full-frame images. Compiled from shader
// text of the program's own. Any thread; throws std::runtime_error with the message of what failed.

#include "GPU/Types.h"

#include <memory>

namespace gpu {
class Device;
class RenderPipelineState;
} // namespace gpu

namespace glasshob {

std::shared_ptr<gpu::RenderPipelineState> makeOverlayPipeline(const std::shared_ptr<gpu::Device>& device,
                                                              const char* source, const char* vertexName,
                                                              const char* fragmentName, gpu::PixelFormat pixelFormat);

/// A texture over the whole target, upright, linearly filtered: fragment texture 0, a triangle strip of four vertices.
class OverlayQuad {
  public:
    OverlayQuad(const std::shared_ptr<gpu::Device>& device, gpu::PixelFormat pixelFormat);
    const std::shared_ptr<gpu::RenderPipelineState> pipeline;
};

} // namespace glasshob
