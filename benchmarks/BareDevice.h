// What the bare programs begin with: a Vulkan device with one queue and one command buffer, and memory. It shares
// nothing with the GPU layer. Every failure ends the process with status 2.
#pragma once

#include <functional>
#include <vulkan/vulkan.h>

namespace bench {

void check(VkResult result, const char* what);

template <class Info>
Info make(VkStructureType type) {
    Info info{};
    info.sType = type;
    return info;
}

class BareDevice {
  public:
    // The device of that name, with scalar block layout, dynamic rendering and large points.
    explicit BareDevice(const char* name);
    ~BareDevice(); // what was made with it is gone by then
    BareDevice(const BareDevice&) = delete;
    BareDevice& operator=(const BareDevice&) = delete;

    VkDevice handle() const { return device_; }
    // Of the first type that has these properties.
    VkDeviceMemory allocate(const VkMemoryRequirements& requirements, VkMemoryPropertyFlags flags) const;
    // Records, submits and waits.
    void submit(const std::function<void(VkCommandBuffer)>& record);

  private:
    VkInstance instance_ = VK_NULL_HANDLE;
    VkPhysicalDevice physical_ = VK_NULL_HANDLE;
    VkDevice device_ = VK_NULL_HANDLE;
    VkQueue queue_ = VK_NULL_HANDLE;
    VkCommandPool pool_ = VK_NULL_HANDLE;
    VkCommandBuffer commands_ = VK_NULL_HANDLE;
    VkFence fence_ = VK_NULL_HANDLE;
};

} // namespace bench
