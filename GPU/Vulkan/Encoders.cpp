#include "GPU/Encoders.h"

#include "GPU/Vulkan/Commands.h"

#include <algorithm>
#include <cstring>

namespace gpu {

void ArgumentTable::clear() {
    buffers.fill({});
    textures.fill({});
    samplers.fill(VK_NULL_HANDLE);
    isDirty = true;
}

void CommandBufferImpl::setBuffer(ArgumentTable& table, const std::shared_ptr<Buffer>& buffer, std::size_t offset,
                                  std::uint32_t index) {
    if (index >= maxBufferArguments) return;
    table.isDirty = true;
    if (buffer == nullptr || offset >= buffer->length() || buffer->impl().device.get() != device) {
        table.buffers[index] = {};
        return;
    }
    recording->hold(buffer);
    table.buffers[index] = {buffer->impl().handle, offset, buffer->length() - offset, nullptr};
}

void CommandBufferImpl::setBytes(ArgumentTable& table, const void* bytes, std::size_t length, std::uint32_t index) {
    if (index >= maxBufferArguments || bytes == nullptr || length == 0 || length > maxInlineBytes) return;
    const vulkan::UploadSlice slice = recording->upload(length);
    if (slice.mapped == nullptr) return;
    std::memcpy(slice.mapped, bytes, length);
    table.isDirty = true;
    table.buffers[index] = {slice.buffer, slice.offset, length, slice.mapped};
}

void CommandBufferImpl::setTexture(ArgumentTable& table, const std::shared_ptr<Texture>& texture, std::uint32_t index) {
    if (index >= maxTextureArguments) return;
    table.isDirty = true;
    if (texture == nullptr ||
        (!texture->impl().descriptor.usage.shaderRead && !texture->impl().descriptor.usage.shaderWrite) ||
        texture->impl().device.get() != device) {
        table.textures[index] = {};
        return;
    }
    recording->hold(texture);
    table.textures[index] = {texture->impl().view, texture->impl().restLayout};
}

void CommandBufferImpl::setSampler(ArgumentTable& table, const std::shared_ptr<SamplerState>& sampler,
                                   std::uint32_t index) {
    if (index >= maxSamplerArguments) return;
    recording->hold(sampler);
    table.isDirty = true;
    table.samplers[index] = sampler != nullptr ? sampler->impl().handle : VK_NULL_HANDLE;
}

// Makes a descriptor set of what the table holds for the function's arguments. False when the draw cannot go ahead: no
// memory, or a texture or sampler is missing.
bool CommandBufferImpl::bindSet(const FunctionDescriptor& function, const ArgumentTable& table,
                                VkDescriptorSetLayout setLayout, VkPipelineLayout layout, VkPipelineBindPoint point,
                                std::uint32_t index) {
    if (function.arguments.empty()) return true;
    constexpr std::size_t batch = 32;
    std::array<VkWriteDescriptorSet, batch> writes;
    std::array<VkDescriptorBufferInfo, batch> bufferInfos;
    std::array<VkDescriptorImageInfo, batch> imageInfos;
    std::uint32_t count = 0;

    const VkDescriptorSet set = recording->allocateSet(setLayout);
    if (set == VK_NULL_HANDLE) return false;
    for (const ArgumentBinding& argument : function.arguments) {
        if (argument.kind == ArgumentKind::constantSampler) continue;
        VkWriteDescriptorSet& write = writes[count];
        write = {.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET,
                 .pNext = nullptr,
                 .dstSet = set,
                 .dstBinding = argument.binding,
                 .dstArrayElement = 0,
                 .descriptorCount = 1,
                 .descriptorType = vulkan::toVulkan(argument.kind),
                 .pImageInfo = &imageInfos[count],
                 .pBufferInfo = &bufferInfos[count],
                 .pTexelBufferView = nullptr};
        switch (argument.kind) {
        case ArgumentKind::uniformBuffer:
        case ArgumentKind::storageBuffer: {
            BufferSlot slot = table.buffers[argument.index];
            const std::size_t minimum = std::max<std::size_t>(argument.minimumLength, 16);
            const bool isInlineAndShort = slot.inlineBytes != nullptr && slot.length < minimum;
            if (slot.buffer == VK_NULL_HANDLE || isInlineAndShort) {
                const vulkan::UploadSlice slice = recording->upload(minimum);
                if (slice.mapped == nullptr) return false;
                std::memset(slice.mapped, 0, minimum);
                if (isInlineAndShort) std::memcpy(slice.mapped, slot.inlineBytes, slot.length);
                slot = {slice.buffer, slice.offset, minimum, nullptr};
            }
            const bool isUniform = argument.kind == ArgumentKind::uniformBuffer;
            const VkDeviceSize limit =
                isUniform ? device->limits.maxUniformBufferRange : device->limits.maxStorageBufferRange;
            bufferInfos[count] = {slot.buffer, slot.offset, std::min(slot.length, limit)};
            break;
        }
        case ArgumentKind::sampledTexture:
        case ArgumentKind::storageTexture: {
            const TextureSlot& slot = table.textures[argument.index];
            if (slot.view == VK_NULL_HANDLE) return false;
            imageInfos[count] = {VK_NULL_HANDLE, slot.view, slot.layout};
            break;
        }
        case ArgumentKind::sampler: {
            const VkSampler sampler = table.samplers[argument.index];
            if (sampler == VK_NULL_HANDLE) return false;
            imageInfos[count] = {sampler, VK_NULL_HANDLE, VK_IMAGE_LAYOUT_UNDEFINED};
            break;
        }
        case ArgumentKind::constantSampler: break;
        }
        if (++count == batch) {
            vkUpdateDescriptorSets(device->handle, count, writes.data(), 0, nullptr);
            count = 0;
        }
    }
    if (count > 0) vkUpdateDescriptorSets(device->handle, count, writes.data(), 0, nullptr);
    vkCmdBindDescriptorSets(commands, point, layout, index, 1, &set, 0, nullptr);
    return true;
}

void CommandBufferImpl::draw(PrimitiveType type, std::uint32_t start, std::uint32_t count, std::uint32_t instances) {
    if (count > 0 && instances > 0 && prepareDraw(type)) vkCmdDraw(commands, count, instances, start, 0);
}

void CommandBufferImpl::drawIndirect(PrimitiveType type, const std::shared_ptr<Buffer>& counts, std::size_t offset) {
    constexpr std::size_t length = 4 * sizeof(std::uint32_t);
    if (counts == nullptr || counts->impl().device.get() != device || offset % 4 != 0 || counts->length() < length ||
        offset > counts->length() - length || !prepareDraw(type))
        return;
    recording->hold(counts);
    vkCmdDrawIndirect(commands, counts->impl().handle, offset, 1, length);
}

bool CommandBufferImpl::prepareDraw(PrimitiveType type) {
    if (open != Open::render || renderPipeline == nullptr) return false;
    const RenderPipelineState::Impl& pipeline = renderPipeline->impl();
    if (pipelineIsDirty) {
        vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline.handle);
        vertexOrKernel.isDirty = true;
        fragment.isDirty = true;
        pipelineIsDirty = false;
    }
    if (vertexOrKernel.isDirty) {
        if (!bindSet(pipeline.descriptor.vertexFunction->descriptor(), vertexOrKernel, pipeline.layout.sets[0],
                     pipeline.layout.handle, VK_PIPELINE_BIND_POINT_GRAPHICS, 0))
            return false;
        vertexOrKernel.isDirty = false;
    }
    if (fragment.isDirty && pipeline.descriptor.fragmentFunction != nullptr) {
        if (!bindSet(pipeline.descriptor.fragmentFunction->descriptor(), fragment, pipeline.layout.sets[1],
                     pipeline.layout.handle, VK_PIPELINE_BIND_POINT_GRAPHICS, 1))
            return false;
        fragment.isDirty = false;
    }
    vkCmdSetPrimitiveTopology(commands, vulkan::toVulkan(type));
    return true;
}

void CommandBufferImpl::dispatch(Size grid) {
    if (open != Open::compute || computePipeline == nullptr || grid.width == 0 || grid.height == 0 || grid.depth == 0)
        return;
    const ComputePipelineState::Impl& pipeline = computePipeline->impl();
    if (hasDispatched) recording->fullBarrier(VK_PIPELINE_STAGE_2_COMPUTE_SHADER_BIT);
    if (pipelineIsDirty) {
        vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_COMPUTE, pipeline.handle);
        vertexOrKernel.isDirty = true;
        pipelineIsDirty = false;
    }
    if (vertexOrKernel.isDirty) {
        if (!bindSet(pipeline.function->descriptor(), vertexOrKernel, pipeline.layout.sets[0], pipeline.layout.handle,
                     VK_PIPELINE_BIND_POINT_COMPUTE, 0))
            return;
        vertexOrKernel.isDirty = false;
    }
    const Size group = pipeline.threadsPerThreadgroup;
    const auto groups = [](std::uint32_t threads, std::uint32_t perGroup) {
        return threads / perGroup + (threads % perGroup != 0 ? 1 : 0);
    };
    const std::uint32_t counts[] = {groups(grid.width, group.width), groups(grid.height, group.height),
                                    groups(grid.depth, group.depth)};
    for (std::size_t i = 0; i < 3; ++i)
        if (counts[i] > device->limits.maxComputeWorkGroupCount[i]) return;
    vkCmdDispatch(commands, counts[0], counts[1], counts[2]);
    hasDispatched = true;
}

// RenderCommandEncoder

void RenderCommandEncoder::setRenderPipelineState(const std::shared_ptr<RenderPipelineState>& pipeline) {
    if (pipeline == nullptr || pipeline->impl().device.get() != commands_.device ||
        pipeline == commands_.renderPipeline)
        return;
    commands_.recording->hold(pipeline);
    commands_.renderPipeline = pipeline;
    commands_.pipelineIsDirty = true;
}

void RenderCommandEncoder::setDepthStencilState(const std::shared_ptr<DepthStencilState>& state) {
    if (state == nullptr || !commands_.passHasDepth) return;
    commands_.depthState = state->descriptor();
    vkCmdSetDepthWriteEnable(commands_.commands, commands_.depthState.depthWriteEnabled ? VK_TRUE : VK_FALSE);
    vkCmdSetDepthCompareOp(commands_.commands, vulkan::toVulkan(commands_.depthState.depthCompare));
}

void RenderCommandEncoder::setCullMode(CullMode mode) {
    VkCullModeFlags flags = VK_CULL_MODE_NONE;
    if (mode != CullMode::none) flags = mode == CullMode::front ? VK_CULL_MODE_FRONT_BIT : VK_CULL_MODE_BACK_BIT;
    vkCmdSetCullMode(commands_.commands, flags);
}

void RenderCommandEncoder::setFrontFacing(Winding winding) {
    vkCmdSetFrontFace(commands_.commands,
                      winding == Winding::clockwise ? VK_FRONT_FACE_CLOCKWISE : VK_FRONT_FACE_COUNTER_CLOCKWISE);
}

void RenderCommandEncoder::setViewport(const Viewport& viewport) {
    const VkViewport flipped{float(viewport.originX),
                             float(viewport.originY + viewport.height),
                             float(viewport.width),
                             -float(viewport.height),
                             0,
                             1};
    vkCmdSetViewport(commands_.commands, 0, 1, &flipped);
}

void RenderCommandEncoder::setScissorRect(const Region& rectangle) {
    const VkExtent2D size = commands_.targetSize;
    const std::uint32_t x = std::min(rectangle.x, size.width);
    const std::uint32_t y = std::min(rectangle.y, size.height);
    const VkRect2D scissor{{std::int32_t(x), std::int32_t(y)},
                           {std::min(rectangle.width, size.width - x), std::min(rectangle.height, size.height - y)}};
    vkCmdSetScissor(commands_.commands, 0, 1, &scissor);
}

void RenderCommandEncoder::setVertexBuffer(const std::shared_ptr<Buffer>& buffer, std::size_t offset,
                                           std::uint32_t index) {
    commands_.setBuffer(commands_.vertexOrKernel, buffer, offset, index);
}
void RenderCommandEncoder::setVertexBytes(const void* bytes, std::size_t length, std::uint32_t index) {
    commands_.setBytes(commands_.vertexOrKernel, bytes, length, index);
}
void RenderCommandEncoder::setVertexTexture(const std::shared_ptr<Texture>& texture, std::uint32_t index) {
    commands_.setTexture(commands_.vertexOrKernel, texture, index);
}
void RenderCommandEncoder::setVertexSamplerState(const std::shared_ptr<SamplerState>& sampler, std::uint32_t index) {
    commands_.setSampler(commands_.vertexOrKernel, sampler, index);
}
void RenderCommandEncoder::setFragmentBuffer(const std::shared_ptr<Buffer>& buffer, std::size_t offset,
                                             std::uint32_t index) {
    commands_.setBuffer(commands_.fragment, buffer, offset, index);
}
void RenderCommandEncoder::setFragmentBytes(const void* bytes, std::size_t length, std::uint32_t index) {
    commands_.setBytes(commands_.fragment, bytes, length, index);
}
void RenderCommandEncoder::setFragmentTexture(const std::shared_ptr<Texture>& texture, std::uint32_t index) {
    commands_.setTexture(commands_.fragment, texture, index);
}
void RenderCommandEncoder::setFragmentSamplerState(const std::shared_ptr<SamplerState>& sampler, std::uint32_t index) {
    commands_.setSampler(commands_.fragment, sampler, index);
}

void RenderCommandEncoder::drawPrimitives(PrimitiveType type, std::uint32_t vertexStart, std::uint32_t vertexCount,
                                          std::uint32_t instanceCount) {
    commands_.draw(type, vertexStart, vertexCount, instanceCount);
}

void RenderCommandEncoder::drawPrimitives(PrimitiveType type, const std::shared_ptr<Buffer>& counts,
                                          std::size_t offset) {
    commands_.drawIndirect(type, counts, offset);
}

void RenderCommandEncoder::endEncoding() {
    if (commands_.open == CommandBufferImpl::Open::render) commands_.endPass();
}

// ComputeCommandEncoder

void ComputeCommandEncoder::setComputePipelineState(const std::shared_ptr<ComputePipelineState>& pipeline) {
    if (pipeline == nullptr || pipeline->impl().device.get() != commands_.device ||
        pipeline == commands_.computePipeline)
        return;
    commands_.recording->hold(pipeline);
    commands_.computePipeline = pipeline;
    commands_.pipelineIsDirty = true;
}

void ComputeCommandEncoder::setBuffer(const std::shared_ptr<Buffer>& buffer, std::size_t offset, std::uint32_t index) {
    commands_.setBuffer(commands_.vertexOrKernel, buffer, offset, index);
}
void ComputeCommandEncoder::setBytes(const void* bytes, std::size_t length, std::uint32_t index) {
    commands_.setBytes(commands_.vertexOrKernel, bytes, length, index);
}
void ComputeCommandEncoder::setTexture(const std::shared_ptr<Texture>& texture, std::uint32_t index) {
    commands_.setTexture(commands_.vertexOrKernel, texture, index);
}
void ComputeCommandEncoder::setSamplerState(const std::shared_ptr<SamplerState>& sampler, std::uint32_t index) {
    commands_.setSampler(commands_.vertexOrKernel, sampler, index);
}

void ComputeCommandEncoder::dispatchThreads(Size grid) {
    commands_.dispatch(grid);
}

void ComputeCommandEncoder::endEncoding() {
    if (commands_.open == CommandBufferImpl::Open::compute) commands_.endCompute();
}

} // namespace gpu
