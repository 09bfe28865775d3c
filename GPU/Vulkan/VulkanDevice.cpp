#include "GPU/Vulkan/VulkanDevice.h"

#include "GPU/Vulkan/CompletionThread.h"
#include "GPU/Vulkan/Recording.h"

#include <cstring>

namespace gpu::vulkan {
namespace {

std::atomic<std::uint64_t> generations = 0;

bool linearColorAttachmentWorks(VkPhysicalDevice device) {
    VkImageFormatProperties properties;
    return vkGetPhysicalDeviceImageFormatProperties(
               device, VK_FORMAT_B8G8R8A8_UNORM, VK_IMAGE_TYPE_2D, VK_IMAGE_TILING_LINEAR,
               VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT |
                   VK_IMAGE_USAGE_TRANSFER_DST_BIT,
               0, &properties) == VK_SUCCESS;
}

} // namespace

Result<std::shared_ptr<VulkanDevice>> VulkanDevice::make(const PhysicalDevice& physical) {
    auto device = std::make_shared<VulkanDevice>();
    device->physical = physical;
    device->features = FeatureSet::query(physical.handle).enabled();
    VkPhysicalDeviceProperties properties;
    vkGetPhysicalDeviceProperties(physical.handle, &properties);
    device->limits = properties.limits;
    vkGetPhysicalDeviceMemoryProperties(physical.handle, &device->memoryProperties);
    // On a real GPU a linear target in host memory is drawn to slowly: one copy is better there.
    device->drawsIntoHostMemory = physical.info.kind == DeviceKind::cpu && linearColorAttachmentWorks(physical.handle);

    std::uint32_t count = 0;
    vkEnumerateDeviceExtensionProperties(physical.handle, nullptr, &count, nullptr);
    std::vector<VkExtensionProperties> available(count);
    vkEnumerateDeviceExtensionProperties(physical.handle, nullptr, &count, available.data());
    std::vector<const char*> extensions;
    for (const VkExtensionProperties& extension : available) {
        const std::string_view name = extension.extensionName;
        if (name == VK_KHR_SWAPCHAIN_EXTENSION_NAME) {
            device->hasSwapchain = physical.instance->canPresent;
            if (device->hasSwapchain) extensions.push_back(VK_KHR_SWAPCHAIN_EXTENSION_NAME);
        } else if (name == "VK_KHR_portability_subset") {
            extensions.push_back("VK_KHR_portability_subset");
        }
    }

    const float priorities[] = {1.0F, 1.0F};
    const std::uint32_t queueCount = physical.queueCount > 1 ? 2 : 1; // a present may block: off the drawing queue
    const VkDeviceQueueCreateInfo queueInfo{.sType = VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO,
                                            .pNext = nullptr,
                                            .flags = 0,
                                            .queueFamilyIndex = physical.queueFamily,
                                            .queueCount = queueCount,
                                            .pQueuePriorities = priorities};
    const VkDeviceCreateInfo info{.sType = VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO,
                                  .pNext = &device->features.core,
                                  .flags = 0,
                                  .queueCreateInfoCount = 1,
                                  .pQueueCreateInfos = &queueInfo,
                                  .enabledLayerCount = 0,
                                  .ppEnabledLayerNames = nullptr,
                                  .enabledExtensionCount = std::uint32_t(extensions.size()),
                                  .ppEnabledExtensionNames = extensions.data(),
                                  .pEnabledFeatures = nullptr};
    if (auto made = device->call("opening the graphics device",
                                 [&] { return vkCreateDevice(physical.handle, &info, nullptr, &device->handle); });
        !made)
        return std::unexpected(made.error());
    ++physical.instance->deviceCount;
    vkGetDeviceQueue(device->handle, physical.queueFamily, 0, &device->queue);
    vkGetDeviceQueue(device->handle, physical.queueFamily, queueCount - 1, &device->presentQueue);

    const VkSemaphoreTypeCreateInfo typeInfo{.sType = VK_STRUCTURE_TYPE_SEMAPHORE_TYPE_CREATE_INFO,
                                             .pNext = nullptr,
                                             .semaphoreType = VK_SEMAPHORE_TYPE_TIMELINE,
                                             .initialValue = 0};
    const VkSemaphoreCreateInfo semaphoreInfo{
        .sType = VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO, .pNext = &typeInfo, .flags = 0};
    if (auto made =
            device->call("creating the queue's timeline",
                         [&] { return vkCreateSemaphore(device->handle, &semaphoreInfo, nullptr, &device->timeline); });
        !made)
        return std::unexpected(made.error());

    const VkPipelineCacheCreateInfo cacheInfo{.sType = VK_STRUCTURE_TYPE_PIPELINE_CACHE_CREATE_INFO,
                                              .pNext = nullptr,
                                              .flags = 0,
                                              .initialDataSize = 0,
                                              .pInitialData = nullptr};
    if (auto made = device->call(
            "creating the pipeline cache",
            [&] { return vkCreatePipelineCache(device->handle, &cacheInfo, nullptr, &device->pipelineCache); });
        !made)
        return std::unexpected(made.error());
    device->generation = ++generations;
    return device;
}

VulkanDevice::~VulkanDevice() {
    completion.reset();
    if (handle == VK_NULL_HANDLE) return;
    vkDeviceWaitIdle(handle);
    inFlight.clear();
    idle.clear();
    vkDestroyPipelineCache(handle, pipelineCache, nullptr);
    vkDestroySemaphore(handle, timeline, nullptr);
    vkDestroyDevice(handle, nullptr);
    --physical.instance->deviceCount;
}

Result<Allocation> VulkanDevice::allocate(const VkMemoryRequirements& requirements, VkMemoryPropertyFlags required,
                                          VkMemoryPropertyFlags preferred, std::string_view purpose, bool hasAddress) {
    std::optional<std::uint32_t> type;
    for (const VkMemoryPropertyFlags wanted : {required | preferred, required}) {
        for (std::uint32_t i = 0; i < memoryProperties.memoryTypeCount && !type; ++i)
            if ((requirements.memoryTypeBits & (1U << i)) != 0 &&
                (memoryProperties.memoryTypes[i].propertyFlags & wanted) == wanted)
                type = i;
        if (type) break;
    }
    if (!type) return std::unexpected(makeError(VK_ERROR_FEATURE_NOT_PRESENT, purpose));

    // Drivers let a process overcommit and then end it; what cannot fit is refused here.
    const VkDeviceSize heapSize = memoryProperties.memoryHeaps[memoryProperties.memoryTypes[*type].heapIndex].size;
    Allocation allocation;
    const VkMemoryAllocateFlagsInfo flags{.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_FLAGS_INFO,
                                          .pNext = nullptr,
                                          .flags = VK_MEMORY_ALLOCATE_DEVICE_ADDRESS_BIT,
                                          .deviceMask = 0};
    const VkMemoryAllocateInfo info{.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO,
                                    .pNext = hasAddress ? &flags : nullptr,
                                    .allocationSize = requirements.size,
                                    .memoryTypeIndex = *type};
    if (auto made = call(purpose,
                         [&] {
                             if (requirements.size > heapSize) return VK_ERROR_OUT_OF_DEVICE_MEMORY;
                             return vkAllocateMemory(handle, &info, nullptr, &allocation.memory);
                         });
        !made)
        return std::unexpected(made.error());
    if ((required & VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT) != 0) {
        void* mapped = nullptr;
        if (auto made = call("mapping memory",
                             [&] { return vkMapMemory(handle, allocation.memory, 0, VK_WHOLE_SIZE, 0, &mapped); });
            !made) {
            vkFreeMemory(handle, allocation.memory, nullptr);
            return std::unexpected(made.error());
        }
        allocation.mapped = static_cast<std::byte*>(mapped);
    }
    return allocation;
}

void VulkanDevice::release(const Allocation& allocation) {
    vkFreeMemory(handle, allocation.memory, nullptr);
}

Result<std::unique_ptr<Recording>> VulkanDevice::takeRecording() {
    reclaim();
    std::unique_ptr<Recording> recording;
    {
        const std::lock_guard lock(recordingsMutex);
        if (!idle.empty()) {
            recording = std::move(idle.back());
            idle.pop_back();
        }
    }
    if (recording == nullptr) {
        recording = std::make_unique<Recording>(*this);
        if (auto made = recording->make(); !made) return std::unexpected(made.error());
    }
    if (auto begun = recording->begin(); !begun) {
        giveBack(std::move(recording));
        return std::unexpected(begun.error());
    }
    return recording;
}

void VulkanDevice::giveBack(std::unique_ptr<Recording> recording) {
    recording->reset();
    const std::lock_guard lock(recordingsMutex);
    idle.push_back(std::move(recording));
}

Result<std::uint64_t> VulkanDevice::submit(std::unique_ptr<Recording> recording) {
    if (auto ended = call("ending a command buffer", [&] { return vkEndCommandBuffer(recording->commands); }); !ended) {
        giveBack(std::move(recording));
        return std::unexpected(ended.error());
    }
    std::uint64_t value = 0;
    {
        const std::lock_guard lock(waitingMutex);
        value = ++lastReserved;
        waiting.push_back({value, std::move(recording)});
    }
    flush();
    if (std::optional<Error> failure = failureOf(value)) return std::unexpected(*failure);
    return value;
}

void VulkanDevice::flush() {
    while (queueMutex.try_lock()) {
        submitWaiting();
        queueMutex.unlock();
        // Someone may have handed in between the last look and the unlocking, and found the queue held.
        const std::lock_guard lock(waitingMutex);
        if (waiting.empty()) return;
    }
}

void VulkanDevice::submitWaiting() {
    while (true) {
        InFlight item{};
        {
            const std::lock_guard lock(waitingMutex);
            if (waiting.empty()) return;
            item = std::move(waiting.front());
            waiting.pop_front();
        }
        const VkCommandBufferSubmitInfo commandsInfo{.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_SUBMIT_INFO,
                                                     .pNext = nullptr,
                                                     .commandBuffer = item.recording->commands,
                                                     .deviceMask = 0};
        const VkSemaphoreSubmitInfo signal{.sType = VK_STRUCTURE_TYPE_SEMAPHORE_SUBMIT_INFO,
                                           .pNext = nullptr,
                                           .semaphore = timeline,
                                           .value = item.value,
                                           .stageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT,
                                           .deviceIndex = 0};
        const VkSubmitInfo2 info{.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO_2,
                                 .pNext = nullptr,
                                 .flags = 0,
                                 .waitSemaphoreInfoCount = 0,
                                 .pWaitSemaphoreInfos = nullptr,
                                 .commandBufferInfoCount = 1,
                                 .pCommandBufferInfos = &commandsInfo,
                                 .signalSemaphoreInfoCount = 1,
                                 .pSignalSemaphoreInfos = &signal};
        const Result<void> submitted = call("handing work to the graphics device",
                                            [&] { return vkQueueSubmit2(queue, 1, &info, VK_NULL_HANDLE); });
        if (submitted) {
            lastSubmitted = item.value;
            const std::lock_guard lock(recordingsMutex);
            inFlight.push_back(std::move(item));
            continue;
        }
        giveBack(std::move(item.recording));
        const std::lock_guard lock(waitingMutex);
        failures.emplace(item.value, submitted.error());
        hasFailures = true;
    }
}

std::optional<Error> VulkanDevice::failureOf(std::uint64_t value) {
    if (!hasFailures) return std::nullopt;
    const std::lock_guard lock(waitingMutex);
    const auto failure = failures.find(value);
    return failure != failures.end() ? std::optional(failure->second) : std::nullopt;
}

void VulkanDevice::reclaim() {
    const std::uint64_t finished = finishedValue();
    while (true) {
        std::unique_ptr<Recording> recording;
        {
            const std::lock_guard lock(recordingsMutex);
            if (inFlight.empty() || inFlight.front().value > finished) return;
            recording = std::move(inFlight.front().recording);
            inFlight.pop_front();
        }
        giveBack(std::move(recording)); // outside the lock: what it held may be destroyed here
    }
}

std::uint64_t VulkanDevice::finishedValue() {
    std::uint64_t value = 0;
    if (vkGetSemaphoreCounterValue(handle, timeline, &value) == VK_ERROR_DEVICE_LOST) lost = true;
    return value;
}

bool VulkanDevice::wait(std::uint64_t value, std::chrono::steady_clock::time_point until) {
    const VkSemaphoreWaitInfo info{.sType = VK_STRUCTURE_TYPE_SEMAPHORE_WAIT_INFO,
                                   .pNext = nullptr,
                                   .flags = 0,
                                   .semaphoreCount = 1,
                                   .pSemaphores = &timeline,
                                   .pValues = &value};
    // In slices, since work may turn out never to reach the queue.
    constexpr std::uint64_t slice = 50'000'000;
    while (true) {
        // Later work carries the timeline past a value whose own work failed.
        if (failureOf(value)) return false;
        const VkResult result = vkWaitSemaphores(handle, &info, slice);
        if (result == VK_ERROR_DEVICE_LOST) lost = true;
        if (result != VK_TIMEOUT) return result == VK_SUCCESS && !failureOf(value);
        if (std::chrono::steady_clock::now() >= until) return false;
    }
}

void VulkanDevice::whenFinished(std::uint64_t value, std::function<void()> handler) {
    const std::lock_guard lock(completionMutex);
    if (completion == nullptr) completion = std::make_unique<CompletionThread>();
    completion->add(shared_from_this(), value, std::move(handler));
}

void VulkanDevice::drain() {
    std::uint64_t last = 0;
    {
        const std::lock_guard lock(queueMutex);
        submitWaiting();
        last = lastSubmitted;
    }
    if (!wait(last)) {
        // A lost device will not reach the value; nothing of it runs any more.
        vkDeviceWaitIdle(handle);
        const std::lock_guard lock(recordingsMutex);
        for (InFlight& item : inFlight)
            item.value = 0;
    }
    reclaim();
}

} // namespace gpu::vulkan
