#include "GPU/Vulkan/Objects.h"
#include "GPU/Vulkan/Recording.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace gpu {

using vulkan::Recording;
using vulkan::VulkanDevice;

Texture::Texture(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Texture::~Texture() = default;
std::uint32_t Texture::width() const {
    return impl_->descriptor.width;
}
std::uint32_t Texture::height() const {
    return impl_->descriptor.height;
}
PixelFormat Texture::format() const {
    return impl_->descriptor.format;
}
std::uint32_t Texture::sampleCount() const {
    return impl_->descriptor.sampleCount;
}
StorageMode Texture::storage() const {
    return impl_->descriptor.storage;
}
const std::byte* Texture::contents() const {
    return impl_->texels;
}
std::size_t Texture::rowBytes() const {
    return impl_->rowBytes;
}

Texture::Impl::~Impl() {
    vkDestroyImageView(device->handle, view, nullptr);
    if (ownsImage) {
        vkDestroyImage(device->handle, image, nullptr);
        device->release(allocation);
    }
    vkDestroyBuffer(device->handle, mirror, nullptr);
    device->release(mirrorAllocation);
}

bool Texture::Impl::contains(const Region& region) const {
    return region.width > 0 && region.height > 0 && region.x <= descriptor.width && region.y <= descriptor.height &&
           region.width <= descriptor.width - region.x && region.height <= descriptor.height - region.y;
}

void Texture::getBytes(void* destination, std::size_t bytesPerRow, const Region& region) const {
    if (impl_->texels == nullptr || !impl_->contains(region)) return;
    const std::size_t pixel = bytesPerPixel(impl_->descriptor.format);
    auto* out = static_cast<std::byte*>(destination);
    const std::byte* in = impl_->texels + region.y * impl_->rowBytes + region.x * pixel;
    for (std::uint32_t row = 0; row < region.height; ++row, out += bytesPerRow, in += impl_->rowBytes)
        std::memcpy(out, in, region.width * pixel);
}

Result<void> Texture::replace(const Region& region, const void* source, std::size_t bytesPerRow) {
    VulkanDevice& device = *impl_->device;
    if (device.lost) return std::unexpected(vulkan::makeError(VK_ERROR_DEVICE_LOST, "writing a texture"));
    if (impl_->texels == nullptr || !impl_->contains(region))
        return std::unexpected(
            Error{ErrorKind::invalidArgument, "That part of the texture cannot be written from here."});
    const std::size_t pixel = bytesPerPixel(impl_->descriptor.format);
    std::byte* out = impl_->texels + region.y * impl_->rowBytes + region.x * pixel;
    const auto* in = static_cast<const std::byte*>(source);
    for (std::uint32_t row = 0; row < region.height; ++row, out += impl_->rowBytes, in += bytesPerRow)
        std::memcpy(out, in, region.width * pixel);
    if (impl_->isLinear) return {};

    Result<std::unique_ptr<Recording>> recording = device.takeRecording();
    if (!recording) return std::unexpected(recording.error());
    const VkCommandBuffer commands = (*recording)->commands;
    vulkan::transition(commands, impl_->image, impl_->aspect(), impl_->restLayout,
                       VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
    const VkBufferImageCopy copy{.bufferOffset = region.y * impl_->rowBytes + region.x * pixel,
                                 .bufferRowLength = std::uint32_t(impl_->rowBytes / pixel),
                                 .bufferImageHeight = 0,
                                 .imageSubresource = {impl_->aspect(), 0, 0, 1},
                                 .imageOffset = {std::int32_t(region.x), std::int32_t(region.y), 0},
                                 .imageExtent = {region.width, region.height, 1}};
    vkCmdCopyBufferToImage(commands, impl_->mirror, impl_->image, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1, &copy);
    vulkan::transition(commands, impl_->image, impl_->aspect(), VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                       impl_->restLayout);
    Result<std::uint64_t> value = device.submit(std::move(*recording));
    if (!value) return std::unexpected(value.error());
    device.wait(*value); // the mirror may be written again at once
    return {};
}

Result<void> Texture::upload(std::uint32_t level, std::uint32_t slice, const void* source) {
    VulkanDevice& device = *impl_->device;
    const TextureDescriptor& descriptor = impl_->descriptor;
    if (device.lost) return std::unexpected(vulkan::makeError(VK_ERROR_DEVICE_LOST, "writing a texture"));
    const bool isVolume = descriptor.type == TextureType::type3D;
    const auto at = [&](std::uint32_t size) { return std::max(size >> level, 1U); };
    if (level >= descriptor.mipmapLevelCount ||
        slice >= (isVolume ? at(descriptor.depth) : vulkan::layerCount(descriptor)) || !vulkan::isUploaded(descriptor))
        return std::unexpected(
            Error{ErrorKind::invalidArgument, "That part of the texture cannot be written from here."});
    const std::size_t length =
        std::size_t(at(descriptor.width)) * at(descriptor.height) * bytesPerPixel(descriptor.format);
    Result<vulkan::HostBuffer> staging = vulkan::HostBuffer::make(device, length, "writing a texture");
    if (!staging) return std::unexpected(staging.error());
    std::memcpy(staging->allocation.mapped, source, length);
    Result<std::unique_ptr<Recording>> recording = device.takeRecording();
    if (!recording) {
        staging->destroy(device);
        return std::unexpected(recording.error());
    }
    const VkCommandBuffer commands = (*recording)->commands;
    vulkan::transition(commands, impl_->image, impl_->aspect(), impl_->restLayout,
                       VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
    const VkBufferImageCopy copy{.bufferOffset = 0,
                                 .bufferRowLength = 0,
                                 .bufferImageHeight = 0,
                                 .imageSubresource = {impl_->aspect(), level, isVolume ? 0 : slice, 1},
                                 .imageOffset = {0, 0, isVolume ? std::int32_t(slice) : 0},
                                 .imageExtent = {at(descriptor.width), at(descriptor.height), 1}};
    vkCmdCopyBufferToImage(commands, staging->handle, impl_->image, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1, &copy);
    vulkan::transition(commands, impl_->image, impl_->aspect(), VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                       impl_->restLayout);
    Result<std::uint64_t> value = device.submit(std::move(*recording));
    if (value) device.wait(*value);
    staging->destroy(device);
    if (!value) return std::unexpected(value.error());
    return {};
}

namespace vulkan {
namespace {

VkImageUsageFlags usageOf(const TextureDescriptor& descriptor) {
    VkImageUsageFlags usage = 0;
    if (descriptor.usage.shaderRead) usage |= VK_IMAGE_USAGE_SAMPLED_BIT;
    if (descriptor.usage.shaderWrite) usage |= VK_IMAGE_USAGE_STORAGE_BIT;
    if (isUploaded(descriptor)) usage |= VK_IMAGE_USAGE_TRANSFER_DST_BIT;
    if (descriptor.usage.renderTarget)
        usage |= descriptor.format == PixelFormat::depth32Float ? VK_IMAGE_USAGE_DEPTH_STENCIL_ATTACHMENT_BIT
                                                                : VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT;
    if (descriptor.storage == StorageMode::shared)
        usage |= VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT;
    return usage;
}

VkImageViewType viewTypeOf(TextureType type) {
    switch (type) {
    case TextureType::type1D: return VK_IMAGE_VIEW_TYPE_1D;
    case TextureType::type1DArray: return VK_IMAGE_VIEW_TYPE_1D_ARRAY;
    case TextureType::type2D:
    case TextureType::type2DMultisample: return VK_IMAGE_VIEW_TYPE_2D;
    case TextureType::type2DArray: return VK_IMAGE_VIEW_TYPE_2D_ARRAY;
    case TextureType::type3D: return VK_IMAGE_VIEW_TYPE_3D;
    case TextureType::typeCube: return VK_IMAGE_VIEW_TYPE_CUBE;
    case TextureType::typeCubeArray: return VK_IMAGE_VIEW_TYPE_CUBE_ARRAY;
    }
    return VK_IMAGE_VIEW_TYPE_2D;
}

VkImageType imageTypeOf(TextureType type) {
    if (type == TextureType::type1D || type == TextureType::type1DArray) return VK_IMAGE_TYPE_1D;
    return type == TextureType::type3D ? VK_IMAGE_TYPE_3D : VK_IMAGE_TYPE_2D;
}

// Whether the numbers of a description fit its type.
bool isConsistent(const TextureDescriptor& descriptor) {
    const TextureType type = descriptor.type;
    const bool isLine = type == TextureType::type1D || type == TextureType::type1DArray;
    const bool isCube = type == TextureType::typeCube || type == TextureType::typeCubeArray;
    const bool isArray =
        type == TextureType::type1DArray || type == TextureType::type2DArray || type == TextureType::typeCubeArray;
    const bool isMultisample = type == TextureType::type2DMultisample;
    const bool isPlain = type == TextureType::type2D && descriptor.mipmapLevelCount == 1;
    const std::uint32_t longest = std::max({descriptor.width, descriptor.height, descriptor.depth});
    if (descriptor.mipmapLevelCount == 0 || descriptor.mipmapLevelCount > std::uint32_t(std::bit_width(longest)))
        return false;
    if ((isLine && descriptor.height != 1) || (isCube && descriptor.height != descriptor.width)) return false;
    if ((type != TextureType::type3D && descriptor.depth != 1) || descriptor.depth == 0) return false;
    if ((!isArray && descriptor.arrayLength != 1) || descriptor.arrayLength == 0) return false;
    if (descriptor.sampleCount != (isMultisample ? 4U : 1U) || (isMultisample && descriptor.mipmapLevelCount != 1))
        return false;
    if (descriptor.usage.renderTarget && !isPlain && !isMultisample) return false;
    return descriptor.storage != StorageMode::shared || (isPlain && descriptor.format != PixelFormat::depth32Float);
}

Result<void> makeMirror(VulkanDevice& device, Texture::Impl& texture) {
    const TextureDescriptor& descriptor = texture.descriptor;
    texture.rowBytes = descriptor.width * bytesPerPixel(descriptor.format);
    Result<HostBuffer> made =
        HostBuffer::make(device, texture.rowBytes * descriptor.height, "creating a texture's mirror");
    if (!made) return std::unexpected(made.error());
    texture.mirror = made->handle;
    texture.mirrorAllocation = made->allocation;
    texture.texels = made->allocation.mapped;
    return {};
}

// Brings a new image into the layout in which it rests; ordered before whatever is committed next.
Result<void> settle(VulkanDevice& device, const std::shared_ptr<Texture>& texture) {
    Result<std::unique_ptr<Recording>> recording = device.takeRecording();
    if (!recording) return std::unexpected(recording.error());
    const Texture::Impl& impl = texture->impl();
    vulkan::transition((*recording)->commands, impl.image, impl.aspect(), VK_IMAGE_LAYOUT_UNDEFINED, impl.restLayout);
    (*recording)->hold(texture);
    if (Result<std::uint64_t> value = device.submit(std::move(*recording)); !value)
        return std::unexpected(value.error());
    return {};
}

} // namespace

std::uint32_t layerCount(const TextureDescriptor& descriptor) {
    const bool isCube = descriptor.type == TextureType::typeCube || descriptor.type == TextureType::typeCubeArray;
    return descriptor.arrayLength * (isCube ? 6 : 1);
}

bool isUploaded(const TextureDescriptor& descriptor) {
    return descriptor.storage == StorageMode::privateToDevice && descriptor.usage.shaderRead &&
           !descriptor.usage.renderTarget && descriptor.type != TextureType::type2DMultisample;
}

Result<HostBuffer> HostBuffer::make(VulkanDevice& device, std::size_t length, const char* doing) {
    HostBuffer made;
    const VkBufferCreateInfo info{.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO,
                                  .pNext = nullptr,
                                  .flags = 0,
                                  .size = length,
                                  .usage = VK_BUFFER_USAGE_TRANSFER_SRC_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT,
                                  .sharingMode = VK_SHARING_MODE_EXCLUSIVE,
                                  .queueFamilyIndexCount = 0,
                                  .pQueueFamilyIndices = nullptr};
    if (auto created = device.call(doing, [&] { return vkCreateBuffer(device.handle, &info, nullptr, &made.handle); });
        !created)
        return std::unexpected(created.error());
    VkMemoryRequirements requirements;
    vkGetBufferMemoryRequirements(device.handle, made.handle, &requirements);
    auto allocation =
        device.allocate(requirements, VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT,
                        VK_MEMORY_PROPERTY_HOST_CACHED_BIT, doing);
    if (!allocation) {
        made.destroy(device);
        return std::unexpected(allocation.error());
    }
    made.allocation = *allocation;
    if (auto bound = device.call(
            doing, [&] { return vkBindBufferMemory(device.handle, made.handle, made.allocation.memory, 0); });
        !bound) {
        made.destroy(device);
        return std::unexpected(bound.error());
    }
    return made;
}

void HostBuffer::destroy(VulkanDevice& device) {
    vkDestroyBuffer(device.handle, handle, nullptr);
    device.release(allocation);
    *this = {};
}

} // namespace vulkan

Result<std::shared_ptr<Texture>> Device::makeTexture(const TextureDescriptor& descriptor) {
    VulkanDevice& core = *impl_->core;
    const std::uint32_t limit = maxTextureSize();
    if (descriptor.width == 0 || descriptor.height == 0 || descriptor.format == PixelFormat::invalid)
        return std::unexpected(
            Error{ErrorKind::invalidArgument, "A texture needs a format and a size of at least 1×1."});
    if (descriptor.width > limit || descriptor.height > limit)
        return std::unexpected(Error{ErrorKind::unsupported, "This graphics device draws pictures of at most " +
                                                                 std::to_string(limit) + " pixels a side."});
    if (!vulkan::isConsistent(descriptor))
        return std::unexpected(Error{ErrorKind::invalidArgument,
                                     "The texture's type, size, format, sample count and storage do not go together."});
    if (!descriptor.usage.shaderRead && !descriptor.usage.renderTarget && !descriptor.usage.shaderWrite)
        return std::unexpected(Error{ErrorKind::invalidArgument, "A texture needs a use."});
    const bool isMultisample = descriptor.type == TextureType::type2DMultisample;
    const bool isCube = descriptor.type == TextureType::typeCube || descriptor.type == TextureType::typeCubeArray;

    auto impl = std::make_unique<Texture::Impl>();
    impl->device = impl_->core;
    impl->descriptor = descriptor;
    impl->isLinear = descriptor.storage == StorageMode::shared && core.drawsIntoHostMemory &&
                     descriptor.format == PixelFormat::bgra8Unorm && !descriptor.usage.shaderWrite;
    if (impl->isLinear || descriptor.usage.shaderWrite)
        impl->restLayout = VK_IMAGE_LAYOUT_GENERAL;
    else if (descriptor.usage.shaderRead)
        impl->restLayout = VK_IMAGE_LAYOUT_READ_ONLY_OPTIMAL;
    else
        impl->restLayout = VK_IMAGE_LAYOUT_ATTACHMENT_OPTIMAL;

    const VkImageCreateInfo info{.sType = VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO,
                                 .pNext = nullptr,
                                 .flags = isCube ? VkImageCreateFlags(VK_IMAGE_CREATE_CUBE_COMPATIBLE_BIT) : 0,
                                 .imageType = vulkan::imageTypeOf(descriptor.type),
                                 .format = vulkan::toVulkan(descriptor.format),
                                 .extent = {descriptor.width, descriptor.height, descriptor.depth},
                                 .mipLevels = descriptor.mipmapLevelCount,
                                 .arrayLayers = vulkan::layerCount(descriptor),
                                 .samples = isMultisample ? VK_SAMPLE_COUNT_4_BIT : VK_SAMPLE_COUNT_1_BIT,
                                 .tiling = impl->isLinear ? VK_IMAGE_TILING_LINEAR : VK_IMAGE_TILING_OPTIMAL,
                                 .usage = vulkan::usageOf(descriptor),
                                 .sharingMode = VK_SHARING_MODE_EXCLUSIVE,
                                 .queueFamilyIndexCount = 0,
                                 .pQueueFamilyIndices = nullptr,
                                 .initialLayout = VK_IMAGE_LAYOUT_UNDEFINED};
    if (auto made =
            core.call("creating a texture", [&] { return vkCreateImage(core.handle, &info, nullptr, &impl->image); });
        !made)
        return std::unexpected(made.error());
    VkMemoryRequirements requirements;
    vkGetImageMemoryRequirements(core.handle, impl->image, &requirements);
    auto allocation =
        core.allocate(requirements,
                      impl->isLinear ? VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT
                                     : VkMemoryPropertyFlags(0),
                      impl->isLinear ? VK_MEMORY_PROPERTY_HOST_CACHED_BIT : VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT,
                      "allocating a texture's memory");
    if (!allocation) return std::unexpected(allocation.error());
    impl->allocation = *allocation;
    if (auto bound = core.call("binding a texture's memory",
                               [&] { return vkBindImageMemory(core.handle, impl->image, impl->allocation.memory, 0); });
        !bound)
        return std::unexpected(bound.error());
    const VkImageViewCreateInfo viewInfo{
        .sType = VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO,
        .pNext = nullptr,
        .flags = 0,
        .image = impl->image,
        .viewType = vulkan::viewTypeOf(descriptor.type),
        .format = info.format,
        .components = {},
        .subresourceRange = {impl->aspect(), 0, VK_REMAINING_MIP_LEVELS, 0, VK_REMAINING_ARRAY_LAYERS}};
    if (auto made = core.call("creating a texture's view",
                              [&] { return vkCreateImageView(core.handle, &viewInfo, nullptr, &impl->view); });
        !made)
        return std::unexpected(made.error());

    if (impl->isLinear) {
        const VkImageSubresource subresource{VK_IMAGE_ASPECT_COLOR_BIT, 0, 0};
        VkSubresourceLayout layout;
        vkGetImageSubresourceLayout(core.handle, impl->image, &subresource, &layout);
        impl->texels = impl->allocation.mapped + layout.offset;
        impl->rowBytes = layout.rowPitch;
    } else if (descriptor.storage == StorageMode::shared) {
        if (auto made = vulkan::makeMirror(core, *impl); !made) return std::unexpected(made.error());
    }
    auto texture = std::make_shared<Texture>(std::move(impl));
    if (auto settled = vulkan::settle(core, texture); !settled) return std::unexpected(settled.error());
    return texture;
}

SamplerState::SamplerState(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
SamplerState::~SamplerState() = default;
SamplerState::Impl::~Impl() {
    vkDestroySampler(device->handle, handle, nullptr);
}

Result<std::shared_ptr<SamplerState>> Device::makeSamplerState(const SamplerDescriptor& descriptor) {
    Result<VkSampler> handle = vulkan::makeSampler(*impl_->core, descriptor);
    if (!handle) return std::unexpected(handle.error());
    auto impl = std::make_unique<SamplerState::Impl>();
    impl->device = impl_->core;
    impl->handle = *handle;
    return std::make_shared<SamplerState>(std::move(impl));
}

namespace vulkan {
namespace {

VkSamplerAddressMode addressMode(SamplerAddressMode mode) {
    switch (mode) {
    case SamplerAddressMode::clampToZero:
    case SamplerAddressMode::clampToBorder: return VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_BORDER;
    case SamplerAddressMode::clampToEdge: return VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
    case SamplerAddressMode::repeat: return VK_SAMPLER_ADDRESS_MODE_REPEAT;
    case SamplerAddressMode::mirroredRepeat: return VK_SAMPLER_ADDRESS_MODE_MIRRORED_REPEAT;
    }
    return VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
}

VkBorderColor borderColor(SamplerBorderColor color) {
    switch (color) {
    case SamplerBorderColor::transparentBlack: return VK_BORDER_COLOR_FLOAT_TRANSPARENT_BLACK;
    case SamplerBorderColor::opaqueBlack: return VK_BORDER_COLOR_FLOAT_OPAQUE_BLACK;
    case SamplerBorderColor::opaqueWhite: return VK_BORDER_COLOR_FLOAT_OPAQUE_WHITE;
    }
    return VK_BORDER_COLOR_FLOAT_TRANSPARENT_BLACK;
}

VkFilter filter(SamplerFilter value) {
    return value == SamplerFilter::linear ? VK_FILTER_LINEAR : VK_FILTER_NEAREST;
}

} // namespace

Result<VkSampler> makeSampler(VulkanDevice& device, const SamplerDescriptor& descriptor) {
    const bool hasMips = descriptor.mipFilter != SamplerMipFilter::none;
    const bool isPixelAddressed = !descriptor.normalizedCoordinates;
    const bool isAnisotropic =
        descriptor.maxAnisotropy > 1 && !isPixelAddressed && device.features.core.features.samplerAnisotropy == VK_TRUE;
    const VkSamplerCreateInfo info{
        .sType = VK_STRUCTURE_TYPE_SAMPLER_CREATE_INFO,
        .pNext = nullptr,
        .flags = 0,
        .magFilter = filter(descriptor.magFilter),
        .minFilter = filter(isPixelAddressed ? descriptor.magFilter : descriptor.minFilter),
        .mipmapMode = descriptor.mipFilter == SamplerMipFilter::linear && !isPixelAddressed
                          ? VK_SAMPLER_MIPMAP_MODE_LINEAR
                          : VK_SAMPLER_MIPMAP_MODE_NEAREST,
        .addressModeU = addressMode(descriptor.addressS),
        .addressModeV = addressMode(descriptor.addressT),
        .addressModeW = addressMode(descriptor.addressR),
        .mipLodBias = 0,
        .anisotropyEnable = isAnisotropic ? VK_TRUE : VK_FALSE,
        .maxAnisotropy =
            isAnisotropic ? std::min(float(descriptor.maxAnisotropy), device.limits.maxSamplerAnisotropy) : 1.0F,
        .compareEnable = descriptor.compares && !isPixelAddressed ? VK_TRUE : VK_FALSE,
        .compareOp = toVulkan(descriptor.compareFunction),
        .minLod = isPixelAddressed || !hasMips ? 0.0F : descriptor.lodMin,
        .maxLod = isPixelAddressed || !hasMips ? 0.0F : std::min(descriptor.lodMax, 1000.0F),
        .borderColor =
            borderColor(descriptor.addressS == SamplerAddressMode::clampToZero ? SamplerBorderColor::transparentBlack
                                                                               : descriptor.borderColor),
        .unnormalizedCoordinates = isPixelAddressed ? VK_TRUE : VK_FALSE};
    VkSampler handle = VK_NULL_HANDLE;
    if (auto made =
            device.call("creating a sampler", [&] { return vkCreateSampler(device.handle, &info, nullptr, &handle); });
        !made)
        return std::unexpected(made.error());
    return handle;
}

} // namespace vulkan
} // namespace gpu
