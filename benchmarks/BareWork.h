// What a plain Vulkan program needs for work of several passes: memory, pictures, pipelines of one layout. It gives
// back nothing before its end.
#pragma once

#include "benchmarks/BareDevice.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>
#include <vulkan/vulkan.h>

namespace bench {

class BareWork {
  public:
    // Every pipeline sees the same set: storage buffers at 0 and 4, uniform blocks at 1, 2 and 3, a texture at 5.
    static constexpr std::uint32_t bindings = 6;

    struct Buffer {
        VkBuffer handle = VK_NULL_HANDLE;
        VkDeviceSize length = 0;
        std::uint8_t* mapped = nullptr; // null in device memory
    };
    struct Image {
        VkImage handle = VK_NULL_HANDLE;
        VkImageView view = VK_NULL_HANDLE;
        VkImageLayout layout = VK_IMAGE_LAYOUT_UNDEFINED;
        bool isDepth = false;
    };
    struct Graphics {
        std::string vertex; // GLSL
        std::string fragment;
        VkFormat color = VK_FORMAT_B8G8R8A8_UNORM;
        VkPrimitiveTopology topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
        VkSampleCountFlagBits samples = VK_SAMPLE_COUNT_1_BIT;
        bool adds = false;
        bool hasDepth = false;    // nearer wins
        bool depthAlways = false; // depth is there, and neither tested nor written
        VkViewport viewport{};
    };

    // On the device of that name, with passes of that size.
    BareWork(const char* deviceName, std::uint32_t width, std::uint32_t height);
    ~BareWork();
    BareWork(const BareWork&) = delete;
    BareWork& operator=(const BareWork&) = delete;

    Buffer makeBuffer(VkDeviceSize length, bool isMapped);
    Image makeImage(VkFormat format, VkImageUsageFlags usage, VkSampleCountFlagBits samples = VK_SAMPLE_COUNT_1_BIT);
    // A null buffer leaves its place empty; so does a null image.
    VkDescriptorSet makeSet(std::initializer_list<const Buffer*> buffers, const Image* image, bool isSmooth);
    VkPipeline makeKernel(const std::string& glsl);
    VkPipeline makeGraphics(const Graphics& wanted);
    // The y axis goes up, as in the shading language.
    VkViewport viewport(float guard = 1) const;

    void submit(const std::function<void(VkCommandBuffer)>& record) { bare_.submit(record); }
    // Everything before is seen by everything after.
    void barrier(VkCommandBuffer commands) const;
    void move(VkCommandBuffer commands, Image& image, VkImageLayout to) const;
    void bind(VkCommandBuffer commands, VkPipelineBindPoint point, VkPipeline pipeline, VkDescriptorSet set) const;
    void beginPass(VkCommandBuffer commands, const Image& color, VkAttachmentLoadOp load, VkClearColorValue clear = {},
                   const Image* resolved = nullptr, const Image* depth = nullptr) const;

    // Of an image of four bytes a pixel; rows from the top.
    std::vector<std::uint8_t> pixels(Image& image);

  private:
    VkDeviceMemory allocate(const VkMemoryRequirements& requirements, VkMemoryPropertyFlags flags);
    VkPipelineShaderStageCreateInfo stage(VkShaderStageFlagBits stage, const std::string& glsl);

    BareDevice bare_;
    VkDevice device_;
    VkExtent2D size_;
    VkDescriptorSetLayout setLayout_ = VK_NULL_HANDLE;
    VkDescriptorPool descriptors_ = VK_NULL_HANDLE;
    VkPipelineLayout layout_ = VK_NULL_HANDLE;
    VkSampler samplers_[2] = {VK_NULL_HANDLE, VK_NULL_HANDLE}; // nearest, linear
    std::vector<std::function<void()>> destroy_;
};

} // namespace bench
