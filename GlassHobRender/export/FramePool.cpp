#include "GlassHobRender/export/FramePool.h"

#include "GPU/Device.h"
#include "GPU/Texture.h"

#include <chrono>

namespace glasshob {

FramePool::FramePool(std::shared_ptr<gpu::Device> device, std::int64_t width, std::int64_t height, std::size_t limit)
    : device_(std::move(device)), width_(std::uint32_t(width)), height_(std::uint32_t(height)), limit_(limit) {}

FramePool::~FramePool() = default;

std::shared_ptr<gpu::Texture> FramePool::take(const std::function<bool()>& givesUp) {
    std::unique_lock guard(lock_);
    while (free_.empty() && made_ >= limit_) {
        if (givesUp()) return nullptr;
        back_.wait_for(guard, std::chrono::milliseconds(50));
    }
    if (!free_.empty()) {
        auto texture = std::move(free_.back());
        free_.pop_back();
        return texture;
    }
    auto texture = device_->makeTexture({.width = width_,
                                         .height = height_,
                                         .storage = gpu::StorageMode::shared,
                                         .usage = {.shaderRead = false, .renderTarget = true}});
    if (!texture) return nullptr;
    ++made_;
    return *texture;
}

void FramePool::giveBack(std::shared_ptr<gpu::Texture> texture) {
    const std::lock_guard guard(lock_);
    free_.push_back(std::move(texture));
    back_.notify_all();
}

} // namespace glasshob
