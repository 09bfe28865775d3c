// An order of execution: command buffers of one queue run in the order of their commits. Made by
// Device::makeCommandQueue(). May be used from any thread; every queue of a device feeds the same hardware queue, so
// pieces of a long work should be committed one by one rather than as one large command buffer: a live frame then waits
// for one piece at most. A background queue helps with that: its command buffers' commit() waits while two
// of them are unfinished.
#pragma once

#include "GPU/Device.h"

#include <memory>

namespace gpu {

class CommandBuffer;

class CommandQueue : public std::enable_shared_from_this<CommandQueue> {
  public:
    // Null when the device is lost or out of memory.
    std::shared_ptr<CommandBuffer> commandBuffer();
    const std::shared_ptr<Device>& device() const;

    ~CommandQueue();
    struct Impl;
    explicit CommandQueue(std::unique_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }

  private:
    std::unique_ptr<Impl> impl_;
};

} // namespace gpu
