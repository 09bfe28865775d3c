#pragma once

// Lays premultiplied images over parts of a frame, pixel on pixel. Compiled from shader text of the program's own; any
// thread; the constructor throws std::runtime_error with the message of what failed.

#include "GPU/Types.h"

#include <memory>

namespace gpu {
class Device;
class RenderCommandEncoder;
class RenderPipelineState;
class Texture;
} // namespace gpu

namespace glasshob {

class ImageOverlay {
  public:
    /// For targets of this format.
    ImageOverlay(const std::shared_ptr<gpu::Device>& device, gpu::PixelFormat pixelFormat);

    /// The image's upper left corner lies at (left, top) of the target, in pixels; it may reach over the edges.
    /// `opacity` is 0 to 1. Leaves the encoder's viewport at the image's place.
    void draw(gpu::RenderCommandEncoder& encoder, const std::shared_ptr<gpu::Texture>& image, int left, int top,
              float opacity) const;

  private:
    std::shared_ptr<gpu::RenderPipelineState> pipeline_;
};

} // namespace glasshob
