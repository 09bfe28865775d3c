// A plain Vulkan program that draws one full-screen shader off screen: as little as can be between a SPIR-V module and
// its pixels. It shares nothing with the GPU layer. Ends the process on any failure.
#pragma once

#include "benchmarks/BareDevice.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>
#include <vulkan/vulkan.h>

namespace bench {

class BareVulkan {
  public:
    // On the device of that name.
    BareVulkan(const char* deviceName, std::uint32_t width, std::uint32_t height);
    ~BareVulkan();
    BareVulkan(const BareVulkan&) = delete;
    BareVulkan& operator=(const BareVulkan&) = delete;

    // Replaces the shader that is drawn.
    void setShader(const std::vector<std::uint32_t>& vertex, const std::vector<std::uint32_t>& fragment);

    // Records, submits and waits for one frame with these blocks at bindings 0 and 1.
    void draw(const void* uniforms, std::size_t uniformsLength, const void* parameters, std::size_t parametersLength);

    // The last frame: blue, green, red, alpha; rows from the top.
    std::vector<std::uint8_t> pixels();

  private:
    struct Memory {
        VkBuffer buffer = VK_NULL_HANDLE;
        VkDeviceMemory memory = VK_NULL_HANDLE;
        std::uint8_t* mapped = nullptr;
    };
    Memory makeBuffer(VkDeviceSize size, VkBufferUsageFlags usage);
    void moveImage(VkCommandBuffer commands, VkImageLayout from, VkImageLayout to) const;
    void dropShader();

    BareDevice bare_;
    VkDevice device_;
    VkExtent2D size_;
    VkImage image_ = VK_NULL_HANDLE;
    VkDeviceMemory imageMemory_ = VK_NULL_HANDLE;
    VkImageView view_ = VK_NULL_HANDLE;
    Memory blocks_;
    Memory readBack_;
    VkDescriptorSetLayout setLayout_ = VK_NULL_HANDLE;
    VkDescriptorPool descriptors_ = VK_NULL_HANDLE;
    VkDescriptorSet set_ = VK_NULL_HANDLE;
    VkPipelineLayout layout_ = VK_NULL_HANDLE;
    VkPipeline pipeline_ = VK_NULL_HANDLE;
    VkShaderModule modules_[2] = {VK_NULL_HANDLE, VK_NULL_HANDLE};
};

} // namespace bench
