#include "GPU/Vulkan/CompletionThread.h"

namespace gpu::vulkan {

CompletionThread::CompletionThread() : state(std::make_shared<State>()) {
    thread = std::thread([shared = state] { run(shared); });
}

CompletionThread::~CompletionThread() {
    {
        const std::lock_guard lock(state->mutex);
        state->isStopping = true;
    }
    state->changed.notify_all();
    if (thread.get_id() == std::this_thread::get_id())
        thread.detach();
    else
        thread.join();
}

void CompletionThread::add(std::shared_ptr<VulkanDevice> device, std::uint64_t value, std::function<void()> handler) {
    {
        const std::lock_guard lock(state->mutex);
        state->entries.emplace(value, Entry{std::move(device), std::move(handler)});
    }
    state->changed.notify_all();
}

void CompletionThread::run(const std::shared_ptr<State>& state) {
    while (true) {
        std::uint64_t value = 0;
        Entry entry;
        {
            std::unique_lock lock(state->mutex);
            state->changed.wait(lock, [&] { return state->isStopping || !state->entries.empty(); });
            if (state->entries.empty()) return;
            value = state->entries.begin()->first;
            entry = std::move(state->entries.begin()->second);
            state->entries.erase(state->entries.begin());
        }
        entry.device->wait(value);
        entry.handler();
        entry.handler = nullptr;
        entry.device.reset(); // may be the last reference, and end this thread's owner
    }
}

} // namespace gpu::vulkan
