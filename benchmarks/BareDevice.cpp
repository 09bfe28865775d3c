#include "benchmarks/BareDevice.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace bench {

void check(VkResult result, const char* what) {
    if (result == VK_SUCCESS) return;
    std::fprintf(stderr, "The bare program failed while %s (%d).\n", what, int(result));
    std::exit(2);
}

BareDevice::BareDevice(const char* name) {
    auto application = make<VkApplicationInfo>(VK_STRUCTURE_TYPE_APPLICATION_INFO);
    application.apiVersion = VK_API_VERSION_1_3;
    auto instanceInfo = make<VkInstanceCreateInfo>(VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO);
    instanceInfo.pApplicationInfo = &application;
    check(vkCreateInstance(&instanceInfo, nullptr, &instance_), "starting Vulkan");
    std::uint32_t count = 0;
    vkEnumeratePhysicalDevices(instance_, &count, nullptr);
    std::vector<VkPhysicalDevice> all(count);
    vkEnumeratePhysicalDevices(instance_, &count, all.data());
    for (VkPhysicalDevice candidate : all) {
        VkPhysicalDeviceProperties properties;
        vkGetPhysicalDeviceProperties(candidate, &properties);
        if (physical_ == VK_NULL_HANDLE && std::string_view(properties.deviceName) == name) physical_ = candidate;
    }
    if (physical_ == VK_NULL_HANDLE) check(VK_ERROR_INITIALIZATION_FAILED, "looking for the device");

    auto vulkan12 = make<VkPhysicalDeviceVulkan12Features>(VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_2_FEATURES);
    vulkan12.scalarBlockLayout = VK_TRUE;
    auto vulkan13 = make<VkPhysicalDeviceVulkan13Features>(VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_FEATURES);
    vulkan13.dynamicRendering = VK_TRUE;
    vulkan13.pNext = &vulkan12;
    VkPhysicalDeviceFeatures features{};
    features.largePoints = VK_TRUE;
    const float priority = 1;
    auto queueInfo = make<VkDeviceQueueCreateInfo>(VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO);
    queueInfo.queueCount = 1;
    queueInfo.pQueuePriorities = &priority;
    auto deviceInfo = make<VkDeviceCreateInfo>(VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO);
    deviceInfo.pNext = &vulkan13;
    deviceInfo.queueCreateInfoCount = 1;
    deviceInfo.pQueueCreateInfos = &queueInfo;
    deviceInfo.pEnabledFeatures = &features;
    check(vkCreateDevice(physical_, &deviceInfo, nullptr, &device_), "opening the device");
    vkGetDeviceQueue(device_, 0, 0, &queue_);

    auto poolInfo = make<VkCommandPoolCreateInfo>(VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO);
    poolInfo.flags = VK_COMMAND_POOL_CREATE_RESET_COMMAND_BUFFER_BIT;
    check(vkCreateCommandPool(device_, &poolInfo, nullptr, &pool_), "creating a command pool");
    auto commandsInfo = make<VkCommandBufferAllocateInfo>(VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO);
    commandsInfo.commandPool = pool_;
    commandsInfo.commandBufferCount = 1;
    check(vkAllocateCommandBuffers(device_, &commandsInfo, &commands_), "creating a command buffer");
    const auto fenceInfo = make<VkFenceCreateInfo>(VK_STRUCTURE_TYPE_FENCE_CREATE_INFO);
    check(vkCreateFence(device_, &fenceInfo, nullptr, &fence_), "creating a fence");
}

BareDevice::~BareDevice() {
    vkDestroyFence(device_, fence_, nullptr);
    vkDestroyCommandPool(device_, pool_, nullptr);
    vkDestroyDevice(device_, nullptr);
    vkDestroyInstance(instance_, nullptr);
}

VkDeviceMemory BareDevice::allocate(const VkMemoryRequirements& requirements, VkMemoryPropertyFlags flags) const {
    VkPhysicalDeviceMemoryProperties properties;
    vkGetPhysicalDeviceMemoryProperties(physical_, &properties);
    auto info = make<VkMemoryAllocateInfo>(VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO);
    info.allocationSize = requirements.size;
    while (info.memoryTypeIndex < properties.memoryTypeCount &&
           ((requirements.memoryTypeBits & (1U << info.memoryTypeIndex)) == 0 ||
            (properties.memoryTypes[info.memoryTypeIndex].propertyFlags & flags) != flags))
        ++info.memoryTypeIndex;
    VkDeviceMemory memory = VK_NULL_HANDLE;
    check(vkAllocateMemory(device_, &info, nullptr, &memory), "allocating memory");
    return memory;
}

void BareDevice::submit(const std::function<void(VkCommandBuffer)>& record) {
    auto begin = make<VkCommandBufferBeginInfo>(VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO);
    begin.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
    check(vkBeginCommandBuffer(commands_, &begin), "beginning");
    record(commands_);
    check(vkEndCommandBuffer(commands_), "ending");
    auto info = make<VkSubmitInfo>(VK_STRUCTURE_TYPE_SUBMIT_INFO);
    info.commandBufferCount = 1;
    info.pCommandBuffers = &commands_;
    check(vkQueueSubmit(queue_, 1, &info, fence_), "submitting");
    check(vkWaitForFences(device_, 1, &fence_, VK_TRUE, UINT64_MAX), "waiting");
    check(vkResetFences(device_, 1, &fence_), "resetting the fence");
}

} // namespace bench
