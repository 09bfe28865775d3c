#pragma once

// The slider values as the argument that a shader's functions take, whatever their number: inline bytes, or where these
// are too many a buffer, filled once. For the commands of one frame; used by the thread that records them.

#include <cstdint>
#include <memory>
#include <vector>

namespace gpu {
class Buffer;
class ComputeCommandEncoder;
class Device;
class RenderCommandEncoder;
} // namespace gpu

namespace glasshob {

class ParameterArgument {
  public:
    // Where there is no memory for a buffer, the functions read zeros.
    ParameterArgument(gpu::Device& device, std::vector<float> values);
    ~ParameterArgument();

    void setVertex(gpu::RenderCommandEncoder& encoder, std::uint32_t index) const;
    void setFragment(gpu::RenderCommandEncoder& encoder, std::uint32_t index) const;
    void setKernel(gpu::ComputeCommandEncoder& encoder, std::uint32_t index) const;

  private:
    std::size_t length() const { return values_.size() * sizeof(float); }

    std::vector<float> values_;
    std::shared_ptr<gpu::Buffer> buffer_; // null: inline
};

} // namespace glasshob
