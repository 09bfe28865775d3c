#include "GPU/CommandBuffer.h"

#include "GPU/Vulkan/Commands.h"

#include <algorithm>
#include <utility>

namespace gpu {

CommandQueue::CommandQueue(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
CommandQueue::~CommandQueue() = default;
const std::shared_ptr<Device>& CommandQueue::device() const {
    return impl_->device;
}

Result<std::shared_ptr<CommandQueue>> Device::makeCommandQueue(QueuePriority priority) {
    if (auto made = impl_->core->call("making a command queue", [] { return VK_SUCCESS; }); !made)
        return std::unexpected(made.error());
    auto impl = std::make_unique<CommandQueue::Impl>();
    impl->device = shared_from_this();
    impl->priority = priority;
    return std::make_shared<CommandQueue>(std::move(impl));
}

std::shared_ptr<CommandBuffer> CommandQueue::commandBuffer() {
    vulkan::VulkanDevice& core = *impl_->device->impl().core;
    if (core.lost) return nullptr;
    Result<std::unique_ptr<vulkan::Recording>> recording = core.takeRecording();
    if (!recording) return nullptr;
    auto impl = std::make_unique<CommandBuffer::Impl>();
    impl->queue = shared_from_this();
    impl->device = &core;
    impl->recording = std::move(*recording);
    impl->commands = impl->recording->commands;
    return std::make_shared<CommandBuffer>(std::move(impl));
}

CommandBuffer::CommandBuffer(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

CommandBuffer::~CommandBuffer() {
    if (impl_->recording == nullptr) return;
    impl_->endOpen();
    impl_->device->giveBack(std::move(impl_->recording));
}

RenderCommandEncoder* CommandBuffer::makeRenderCommandEncoder(const RenderPassDescriptor& descriptor) {
    if (impl_->recording == nullptr || impl_->open != CommandBufferImpl::Open::none || impl_->device->lost)
        return nullptr;
    if (!impl_->beginPass(descriptor)) return nullptr;
    impl_->open = CommandBufferImpl::Open::render;
    return &impl_->renderEncoder.emplace(*impl_);
}

ComputeCommandEncoder* CommandBuffer::makeComputeCommandEncoder() {
    if (impl_->recording == nullptr || impl_->open != CommandBufferImpl::Open::none || impl_->device->lost)
        return nullptr;
    impl_->vertexOrKernel.clear();
    impl_->computePipeline = nullptr;
    impl_->pipelineIsDirty = false;
    impl_->hasDispatched = false;
    impl_->open = CommandBufferImpl::Open::compute;
    return &impl_->computeEncoder.emplace(*impl_);
}

void CommandBuffer::presentDrawable(std::shared_ptr<Drawable> drawable) {
    if (impl_->recording != nullptr) impl_->drawable = std::move(drawable);
}

void CommandBuffer::addCompletedHandler(std::function<void(CommandBuffer&)> handler) {
    if (impl_->recording != nullptr) impl_->handlers.push_back(std::move(handler));
}

void CommandBuffer::commit() {
    if (impl_->recording == nullptr) return;
    impl_->endOpen();
    impl_->copyMirrored();

    CommandQueue::Impl& queue = impl_->queue->impl();
    if (queue.priority == QueuePriority::background) {
        std::uint64_t waitFor = 0;
        {
            const std::lock_guard lock(queue.mutex);
            if (queue.unfinished.size() >= 2) {
                waitFor = queue.unfinished.front();
                queue.unfinished.pop_front();
            }
        }
        impl_->device->wait(waitFor);
    }
    Result<std::uint64_t> value = impl_->device->submit(std::move(impl_->recording));
    if (value) {
        impl_->value = *value;
        if (queue.priority == QueuePriority::background) {
            const std::lock_guard lock(queue.mutex);
            queue.unfinished.push_back(*value);
        }
        if (impl_->drawable != nullptr) vulkan::presentWhenFinished(impl_->drawable, *value);
    } else {
        impl_->failure = value.error();
    }
    impl_->drawable = nullptr;
    impl_->isCommitted = true;

    if (!impl_->handlers.empty())
        impl_->device->whenFinished(impl_->value, [self = shared_from_this()] {
            for (const auto& handler : std::exchange(self->impl_->handlers, {}))
                handler(*self);
        });
}

void CommandBuffer::waitUntilCompleted() {
    if (!impl_->isCommitted || impl_->value == 0) return;
    impl_->device->wait(impl_->value);
    impl_->device->reclaim();
}

void CommandBuffer::waitUntilCompleted(std::chrono::milliseconds atMost) {
    if (!impl_->isCommitted || impl_->value == 0) return;
    impl_->device->wait(impl_->value, std::chrono::steady_clock::now() + atMost);
    impl_->device->reclaim();
}

CommandBufferStatus CommandBuffer::status() const {
    if (!impl_->isCommitted) return CommandBufferStatus::notCommitted;
    if (impl_->value == 0 || impl_->device->failureOf(impl_->value)) return CommandBufferStatus::error;
    if (impl_->device->finishedValue() >= impl_->value) return CommandBufferStatus::completed;
    return impl_->device->lost ? CommandBufferStatus::error : CommandBufferStatus::committed;
}

Error CommandBuffer::error() const {
    if (impl_->failure) return *impl_->failure;
    if (std::optional<Error> late = impl_->device->failureOf(impl_->value)) return *late;
    if (status() == CommandBufferStatus::error) return vulkan::makeError(VK_ERROR_DEVICE_LOST, "drawing");
    return {};
}

// Passes.

bool CommandBufferImpl::beginPass(const RenderPassDescriptor& descriptor) {
    std::array<VkRenderingAttachmentInfo, maxColorAttachments> colors;
    std::uint32_t colorCount = 0;
    VkRenderingAttachmentInfo depth{};
    attachments.clear();
    bool isUsable = true;
    std::uint32_t samples = 0;

    const auto addAttachment = [&](const std::shared_ptr<Texture>& texture, LoadAction load) {
        Texture::Impl& impl = texture->impl();
        if (impl.image == VK_NULL_HANDLE || impl.device.get() != device || !impl.descriptor.usage.renderTarget ||
            (!attachments.empty() &&
             (impl.extent().width != targetSize.width || impl.extent().height != targetSize.height)))
            isUsable = false;
        if (!isUsable) return VK_IMAGE_LAYOUT_UNDEFINED;
        targetSize = impl.extent();
        const VkImageLayout layout = impl.isLinear ? VK_IMAGE_LAYOUT_GENERAL : VK_IMAGE_LAYOUT_ATTACHMENT_OPTIMAL;
        attachments.push_back({&impl, layout});
        recording->hold(texture);
        // Old content that nobody wants need not survive the change of layout.
        const VkImageLayout from = load == LoadAction::load ? impl.restLayout : VK_IMAGE_LAYOUT_UNDEFINED;
        if (from != layout) vulkan::transition(commands, impl.image, impl.aspect(), from, layout);
        if (impl.mirror != VK_NULL_HANDLE && std::ranges::find(mirrored, texture) == mirrored.end())
            mirrored.push_back(texture);
        return layout;
    };
    const auto loadOp = [](LoadAction action) {
        switch (action) {
        case LoadAction::load: return VK_ATTACHMENT_LOAD_OP_LOAD;
        case LoadAction::clear: return VK_ATTACHMENT_LOAD_OP_CLEAR;
        case LoadAction::dontCare: break;
        }
        return VK_ATTACHMENT_LOAD_OP_DONT_CARE;
    };
    const auto storeOp = [](StoreAction action) {
        return action == StoreAction::store ? VK_ATTACHMENT_STORE_OP_STORE : VK_ATTACHMENT_STORE_OP_DONT_CARE;
    };

    // Every texture is looked at before anything is recorded, so that an unusable descriptor leaves no trace.
    std::size_t wanted = 0;
    for (const RenderPassColorAttachment& color : descriptor.colorAttachments)
        wanted += color.texture != nullptr ? 1 : 0;
    for (std::size_t i = 0; i < wanted; ++i) {
        const RenderPassColorAttachment& color = descriptor.colorAttachments[i];
        if (color.texture == nullptr) return false; // a gap between the attachments
        if (color.storeAction == StoreAction::multisampleResolve && color.resolveTexture == nullptr) return false;
        if (samples != 0 && samples != color.texture->sampleCount()) return false;
        samples = color.texture->sampleCount();
        if (color.texture->impl().isDepth()) return false;
    }
    const RenderPassDepthAttachment& wantedDepth = descriptor.depthAttachment;
    if (wantedDepth.texture != nullptr &&
        (!wantedDepth.texture->impl().isDepth() || (samples != 0 && samples != wantedDepth.texture->sampleCount())))
        return false;
    if (wanted == 0 && wantedDepth.texture == nullptr) return false;

    for (std::size_t i = 0; i < wanted && isUsable; ++i) {
        const RenderPassColorAttachment& color = descriptor.colorAttachments[i];
        VkRenderingAttachmentInfo& info = colors[colorCount++];
        info = {};
        info.sType = VK_STRUCTURE_TYPE_RENDERING_ATTACHMENT_INFO;
        info.imageLayout = addAttachment(color.texture, color.loadAction);
        info.imageView = color.texture->impl().view;
        info.loadOp = loadOp(color.loadAction);
        info.storeOp = storeOp(color.storeAction);
        info.clearValue.color = {{float(color.clearColor.red), float(color.clearColor.green),
                                  float(color.clearColor.blue), float(color.clearColor.alpha)}};
        if (color.storeAction == StoreAction::multisampleResolve) {
            info.resolveMode = VK_RESOLVE_MODE_AVERAGE_BIT;
            info.resolveImageLayout = addAttachment(color.resolveTexture, LoadAction::dontCare);
            info.resolveImageView = color.resolveTexture->impl().view;
        }
    }
    passHasDepth = wantedDepth.texture != nullptr;
    if (passHasDepth && isUsable) {
        depth.sType = VK_STRUCTURE_TYPE_RENDERING_ATTACHMENT_INFO;
        depth.imageLayout = addAttachment(wantedDepth.texture, wantedDepth.loadAction);
        depth.imageView = wantedDepth.texture->impl().view;
        depth.loadOp = loadOp(wantedDepth.loadAction);
        depth.storeOp = storeOp(wantedDepth.storeAction);
        depth.clearValue.depthStencil = {float(wantedDepth.clearDepth), 0};
    }
    if (!isUsable) {
        for (const Attachment& attachment : attachments)
            if (attachment.layoutInPass != attachment.texture->restLayout)
                vulkan::transition(commands, attachment.texture->image, attachment.texture->aspect(),
                                   attachment.layoutInPass, attachment.texture->restLayout);
        attachments.clear();
        return false;
    }

    const VkRenderingInfo info{.sType = VK_STRUCTURE_TYPE_RENDERING_INFO,
                               .pNext = nullptr,
                               .flags = 0,
                               .renderArea = {{0, 0}, targetSize},
                               .layerCount = 1,
                               .viewMask = 0,
                               .colorAttachmentCount = colorCount,
                               .pColorAttachments = colors.data(),
                               .pDepthAttachment = passHasDepth ? &depth : nullptr,
                               .pStencilAttachment = nullptr};
    vkCmdBeginRendering(commands, &info);

    vertexOrKernel.clear();
    fragment.clear();
    renderPipeline = nullptr;
    pipelineIsDirty = false;
    depthState = {};
    // y points up in clip space: the viewport is flipped. Its lower edge is the target's last row.
    const VkViewport viewport{0, float(targetSize.height), float(targetSize.width), -float(targetSize.height), 0, 1};
    const VkRect2D scissor{{0, 0}, targetSize};
    vkCmdSetViewport(commands, 0, 1, &viewport);
    vkCmdSetScissor(commands, 0, 1, &scissor);
    vkCmdSetCullMode(commands, VK_CULL_MODE_NONE);
    vkCmdSetFrontFace(commands, VK_FRONT_FACE_CLOCKWISE);
    vkCmdSetDepthTestEnable(commands, passHasDepth ? VK_TRUE : VK_FALSE);
    vkCmdSetDepthWriteEnable(commands, VK_FALSE);
    vkCmdSetDepthCompareOp(commands, VK_COMPARE_OP_ALWAYS);
    return true;
}

void CommandBufferImpl::endPass() {
    vkCmdEndRendering(commands);
    recording->fullBarrier(VK_PIPELINE_STAGE_2_ALL_GRAPHICS_BIT);
    for (const Attachment& attachment : attachments)
        if (attachment.layoutInPass != attachment.texture->restLayout)
            vulkan::transition(commands, attachment.texture->image, attachment.texture->aspect(),
                               attachment.layoutInPass, attachment.texture->restLayout);
    attachments.clear();
    open = Open::none;
}

void CommandBufferImpl::endCompute() {
    if (hasDispatched) recording->fullBarrier(VK_PIPELINE_STAGE_2_COMPUTE_SHADER_BIT);
    open = Open::none;
}

void CommandBufferImpl::endOpen() {
    if (open == Open::render)
        endPass();
    else if (open == Open::compute)
        endCompute();
}

void CommandBufferImpl::copyMirrored() {
    for (const std::shared_ptr<Texture>& texture : mirrored) {
        const Texture::Impl& impl = texture->impl();
        vulkan::transition(commands, impl.image, impl.aspect(), impl.restLayout, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
        const VkBufferImageCopy copy{.bufferOffset = 0,
                                     .bufferRowLength = 0,
                                     .bufferImageHeight = 0,
                                     .imageSubresource = {impl.aspect(), 0, 0, 1},
                                     .imageOffset = {0, 0, 0},
                                     .imageExtent = {impl.descriptor.width, impl.descriptor.height, 1}};
        vkCmdCopyImageToBuffer(commands, impl.image, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, impl.mirror, 1, &copy);
        vulkan::transition(commands, impl.image, impl.aspect(), VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, impl.restLayout);
    }
    if (!mirrored.empty()) recording->fullBarrier(VK_PIPELINE_STAGE_2_COPY_BIT);
    mirrored.clear();
}

} // namespace gpu
