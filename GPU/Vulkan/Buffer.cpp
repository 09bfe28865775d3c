#include "GPU/Vulkan/Objects.h"

namespace gpu {

Buffer::Buffer(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Buffer::~Buffer() = default;
std::size_t Buffer::length() const {
    return impl_->length;
}
void* Buffer::contents() const {
    return impl_->allocation.mapped;
}

std::uint64_t Buffer::address() const {
    if (impl_->device->features.vulkan12.bufferDeviceAddress == VK_FALSE) return 0;
    const VkBufferDeviceAddressInfo info{
        .sType = VK_STRUCTURE_TYPE_BUFFER_DEVICE_ADDRESS_INFO, .pNext = nullptr, .buffer = impl_->handle};
    return vkGetBufferDeviceAddress(impl_->device->handle, &info);
}

Buffer::Impl::~Impl() {
    vkDestroyBuffer(device->handle, handle, nullptr);
    device->release(allocation);
}

Result<std::shared_ptr<Buffer>> Device::makeBuffer(std::size_t length, StorageMode mode) {
    if (length == 0) return std::unexpected(Error{ErrorKind::invalidArgument, "A buffer cannot be empty."});
    vulkan::VulkanDevice& core = *impl_->core;
    auto impl = std::make_unique<Buffer::Impl>();
    impl->device = impl_->core;
    impl->length = length;
    const bool hasAddress = core.features.vulkan12.bufferDeviceAddress == VK_TRUE;
    const VkBufferCreateInfo info{.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO,
                                  .pNext = nullptr,
                                  .flags = 0,
                                  .size = length,
                                  .usage = VK_BUFFER_USAGE_UNIFORM_BUFFER_BIT | VK_BUFFER_USAGE_STORAGE_BUFFER_BIT |
                                           VK_BUFFER_USAGE_INDIRECT_BUFFER_BIT | VK_BUFFER_USAGE_TRANSFER_SRC_BIT |
                                           VK_BUFFER_USAGE_TRANSFER_DST_BIT |
                                           (hasAddress ? VK_BUFFER_USAGE_SHADER_DEVICE_ADDRESS_BIT : 0U),
                                  .sharingMode = VK_SHARING_MODE_EXCLUSIVE,
                                  .queueFamilyIndexCount = 0,
                                  .pQueueFamilyIndices = nullptr};
    if (auto made =
            core.call("creating a buffer", [&] { return vkCreateBuffer(core.handle, &info, nullptr, &impl->handle); });
        !made)
        return std::unexpected(made.error());
    VkMemoryRequirements requirements;
    vkGetBufferMemoryRequirements(core.handle, impl->handle, &requirements);
    const bool isShared = mode == StorageMode::shared;
    auto allocation =
        core.allocate(requirements,
                      isShared ? VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT
                               : VkMemoryPropertyFlags(0),
                      isShared ? VK_MEMORY_PROPERTY_HOST_CACHED_BIT : VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT,
                      "allocating a buffer's memory", hasAddress);
    if (!allocation) return std::unexpected(allocation.error());
    impl->allocation = *allocation;
    if (auto bound =
            core.call("binding a buffer's memory",
                      [&] { return vkBindBufferMemory(core.handle, impl->handle, impl->allocation.memory, 0); });
        !bound)
        return std::unexpected(bound.error());
    return std::make_shared<Buffer>(std::move(impl));
}

} // namespace gpu
