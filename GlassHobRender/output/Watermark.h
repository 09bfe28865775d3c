#pragma once

// The Hob mark over a frame: a small glowing arch, drawn by a fragment shader, so that it is sharp at every size.
// Made once for an export and used by its thread. The constructor compiles and throws std::runtime_error with the
// compiler's or the device's message.

#include "GPU/Types.h"

#include <memory>

namespace gpu {
class Device;
class RenderCommandEncoder;
class RenderPipelineState;
} // namespace gpu

namespace glasshob {

// What both stages of the mark read, at buffer 0.
struct WMUniforms {
    // The lower left corner in pixels of the target, y upward; then the side of the square, and nothing.
    float rect[4] = {};
    // In pixels.
    float target[2] = {};
    // Of the premultiplied colour.
    float opacity = 1;
    float pad = 0;
};
static_assert(sizeof(WMUniforms) == 32);

class Watermark {
  public:
    Watermark(const std::shared_ptr<gpu::Device>& device, gpu::PixelFormat pixelFormat);

    const std::shared_ptr<gpu::RenderPipelineState>& pipeline() const { return pipeline_; }

    // Into the encoder's pass, over what is there. `rect` is corner and side, as WatermarkPlacement gives them.
    void draw(gpu::RenderCommandEncoder& encoder, const float (&rect)[3], float width, float height,
              float opacity) const;

  private:
    std::shared_ptr<gpu::RenderPipelineState> pipeline_;
};

} // namespace glasshob
