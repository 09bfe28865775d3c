// A picture that is drawn smaller than it is shown: the texture it is drawn into, and the pass that stretches it over
// the frame. Main thread; owned by the live picture.
#pragma once

#include <cstdint>
#include <memory>

namespace gpu {
class CommandBuffer;
class Device;
class RenderCommandEncoder;
class Texture;
} // namespace gpu

namespace glasshob {

class OverlayQuad;

class ScaledPicture {
  public:
    ScaledPicture();
    ~ScaledPicture();

    // What to draw into; null where it cannot be made. The last one is used again while the size is the same.
    std::shared_ptr<gpu::Texture> target(gpu::Device& device, std::uint32_t width, std::uint32_t height);
    // Over all of the encoder's target.
    void draw(gpu::RenderCommandEncoder& encoder, const std::shared_ptr<gpu::Device>& device);
    // Releases the textures: nothing is scaled any more, or there is another device.
    void reset();

  private:
    std::shared_ptr<gpu::Texture> texture_;
    std::unique_ptr<OverlayQuad> pipeline_;
};

} // namespace glasshob
