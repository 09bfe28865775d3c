#pragma once

// The pictures that a grid is drawn into: four samples a pixel of colour and depth, and the resolved picture that the
// picture pass samples. Cleared with every frame. make() gives null when a side is below 1 or there is no memory.

#include "GPU/Texture.h"

#include <cstdint>
#include <memory>

namespace gpu {
class Device;
}

namespace glasshob {

struct MeshTarget {
    std::shared_ptr<gpu::Texture> color;
    std::shared_ptr<gpu::Texture> depth;
    std::shared_ptr<gpu::Texture> resolved;

    static std::unique_ptr<MeshTarget> make(gpu::Device& device, std::int64_t width, std::int64_t height);
};

} // namespace glasshob
