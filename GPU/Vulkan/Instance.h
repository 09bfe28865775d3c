// The process's Vulkan instance: made at first use, kept to the end of the process (windows hold on to it). Any thread.
// Fails when there is no driver, and tries again at the next call.
//
// The CPU driver draws everything of one instance with the same threads. Where a frame keeps those for long, a further
// instance has threads of its own; instances are used again, so there are as many as were busy at the same time.
#pragma once

#include "GPU/Device.h"
#include "GPU/Error.h"

#include <atomic>
#include <vector>
#include <vulkan/vulkan.h>

namespace gpu::vulkan {

struct Instance {
    VkInstance handle = VK_NULL_HANDLE;
    VkDebugUtilsMessengerEXT messenger = VK_NULL_HANDLE;
    bool canPresent = false;
    // Alive on this instance.
    std::atomic<int> deviceCount = 0;

    static Result<Instance*> shared();
    // Makes the one that shared() gives on a thread of its own.
    static void prepareShared();
    // One on which there is no device.
    static Result<Instance*> unused();
};

struct PhysicalDevice {
    VkPhysicalDevice handle = VK_NULL_HANDLE;
    Instance* instance = nullptr;
    std::uint32_t queueFamily = 0;
    std::uint32_t queueCount = 1; // queues of that family
    DeviceInfo info;
};

// In the order of preference; the unusable ones last.
Result<std::vector<PhysicalDevice>> physicalDevices(Instance& instance);

// The usable device that $GLASSHOB_DEVICE or the order of preference names.
Result<PhysicalDevice> choosePhysicalDevice(Instance& instance);

} // namespace gpu::vulkan
