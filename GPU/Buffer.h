// A run of device memory. Made by Device::makeBuffer(); its content is undefined until written.
//
// A shared buffer's contents() may be read and written at any time by any thread; the caller waits for the command
// buffers that use it (the GPU's writes are visible after CommandBuffer::waitUntilCompleted()). A private buffer has no
// contents(). Command buffers hold the buffers they use until they finish.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace gpu {

class Buffer {
  public:
    std::size_t length() const;
    void* contents() const; // null for a private buffer
    // Where it lies for functions that reach memory by address; 0 on a device that has none.
    std::uint64_t address() const;

    ~Buffer();
    struct Impl;
    explicit Buffer(std::unique_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }

  private:
    std::unique_ptr<Impl> impl_;
};

} // namespace gpu
