#pragma once

// Textures of one size in memory that the CPU sees, which circulate between the thread that draws frames and the one
// that reads them: a frame is drawn where it is read, without a copy. take() is for one thread, giveBack() for any.

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace gpu {
class Device;
class Texture;
} // namespace gpu

namespace glasshob {

class FramePool {
  public:
    // At most `limit` textures, made as they are needed.
    FramePool(std::shared_ptr<gpu::Device> device, std::int64_t width, std::int64_t height, std::size_t limit = 5);
    ~FramePool();
    FramePool(const FramePool&) = delete;
    FramePool& operator=(const FramePool&) = delete;

    // Waits for one to come back where all are out. Null when none can be made, or when `givesUp` says so while it
    // waits.
    std::shared_ptr<gpu::Texture> take(const std::function<bool()>& givesUp);
    void giveBack(std::shared_ptr<gpu::Texture> texture);

  private:
    std::shared_ptr<gpu::Device> device_;
    std::uint32_t width_, height_;
    std::size_t limit_;
    std::mutex lock_;
    std::condition_variable back_;
    std::vector<std::shared_ptr<gpu::Texture>> free_;
    std::size_t made_ = 0;
};

} // namespace glasshob
