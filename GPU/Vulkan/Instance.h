// The process's one Vulkan instance: made at first use, kept to the end of the process (windows hold on to it). Any
// thread. Fails when there is no driver, and tries again at the next call.
#pragma once

#include "GPU/Device.h"
#include "GPU/Error.h"

#include <vector>
#include <vulkan/vulkan.h>

namespace gpu::vulkan {

struct Instance {
    VkInstance handle = VK_NULL_HANDLE;
    VkDebugUtilsMessengerEXT messenger = VK_NULL_HANDLE;
    bool canPresent = false;

    static Result<Instance*> shared();
};

struct PhysicalDevice {
    VkPhysicalDevice handle = VK_NULL_HANDLE;
    std::uint32_t queueFamily = 0;
    std::uint32_t queueCount = 1; // queues of that family
    DeviceInfo info;
};

// In the order of preference; the unusable ones last.
Result<std::vector<PhysicalDevice>> physicalDevices();

// The usable device that $GLASSHOB_DEVICE or the order of preference names.
Result<PhysicalDevice> choosePhysicalDevice();

} // namespace gpu::vulkan
