// The recording behind a CommandBuffer and its encoders: argument tables, the open encoder, and what has to happen
// around passes so that callers need no barriers.
//
// Every encoder ends with a barrier that orders its work before everything after it, in this command buffer and the
// next ones, for all accesses; textures rest in one layout between encoders. So an encoder needs to know nothing of
// what came before. Used by one thread at a time.
#pragma once

#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Encoders.h"
#include "GPU/Presenter.h"
#include "GPU/Vulkan/Objects.h"
#include "GPU/Vulkan/Recording.h"

#include <array>
#include <atomic>
#include <optional>
#include <vector>

namespace gpu {

struct BufferSlot {
    VkBuffer buffer = VK_NULL_HANDLE;
    VkDeviceSize offset = 0;
    VkDeviceSize length = 0;
    const std::byte* inlineBytes = nullptr; // set by setBytes: where they lie in the ring
};

struct TextureSlot {
    VkImageView view = VK_NULL_HANDLE;
    VkImageLayout layout = VK_IMAGE_LAYOUT_UNDEFINED;
};

// What the encoder has set for one stage.
struct ArgumentTable {
    std::array<BufferSlot, maxBufferArguments> buffers;
    std::array<TextureSlot, maxTextureArguments> textures;
    std::array<VkSampler, maxSamplerArguments> samplers{};
    bool isDirty = true;

    void clear();
};

struct CommandBufferImpl {
    enum class Open : std::uint8_t { none, render, compute };

    std::shared_ptr<CommandQueue> queue;
    vulkan::VulkanDevice* device = nullptr;       // the queue's
    std::unique_ptr<vulkan::Recording> recording; // until the commit
    VkCommandBuffer commands = VK_NULL_HANDLE;

    std::optional<RenderCommandEncoder> renderEncoder;
    std::optional<ComputeCommandEncoder> computeEncoder;
    Open open = Open::none;

    ArgumentTable vertexOrKernel;
    ArgumentTable fragment;
    std::shared_ptr<RenderPipelineState> renderPipeline;
    std::shared_ptr<ComputePipelineState> computePipeline;
    bool pipelineIsDirty = false;
    DepthStencilDescriptor depthState;
    bool passHasDepth = false;
    bool hasDispatched = false;
    VkExtent2D targetSize{};
    struct Attachment {
        Texture::Impl* texture;
        VkImageLayout layoutInPass;
    };
    std::vector<Attachment> attachments;            // of the open pass
    std::vector<std::shared_ptr<Texture>> mirrored; // shared textures that were drawn into and need their copy

    std::shared_ptr<Drawable> drawable;
    std::vector<std::function<void(CommandBuffer&)>> handlers;

    std::atomic<bool> isCommitted = false;
    std::uint64_t value = 0; // on the device's timeline; 0 when the commit failed
    std::optional<Error> failure;

    bool beginPass(const RenderPassDescriptor& descriptor);
    void endPass();
    void endCompute();
    void endOpen();
    bool bindSet(const FunctionDescriptor& function, const ArgumentTable& table, VkDescriptorSetLayout setLayout,
                 VkPipelineLayout layout, VkPipelineBindPoint point, std::uint32_t index);
    void setBuffer(ArgumentTable& table, const std::shared_ptr<Buffer>& buffer, std::size_t offset,
                   std::uint32_t index);
    void setBytes(ArgumentTable& table, const void* bytes, std::size_t length, std::uint32_t index);
    void setTexture(ArgumentTable& table, const std::shared_ptr<Texture>& texture, std::uint32_t index);
    void setSampler(ArgumentTable& table, const std::shared_ptr<SamplerState>& sampler, std::uint32_t index);
    void draw(PrimitiveType type, std::uint32_t start, std::uint32_t count, std::uint32_t instances);
    bool prepareDraw(PrimitiveType type); // pipeline and arguments; false when the draw cannot go ahead
    void drawIndirect(PrimitiveType type, const std::shared_ptr<Buffer>& counts, std::size_t offset);
    void dispatch(Size grid);
    void copyMirrored();
};

struct CommandBuffer::Impl : CommandBufferImpl {};

namespace vulkan {

// Hands a committed drawable to its presenter: shown once the timeline reaches the value.
void presentWhenFinished(const std::shared_ptr<Drawable>& drawable, std::uint64_t value);

} // namespace vulkan
} // namespace gpu
