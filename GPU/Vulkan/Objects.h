// What the public objects hold on the Vulkan side, and how the layer's words translate into Vulkan's.
#pragma once

#include "GPU/Buffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Library.h"
#include "GPU/Pipeline.h"
#include "GPU/Texture.h"
#include "GPU/Vulkan/VulkanDevice.h"

#include <array>
#include <condition_variable>
#include <deque>
#include <vector>

namespace gpu {

struct Buffer::Impl {
    std::shared_ptr<vulkan::VulkanDevice> device;
    VkBuffer handle = VK_NULL_HANDLE;
    vulkan::Allocation allocation;
    std::size_t length = 0;

    ~Impl();
};

struct Texture::Impl {
    std::shared_ptr<vulkan::VulkanDevice> device;
    TextureDescriptor descriptor;
    VkImage image = VK_NULL_HANDLE;
    VkImageView view = VK_NULL_HANDLE;
    vulkan::Allocation allocation;
    bool ownsImage = true; // false for a swapchain's, whose handles become null when the presenter closes

    // Between encoders the texture is always in this layout.
    VkImageLayout restLayout = VK_IMAGE_LAYOUT_GENERAL;

    // Shared textures: either the image itself lies in host memory (isLinear), or this buffer mirrors it.
    bool isLinear = false;
    VkBuffer mirror = VK_NULL_HANDLE;
    vulkan::Allocation mirrorAllocation;
    std::byte* texels = nullptr;
    std::size_t rowBytes = 0;

    ~Impl();
    bool isDepth() const { return descriptor.format == PixelFormat::depth32Float; }
    VkImageAspectFlags aspect() const { return isDepth() ? VK_IMAGE_ASPECT_DEPTH_BIT : VK_IMAGE_ASPECT_COLOR_BIT; }
    VkExtent2D extent() const { return {descriptor.width, descriptor.height}; }
    bool contains(const Region& region) const;
};

struct SamplerState::Impl {
    std::shared_ptr<vulkan::VulkanDevice> device;
    VkSampler handle = VK_NULL_HANDLE;

    ~Impl();
};

struct Library::Impl {
    std::shared_ptr<vulkan::VulkanDevice> device;
    LibraryDescriptor descriptor;
    VkShaderModule module = VK_NULL_HANDLE;
    // The samplers written in the text, in the order of the functions' arguments.
    std::vector<std::vector<VkSampler>> constantSamplers;

    ~Impl();
    // The constant sampler of an argument of one of the library's functions.
    VkSampler constantSampler(const FunctionDescriptor& function, std::size_t argument) const;
};

namespace vulkan {

// The descriptor sets of a pipeline: set 0 from its vertex or kernel function, set 1 from its fragment function.
struct PipelineLayout {
    VkDescriptorSetLayout sets[2] = {VK_NULL_HANDLE, VK_NULL_HANDLE};
    VkPipelineLayout handle = VK_NULL_HANDLE;

    Result<void> make(VulkanDevice& device, const Function* first, const Function* second);
    void destroy(VulkanDevice& device);
};

} // namespace vulkan

struct RenderPipelineState::Impl {
    std::shared_ptr<vulkan::VulkanDevice> device;
    RenderPipelineDescriptor descriptor;
    vulkan::PipelineLayout layout;
    VkPipeline handle = VK_NULL_HANDLE;

    ~Impl();
};

struct ComputePipelineState::Impl {
    std::shared_ptr<vulkan::VulkanDevice> device;
    std::shared_ptr<Function> function;
    vulkan::PipelineLayout layout;
    VkPipeline handle = VK_NULL_HANDLE;
    Size threadsPerThreadgroup;

    ~Impl();
};

struct CommandQueue::Impl {
    std::shared_ptr<Device> device;
    QueuePriority priority = QueuePriority::live;
    std::mutex mutex;                     // guards:
    std::deque<std::uint64_t> unfinished; // background queues: the values of the last commits
};

namespace vulkan {

VkFormat toVulkan(PixelFormat format);
VkCompareOp toVulkan(CompareFunction function);
VkBlendFactor toVulkan(BlendFactor factor);
VkPrimitiveTopology toVulkan(PrimitiveType type);
VkPrimitiveTopology toVulkan(PrimitiveTopologyClass topology);
VkDescriptorType toVulkan(ArgumentKind kind);

std::uint32_t layerCount(const TextureDescriptor& descriptor);
// Whether Texture::upload() may fill it.
bool isUploaded(const TextureDescriptor& descriptor);

// Memory that the CPU sees, to copy from and to. The owner destroys it.
struct HostBuffer {
    VkBuffer handle = VK_NULL_HANDLE;
    Allocation allocation;

    static Result<HostBuffer> make(VulkanDevice& device, std::size_t length, const char* doing);
    void destroy(VulkanDevice& device);
};

Result<VkSampler> makeSampler(VulkanDevice& device, const SamplerDescriptor& descriptor);

// Moves an image from one layout to another, ordered after everything before and before everything after.
void transition(VkCommandBuffer commands, VkImage image, VkImageAspectFlags aspect, VkImageLayout from,
                VkImageLayout to);

} // namespace vulkan
} // namespace gpu
