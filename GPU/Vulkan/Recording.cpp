#include "GPU/Vulkan/Recording.h"

#include <algorithm>

namespace gpu::vulkan {
namespace {

constexpr std::size_t chunkSize = 64 * 1024;
constexpr std::uint32_t setsPerPool = 256;

} // namespace

Recording::~Recording() {
    for (const Chunk& chunk : chunks) {
        vkDestroyBuffer(device.handle, chunk.buffer, nullptr);
        device.release(chunk.allocation);
    }
    for (VkDescriptorPool descriptorPool : descriptorPools)
        vkDestroyDescriptorPool(device.handle, descriptorPool, nullptr);
    if (pool != VK_NULL_HANDLE) vkDestroyCommandPool(device.handle, pool, nullptr);
}

Result<void> Recording::make() {
    const VkCommandPoolCreateInfo poolInfo{.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO,
                                           .pNext = nullptr,
                                           .flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT,
                                           .queueFamilyIndex = device.physical.queueFamily};
    if (auto made = device.call("creating a command pool",
                                [&] { return vkCreateCommandPool(device.handle, &poolInfo, nullptr, &pool); });
        !made)
        return made;
    const VkCommandBufferAllocateInfo info{.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO,
                                           .pNext = nullptr,
                                           .commandPool = pool,
                                           .level = VK_COMMAND_BUFFER_LEVEL_PRIMARY,
                                           .commandBufferCount = 1};
    if (auto made = device.call("creating a command buffer",
                                [&] { return vkAllocateCommandBuffers(device.handle, &info, &commands); });
        !made)
        return made;
    return addChunk(chunkSize);
}

Result<void> Recording::begin() {
    const VkCommandBufferBeginInfo info{.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO,
                                        .pNext = nullptr,
                                        .flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT,
                                        .pInheritanceInfo = nullptr};
    return device.call("beginning a command buffer", [&] { return vkBeginCommandBuffer(commands, &info); });
}

void Recording::reset() {
    held.clear();
    vkResetCommandPool(device.handle, pool, 0);
    for (std::size_t i = 0; i < descriptorPools.size() && i <= descriptorPoolIndex; ++i)
        vkResetDescriptorPool(device.handle, descriptorPools[i], 0);
    descriptorPoolIndex = 0;
    chunkIndex = 0;
    chunkUsed = 0;
}

Result<void> Recording::addChunk(std::size_t size) {
    Chunk chunk;
    chunk.size = size;
    const VkBufferCreateInfo info{.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO,
                                  .pNext = nullptr,
                                  .flags = 0,
                                  .size = size,
                                  .usage = VK_BUFFER_USAGE_UNIFORM_BUFFER_BIT | VK_BUFFER_USAGE_STORAGE_BUFFER_BIT,
                                  .sharingMode = VK_SHARING_MODE_EXCLUSIVE,
                                  .queueFamilyIndexCount = 0,
                                  .pQueueFamilyIndices = nullptr};
    if (auto made = device.call("creating the ring of inline bytes",
                                [&] { return vkCreateBuffer(device.handle, &info, nullptr, &chunk.buffer); });
        !made)
        return made;
    VkMemoryRequirements requirements;
    vkGetBufferMemoryRequirements(device.handle, chunk.buffer, &requirements);
    auto allocation =
        device.allocate(requirements, VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT,
                        VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT, "allocating the ring of inline bytes");
    if (!allocation) {
        vkDestroyBuffer(device.handle, chunk.buffer, nullptr);
        return std::unexpected(allocation.error());
    }
    chunk.allocation = *allocation;
    vkBindBufferMemory(device.handle, chunk.buffer, chunk.allocation.memory, 0);
    chunks.push_back(chunk);
    return {};
}

UploadSlice Recording::upload(std::size_t length) {
    const std::size_t alignment =
        std::max<std::size_t>({std::size_t(device.limits.minUniformBufferOffsetAlignment),
                               std::size_t(device.limits.minStorageBufferOffsetAlignment), 16});
    chunkUsed = (chunkUsed + alignment - 1) / alignment * alignment;
    if (chunkUsed + length > chunks[chunkIndex].size) {
        if (chunkIndex + 1 == chunks.size() && !addChunk(std::max(chunkSize, length))) return {};
        ++chunkIndex;
        chunkUsed = 0;
        if (length > chunks[chunkIndex].size) return {};
    }
    const Chunk& chunk = chunks[chunkIndex];
    const UploadSlice slice{chunk.buffer, chunkUsed, chunk.allocation.mapped + chunkUsed};
    chunkUsed += length;
    return slice;
}

VkDescriptorSet Recording::allocateSet(VkDescriptorSetLayout layout) {
    while (true) {
        if (descriptorPoolIndex == descriptorPools.size()) {
            static constexpr VkDescriptorPoolSize sizes[] = {{VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, 4 * setsPerPool},
                                                             {VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, 2 * setsPerPool},
                                                             {VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE, 2 * setsPerPool},
                                                             {VK_DESCRIPTOR_TYPE_STORAGE_IMAGE, setsPerPool / 2},
                                                             {VK_DESCRIPTOR_TYPE_SAMPLER, 2 * setsPerPool}};
            const VkDescriptorPoolCreateInfo info{.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO,
                                                  .pNext = nullptr,
                                                  .flags = 0,
                                                  .maxSets = setsPerPool,
                                                  .poolSizeCount = std::uint32_t(std::size(sizes)),
                                                  .pPoolSizes = sizes};
            VkDescriptorPool descriptorPool = VK_NULL_HANDLE;
            if (!device.call("creating a descriptor pool",
                             [&] { return vkCreateDescriptorPool(device.handle, &info, nullptr, &descriptorPool); }))
                return VK_NULL_HANDLE;
            descriptorPools.push_back(descriptorPool);
        }
        const VkDescriptorSetAllocateInfo info{.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO,
                                               .pNext = nullptr,
                                               .descriptorPool = descriptorPools[descriptorPoolIndex],
                                               .descriptorSetCount = 1,
                                               .pSetLayouts = &layout};
        VkDescriptorSet set = VK_NULL_HANDLE;
        const VkResult result = attempt("allocating a descriptor set",
                                        [&] { return vkAllocateDescriptorSets(device.handle, &info, &set); });
        if (result == VK_SUCCESS) return set;
        const bool poolIsFull = result == VK_ERROR_OUT_OF_POOL_MEMORY || result == VK_ERROR_FRAGMENTED_POOL;
        if (!poolIsFull) return VK_NULL_HANDLE;
        ++descriptorPoolIndex;
    }
}

void Recording::hold(std::shared_ptr<const void> object) {
    if (object == nullptr) return;
    constexpr std::size_t remembered = 8;
    const std::size_t first = held.size() > remembered ? held.size() - remembered : 0;
    for (std::size_t i = first; i < held.size(); ++i)
        if (held[i] == object) return;
    held.push_back(std::move(object));
}

void Recording::fullBarrier(VkPipelineStageFlags2 from) {
    const VkMemoryBarrier2 barrier{.sType = VK_STRUCTURE_TYPE_MEMORY_BARRIER_2,
                                   .pNext = nullptr,
                                   .srcStageMask = from,
                                   .srcAccessMask = VK_ACCESS_2_MEMORY_WRITE_BIT,
                                   .dstStageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT | VK_PIPELINE_STAGE_2_HOST_BIT,
                                   .dstAccessMask = VK_ACCESS_2_MEMORY_READ_BIT | VK_ACCESS_2_MEMORY_WRITE_BIT |
                                                    VK_ACCESS_2_HOST_READ_BIT};
    const VkDependencyInfo info{.sType = VK_STRUCTURE_TYPE_DEPENDENCY_INFO,
                                .pNext = nullptr,
                                .dependencyFlags = 0,
                                .memoryBarrierCount = 1,
                                .pMemoryBarriers = &barrier,
                                .bufferMemoryBarrierCount = 0,
                                .pBufferMemoryBarriers = nullptr,
                                .imageMemoryBarrierCount = 0,
                                .pImageMemoryBarriers = nullptr};
    vkCmdPipelineBarrier2(commands, &info);
}

} // namespace gpu::vulkan
