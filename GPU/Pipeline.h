// Pipeline states: what a draw or a dispatch runs, fixed at creation. Immutable; shared; any thread.
//
// Making a pipeline may compile for the hardware and take from under a millisecond to a second, depending on the
// driver. The CPU driver compiles at the first draw instead; see PipelineWarmer.
#pragma once

#include "GPU/Library.h"
#include "GPU/Types.h"

#include <array>
#include <memory>
#include <string>

namespace gpu {

struct ColorAttachmentDescriptor {
    PixelFormat format = PixelFormat::invalid; // invalid: the attachment is not used
    bool blendingEnabled = false;              // operation: add
    BlendFactor sourceRGB = BlendFactor::one;
    BlendFactor destinationRGB = BlendFactor::zero;
    BlendFactor sourceAlpha = BlendFactor::one;
    BlendFactor destinationAlpha = BlendFactor::zero;
};

inline constexpr std::size_t maxColorAttachments = 4;

struct RenderPipelineDescriptor {
    std::shared_ptr<Function> vertexFunction;
    std::shared_ptr<Function> fragmentFunction;
    std::array<ColorAttachmentDescriptor, maxColorAttachments> colorAttachments{};
    PixelFormat depthFormat = PixelFormat::invalid;
    std::uint32_t rasterSampleCount = 1;
    PrimitiveTopologyClass inputPrimitiveTopology = PrimitiveTopologyClass::unspecified; // unspecified: triangles
    std::string label;
};

class RenderPipelineState {
  public:
    ~RenderPipelineState();
    struct Impl;
    explicit RenderPipelineState(std::unique_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }

  private:
    std::unique_ptr<Impl> impl_;
};

class ComputePipelineState {
  public:
    Size threadsPerThreadgroup() const;
    std::uint32_t maxTotalThreadsPerThreadgroup() const; // the device's limit

    ~ComputePipelineState();
    struct Impl;
    explicit ComputePipelineState(std::unique_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }

  private:
    std::unique_ptr<Impl> impl_;
};

struct DepthStencilDescriptor {
    CompareFunction depthCompare = CompareFunction::always;
    bool depthWriteEnabled = false;
};

class DepthStencilState {
  public:
    const DepthStencilDescriptor& descriptor() const { return descriptor_; }
    explicit DepthStencilState(const DepthStencilDescriptor& descriptor) : descriptor_(descriptor) {}

  private:
    DepthStencilDescriptor descriptor_;
};

} // namespace gpu
