// Encoders record the draws of one render pass, or a run of compute dispatches, into a command buffer. They belong to
// their command buffer and to the thread that records it.
//
// Arguments stay set from draw to draw. Inline bytes are copied at the call (up to maxInlineBytes; more is ignored).
// A buffer that the functions expect and that was not set reads as zeros. A draw that lacks its pipeline, a texture or
// a sampler does nothing, and so does a dispatch. Offsets into buffers are multiples of 256.
#pragma once

#include "GPU/Types.h"

#include <cstddef>
#include <memory>

namespace gpu {

class Buffer;
class ComputePipelineState;
class DepthStencilState;
class RenderPipelineState;
class SamplerState;
class Texture;
struct CommandBufferImpl;

class RenderCommandEncoder {
  public:
    void setRenderPipelineState(const std::shared_ptr<RenderPipelineState>& pipeline);
    void setDepthStencilState(const std::shared_ptr<DepthStencilState>& state);
    void setCullMode(CullMode mode);
    void setFrontFacing(Winding winding);
    void setViewport(const Viewport& viewport);   // default: the whole target
    void setScissorRect(const Region& rectangle); // default: the whole target

    void setVertexBuffer(const std::shared_ptr<Buffer>& buffer, std::size_t offset, std::uint32_t index);
    void setVertexBytes(const void* bytes, std::size_t length, std::uint32_t index);
    void setVertexTexture(const std::shared_ptr<Texture>& texture, std::uint32_t index);
    void setVertexSamplerState(const std::shared_ptr<SamplerState>& sampler, std::uint32_t index);
    void setFragmentBuffer(const std::shared_ptr<Buffer>& buffer, std::size_t offset, std::uint32_t index);
    void setFragmentBytes(const void* bytes, std::size_t length, std::uint32_t index);
    void setFragmentTexture(const std::shared_ptr<Texture>& texture, std::uint32_t index);
    void setFragmentSamplerState(const std::shared_ptr<SamplerState>& sampler, std::uint32_t index);

    void drawPrimitives(PrimitiveType type, std::uint32_t vertexStart, std::uint32_t vertexCount,
                        std::uint32_t instanceCount = 1);
    // As above with counts that the GPU has written: four uints at `offset` (a multiple of 4): vertex count, instance
    // count, first vertex, first instance.
    void drawPrimitives(PrimitiveType type, const std::shared_ptr<Buffer>& counts, std::size_t offset);
    void endEncoding();

    explicit RenderCommandEncoder(CommandBufferImpl& commands) : commands_(commands) {}
    RenderCommandEncoder(const RenderCommandEncoder&) = delete;
    RenderCommandEncoder& operator=(const RenderCommandEncoder&) = delete;

  private:
    CommandBufferImpl& commands_;
};

class ComputeCommandEncoder {
  public:
    void setComputePipelineState(const std::shared_ptr<ComputePipelineState>& pipeline);
    void setBuffer(const std::shared_ptr<Buffer>& buffer, std::size_t offset, std::uint32_t index);
    void setBytes(const void* bytes, std::size_t length, std::uint32_t index);
    void setTexture(const std::shared_ptr<Texture>& texture, std::uint32_t index);
    void setSamplerState(const std::shared_ptr<SamplerState>& sampler, std::uint32_t index);

    // Runs at least `grid` threads: the grid is rounded up to whole threadgroups of the pipeline, so a kernel checks
    // its position against the count it was given. Dispatches of one encoder run one after another.
    void dispatchThreads(Size grid);
    void endEncoding();

    explicit ComputeCommandEncoder(CommandBufferImpl& commands) : commands_(commands) {}
    ComputeCommandEncoder(const ComputeCommandEncoder&) = delete;
    ComputeCommandEncoder& operator=(const ComputeCommandEncoder&) = delete;

  private:
    CommandBufferImpl& commands_;
};

} // namespace gpu
