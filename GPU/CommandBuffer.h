// One recording of GPU work, used by one thread at a time and once: record with encoders, commit(), then wait for it or
// drop it. Made by CommandQueue::commandBuffer().
//
// Everything that the recording uses is held alive until the GPU has finished with it, also when every other owner lets
// go. Encoders belong to the command buffer: the pointer is good until endEncoding(), and one encoder is open at a
// time. Work of one encoder sees what earlier encoders and earlier commits wrote: the layer places every barrier.
#pragma once

#include "GPU/Error.h"
#include "GPU/Types.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace gpu {

class ComputeCommandEncoder;
class Drawable;
class RenderCommandEncoder;
class Texture;

enum class CommandBufferStatus : std::uint8_t { notCommitted, committed, completed, error };

struct RenderPassColorAttachment {
    std::shared_ptr<Texture> texture;
    std::shared_ptr<Texture> resolveTexture = nullptr; // with StoreAction::multisampleResolve
    LoadAction loadAction = LoadAction::dontCare;      // dontCare when every texel is drawn over: a clear is not free
    StoreAction storeAction = StoreAction::store;
    ClearColor clearColor = {};
};

struct RenderPassDepthAttachment {
    std::shared_ptr<Texture> texture;
    LoadAction loadAction = LoadAction::clear;
    StoreAction storeAction = StoreAction::dontCare;
    double clearDepth = 1.0;
};

// At least one attachment; all attachments of one size.
struct RenderPassDescriptor {
    std::array<RenderPassColorAttachment, 4> colorAttachments;
    RenderPassDepthAttachment depthAttachment;
};

class CommandBuffer : public std::enable_shared_from_this<CommandBuffer> {
  public:
    // Null when the device is lost, memory ran out, the descriptor is not usable, or another encoder is still open.
    RenderCommandEncoder* makeRenderCommandEncoder(const RenderPassDescriptor& descriptor);
    ComputeCommandEncoder* makeComputeCommandEncoder();

    // Shows the drawable once the GPU has drawn it. Before commit().
    void presentDrawable(std::shared_ptr<Drawable> drawable);

    // `handler` runs once when the work has finished or failed, on a thread of the device, which also serves every
    // other handler: keep it short. Before commit().
    void addCompletedHandler(std::function<void(CommandBuffer&)> handler);

    // Hands the work to the GPU; does not wait for it (a background queue may, see CommandQueue). An encoder left open
    // is ended.
    void commit();

    // Blocks until the work has finished or failed. Returns at once when it was never committed.
    void waitUntilCompleted();
    // The same, given up after a while: status() is still `committed` then.
    void waitUntilCompleted(std::chrono::milliseconds atMost);

    // Asks the device; never blocks.
    CommandBufferStatus status() const;

    // Why the status is `error`.
    Error error() const;

    ~CommandBuffer();
    struct Impl;
    explicit CommandBuffer(std::unique_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }

  private:
    std::unique_ptr<Impl> impl_;
};

} // namespace gpu
