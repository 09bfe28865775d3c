// The one way to call Vulkan where the call can fail: with its purpose, so that a failure becomes a sentence, a lost
// device is noticed, and a test can make exactly this call fail. Any thread.
#pragma once

#include "GPU/Error.h"

#include <atomic>
#include <string>
#include <string_view>
#include <vulkan/vulkan.h>

namespace gpu::vulkan {

// Set while a test injects faults or records purposes; the usual path costs one relaxed load.
extern std::atomic<bool> faultsWatched;

// The result to report instead of making the call, or VK_SUCCESS to make it.
VkResult injectedResult(std::string_view purpose);

Error makeError(VkResult result, std::string_view purpose);

// Returns the call's result, or the injected one.
template <class Call>
VkResult attempt(std::string_view purpose, Call&& call) {
    if (faultsWatched.load(std::memory_order_relaxed))
        if (VkResult injected = injectedResult(purpose); injected != VK_SUCCESS) return injected;
    return call();
}

} // namespace gpu::vulkan
