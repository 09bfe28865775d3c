// Runs handlers once the device's timeline has reached their values, in the order of the values. One thread per device,
// made at the first handler.
//
// A handler may drop the last reference to the device: the destructor then runs on this very thread and lets it end by
// itself.
#pragma once

#include "GPU/Vulkan/VulkanDevice.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace gpu::vulkan {

class CompletionThread {
  public:
    CompletionThread();
    ~CompletionThread();
    void add(std::shared_ptr<VulkanDevice> device, std::uint64_t value, std::function<void()> handler);

  private:
    struct Entry {
        std::shared_ptr<VulkanDevice> device;
        std::function<void()> handler;
    };
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        std::multimap<std::uint64_t, Entry> entries; // by timeline value
        bool isStopping = false;
    };
    static void run(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state;
    std::thread thread;
};

} // namespace gpu::vulkan
