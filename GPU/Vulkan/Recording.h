// The Vulkan objects of one command buffer: its pool, its descriptor pools, the ring that inline bytes go to, and
// strong references to everything it uses. Taken from and given back to the device, so that a frame in a steady state
// makes no Vulkan object. Used by one thread at a time.
#pragma once

#include "GPU/Error.h"
#include "GPU/Vulkan/VulkanDevice.h"

#include <cstddef>
#include <memory>
#include <vector>
#include <vulkan/vulkan.h>

namespace gpu::vulkan {

struct UploadSlice {
    VkBuffer buffer = VK_NULL_HANDLE;
    VkDeviceSize offset = 0;
    std::byte* mapped = nullptr;
};

struct Recording {
    explicit Recording(VulkanDevice& owner) : device(owner) {}
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    VulkanDevice& device;
    VkCommandPool pool = VK_NULL_HANDLE;
    VkCommandBuffer commands = VK_NULL_HANDLE;

    Result<void> make();
    Result<void> begin();
    void reset(); // lets go of everything that it holds

    // Memory that the GPU reads once this recording runs; aligned for uniform and storage buffers. Nothing when memory
    // ran out.
    UploadSlice upload(std::size_t length);

    // A descriptor set that lives as long as the recording; null when memory ran out.
    VkDescriptorSet allocateSet(VkDescriptorSetLayout layout);

    // Holds an object until the GPU has finished. Repeating the last few is free.
    void hold(std::shared_ptr<const void> object);

    // Orders everything recorded so far before everything after, for all accesses, the CPU's reads included.
    void fullBarrier(VkPipelineStageFlags2 from);

  private:
    struct Chunk {
        VkBuffer buffer = VK_NULL_HANDLE;
        Allocation allocation;
        std::size_t size = 0;
    };
    std::vector<Chunk> chunks;
    std::size_t chunkIndex = 0;
    std::size_t chunkUsed = 0;
    std::vector<VkDescriptorPool> descriptorPools;
    std::size_t descriptorPoolIndex = 0;
    std::vector<std::shared_ptr<const void>> held;

    Result<void> addChunk(std::size_t size);
};

} // namespace gpu::vulkan
