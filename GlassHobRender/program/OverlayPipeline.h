#pragma once

// Pipelines that lay something premultiplied over a frame: the Hob mark, and full-frame images. Compiled from shader
// text of the program's own. Any thread; throws std::runtime_error with the message of what failed.

#include "GPU/Types.h"

#include <memory>

namespace gpu {
class Device;
class RenderCommandEncoder;
class RenderPipelineState;
class Texture;
} // namespace gpu

namespace glasshob {

// Whether what is drawn lies over what is there by its alpha, or takes its place.
enum class QuadBlend : bool { over, none };

std::shared_ptr<gpu::RenderPipelineState> makeOverlayPipeline(const std::shared_ptr<gpu::Device>& device,
                                                              const char* source, const char* vertexName,
                                                              const char* fragmentName, gpu::PixelFormat pixelFormat,
                                                              QuadBlend blend = QuadBlend::over);

// Lays a texture over the encoder's viewport, upright, linearly filtered: texel on pixel where they are of one size.
class OverlayQuad {
  public:
    OverlayQuad(const std::shared_ptr<gpu::Device>& device, gpu::PixelFormat pixelFormat,
                QuadBlend blend = QuadBlend::over);

    // `opacity` is 0 to 1.
    void draw(gpu::RenderCommandEncoder& encoder, const std::shared_ptr<gpu::Texture>& image, float opacity = 1) const;

  private:
    std::shared_ptr<gpu::RenderPipelineState> pipeline_;
};

} // namespace glasshob
