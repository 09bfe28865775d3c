#include "benchmarks/BareWork.h"

#include "benchmarks/Glsl.h"

#include <algorithm>
#include <ranges>

namespace bench {
BareWork::BareWork(const char* deviceName, std::uint32_t width, std::uint32_t height)
    : bare_(deviceName), device_(bare_.handle()), size_{width, height} {
    for (const VkFilter filter : {VK_FILTER_NEAREST, VK_FILTER_LINEAR}) {
        auto info = make<VkSamplerCreateInfo>(VK_STRUCTURE_TYPE_SAMPLER_CREATE_INFO);
        info.magFilter = info.minFilter = filter;
        info.addressModeU = info.addressModeV = info.addressModeW = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
        check(vkCreateSampler(device_, &info, nullptr, &samplers_[filter == VK_FILTER_LINEAR ? 1 : 0]),
              "creating a sampler");
    }
    constexpr VkShaderStageFlags stages =
        VK_SHADER_STAGE_VERTEX_BIT | VK_SHADER_STAGE_FRAGMENT_BIT | VK_SHADER_STAGE_COMPUTE_BIT;
    VkDescriptorSetLayoutBinding places[bindings];
    for (std::uint32_t i = 0; i < bindings; ++i) {
        places[i] = {i, VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, 1, stages, nullptr};
        if (i == 0 || i == 4) places[i].descriptorType = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
        if (i == 5) places[i].descriptorType = VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
    }
    auto setInfo = make<VkDescriptorSetLayoutCreateInfo>(VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO);
    setInfo.bindingCount = bindings;
    setInfo.pBindings = places;
    check(vkCreateDescriptorSetLayout(device_, &setInfo, nullptr, &setLayout_), "creating the set layout");
    const VkDescriptorPoolSize sizes[] = {{VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, 48},
                                          {VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, 32},
                                          {VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, 16}};
    auto descriptorInfo = make<VkDescriptorPoolCreateInfo>(VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO);
    descriptorInfo.maxSets = 16;
    descriptorInfo.poolSizeCount = std::size(sizes);
    descriptorInfo.pPoolSizes = sizes;
    check(vkCreateDescriptorPool(device_, &descriptorInfo, nullptr, &descriptors_), "creating the descriptor pool");
    auto layoutInfo = make<VkPipelineLayoutCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO);
    layoutInfo.setLayoutCount = 1;
    layoutInfo.pSetLayouts = &setLayout_;
    check(vkCreatePipelineLayout(device_, &layoutInfo, nullptr, &layout_), "creating the pipeline layout");
}

BareWork::~BareWork() {
    vkDeviceWaitIdle(device_);
    for (const auto& destroy : std::views::reverse(destroy_))
        destroy();
    for (VkSampler sampler : samplers_)
        vkDestroySampler(device_, sampler, nullptr);
    vkDestroyPipelineLayout(device_, layout_, nullptr);
    vkDestroyDescriptorPool(device_, descriptors_, nullptr);
    vkDestroyDescriptorSetLayout(device_, setLayout_, nullptr);
}

VkDeviceMemory BareWork::allocate(const VkMemoryRequirements& requirements, VkMemoryPropertyFlags flags) {
    VkDeviceMemory memory = bare_.allocate(requirements, flags);
    destroy_.emplace_back([this, memory] { vkFreeMemory(device_, memory, nullptr); });
    return memory;
}

BareWork::Buffer BareWork::makeBuffer(VkDeviceSize length, bool isMapped) {
    Buffer buffer;
    buffer.length = length;
    auto info = make<VkBufferCreateInfo>(VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO);
    info.size = length;
    info.usage = VK_BUFFER_USAGE_STORAGE_BUFFER_BIT | VK_BUFFER_USAGE_UNIFORM_BUFFER_BIT |
                 VK_BUFFER_USAGE_INDIRECT_BUFFER_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT;
    check(vkCreateBuffer(device_, &info, nullptr, &buffer.handle), "creating a buffer");
    VkMemoryRequirements requirements;
    vkGetBufferMemoryRequirements(device_, buffer.handle, &requirements);
    const VkDeviceMemory memory =
        allocate(requirements, isMapped ? VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT
                                        : VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT);
    destroy_.emplace_back([this, handle = buffer.handle] { vkDestroyBuffer(device_, handle, nullptr); });
    check(vkBindBufferMemory(device_, buffer.handle, memory, 0), "binding a buffer");
    void* mapped = nullptr;
    if (isMapped) check(vkMapMemory(device_, memory, 0, VK_WHOLE_SIZE, 0, &mapped), "mapping a buffer");
    buffer.mapped = static_cast<std::uint8_t*>(mapped);
    return buffer;
}

BareWork::Image BareWork::makeImage(VkFormat format, VkImageUsageFlags usage, VkSampleCountFlagBits samples) {
    Image image;
    image.isDepth = format == VK_FORMAT_D32_SFLOAT;
    auto info = make<VkImageCreateInfo>(VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO);
    info.imageType = VK_IMAGE_TYPE_2D;
    info.format = format;
    info.extent = {size_.width, size_.height, 1};
    info.mipLevels = info.arrayLayers = 1;
    info.samples = samples;
    info.usage = usage;
    check(vkCreateImage(device_, &info, nullptr, &image.handle), "creating an image");
    VkMemoryRequirements requirements;
    vkGetImageMemoryRequirements(device_, image.handle, &requirements);
    const VkDeviceMemory memory = allocate(requirements, VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT);
    check(vkBindImageMemory(device_, image.handle, memory, 0), "binding an image");
    auto viewInfo = make<VkImageViewCreateInfo>(VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO);
    viewInfo.image = image.handle;
    viewInfo.viewType = VK_IMAGE_VIEW_TYPE_2D;
    viewInfo.format = format;
    viewInfo.subresourceRange = {
        VkImageAspectFlags(image.isDepth ? VK_IMAGE_ASPECT_DEPTH_BIT : VK_IMAGE_ASPECT_COLOR_BIT), 0, 1, 0, 1};
    check(vkCreateImageView(device_, &viewInfo, nullptr, &image.view), "creating a view");
    destroy_.emplace_back([this, made = image] {
        vkDestroyImageView(device_, made.view, nullptr);
        vkDestroyImage(device_, made.handle, nullptr);
    });
    return image;
}

VkDescriptorSet BareWork::makeSet(std::initializer_list<const Buffer*> buffers, const Image* image, bool isSmooth) {
    auto info = make<VkDescriptorSetAllocateInfo>(VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO);
    info.descriptorPool = descriptors_;
    info.descriptorSetCount = 1;
    info.pSetLayouts = &setLayout_;
    VkDescriptorSet set = VK_NULL_HANDLE;
    check(vkAllocateDescriptorSets(device_, &info, &set), "allocating a set");
    std::uint32_t binding = 0;
    auto write = make<VkWriteDescriptorSet>(VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET);
    write.dstSet = set;
    write.descriptorCount = 1;
    for (const Buffer* buffer : buffers) {
        write.dstBinding = binding++;
        if (buffer == nullptr) continue;
        write.descriptorType = write.dstBinding == 0 || write.dstBinding == 4 ? VK_DESCRIPTOR_TYPE_STORAGE_BUFFER
                                                                              : VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER;
        const VkDescriptorBufferInfo bufferInfo{buffer->handle, 0, buffer->length};
        write.pBufferInfo = &bufferInfo;
        vkUpdateDescriptorSets(device_, 1, &write, 0, nullptr);
    }
    if (image != nullptr) {
        write.dstBinding = 5;
        write.descriptorType = VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
        const VkDescriptorImageInfo imageInfo{samplers_[isSmooth ? 1 : 0], image->view,
                                              VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL};
        write.pImageInfo = &imageInfo;
        vkUpdateDescriptorSets(device_, 1, &write, 0, nullptr);
    }
    return set;
}

VkPipelineShaderStageCreateInfo BareWork::stage(VkShaderStageFlagBits stage, const std::string& glsl) {
    const GlslStage kind = stage == VK_SHADER_STAGE_VERTEX_BIT     ? GlslStage::vertex
                           : stage == VK_SHADER_STAGE_FRAGMENT_BIT ? GlslStage::fragment
                                                                   : GlslStage::kernel;
    const std::vector<std::uint32_t> code = compileGlsl(kind, glsl);
    auto moduleInfo = make<VkShaderModuleCreateInfo>(VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO);
    moduleInfo.codeSize = code.size() * 4;
    moduleInfo.pCode = code.data();
    auto info = make<VkPipelineShaderStageCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO);
    info.stage = stage;
    info.pName = "main";
    check(vkCreateShaderModule(device_, &moduleInfo, nullptr, &info.module), "loading a module");
    destroy_.emplace_back([this, module = info.module] { vkDestroyShaderModule(device_, module, nullptr); });
    return info;
}

VkPipeline BareWork::makeKernel(const std::string& glsl) {
    auto info = make<VkComputePipelineCreateInfo>(VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO);
    info.stage = stage(VK_SHADER_STAGE_COMPUTE_BIT, glsl);
    info.layout = layout_;
    VkPipeline pipeline = VK_NULL_HANDLE;
    check(vkCreateComputePipelines(device_, VK_NULL_HANDLE, 1, &info, nullptr, &pipeline), "creating a kernel");
    destroy_.emplace_back([this, pipeline] { vkDestroyPipeline(device_, pipeline, nullptr); });
    return pipeline;
}

VkPipeline BareWork::makeGraphics(const Graphics& wanted) {
    const VkPipelineShaderStageCreateInfo stages[] = {stage(VK_SHADER_STAGE_VERTEX_BIT, wanted.vertex),
                                                      stage(VK_SHADER_STAGE_FRAGMENT_BIT, wanted.fragment)};
    const auto vertexInput =
        make<VkPipelineVertexInputStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO);
    auto assembly =
        make<VkPipelineInputAssemblyStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO);
    assembly.topology = wanted.topology;
    const VkRect2D scissor{{0, 0}, size_};
    auto viewports = make<VkPipelineViewportStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO);
    viewports.viewportCount = viewports.scissorCount = 1;
    viewports.pViewports = &wanted.viewport;
    viewports.pScissors = &scissor;
    auto raster =
        make<VkPipelineRasterizationStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO);
    raster.lineWidth = 1;
    auto multisample =
        make<VkPipelineMultisampleStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO);
    multisample.rasterizationSamples = wanted.samples;
    auto depth =
        make<VkPipelineDepthStencilStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_DEPTH_STENCIL_STATE_CREATE_INFO);
    depth.depthTestEnable = depth.depthWriteEnable = wanted.hasDepth && !wanted.depthAlways ? VK_TRUE : VK_FALSE;
    depth.depthCompareOp = VK_COMPARE_OP_LESS;
    VkPipelineColorBlendAttachmentState attachment{};
    attachment.colorWriteMask = 0xf;
    attachment.blendEnable = wanted.adds ? VK_TRUE : VK_FALSE;
    attachment.srcColorBlendFactor = attachment.dstColorBlendFactor = VK_BLEND_FACTOR_ONE;
    attachment.srcAlphaBlendFactor = attachment.dstAlphaBlendFactor = VK_BLEND_FACTOR_ONE;
    auto blend = make<VkPipelineColorBlendStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO);
    blend.attachmentCount = 1;
    blend.pAttachments = &attachment;
    auto rendering = make<VkPipelineRenderingCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_RENDERING_CREATE_INFO);
    rendering.colorAttachmentCount = 1;
    rendering.pColorAttachmentFormats = &wanted.color;
    rendering.depthAttachmentFormat = wanted.hasDepth ? VK_FORMAT_D32_SFLOAT : VK_FORMAT_UNDEFINED;
    auto info = make<VkGraphicsPipelineCreateInfo>(VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO);
    info.pNext = &rendering;
    info.stageCount = 2;
    info.pStages = stages;
    info.pVertexInputState = &vertexInput;
    info.pInputAssemblyState = &assembly;
    info.pViewportState = &viewports;
    info.pRasterizationState = &raster;
    info.pMultisampleState = &multisample;
    info.pDepthStencilState = &depth;
    info.pColorBlendState = &blend;
    info.layout = layout_;
    VkPipeline pipeline = VK_NULL_HANDLE;
    check(vkCreateGraphicsPipelines(device_, VK_NULL_HANDLE, 1, &info, nullptr, &pipeline), "creating a pipeline");
    destroy_.emplace_back([this, pipeline] { vkDestroyPipeline(device_, pipeline, nullptr); });
    return pipeline;
}

VkViewport BareWork::viewport(float guard) const {
    const auto width = float(size_.width), height = float(size_.height);
    return {-width * (guard - 1) / 2, height + height * (guard - 1) / 2, width * guard, -height * guard, 0, 1};
}

void BareWork::barrier(VkCommandBuffer commands) const {
    auto barrier = make<VkMemoryBarrier>(VK_STRUCTURE_TYPE_MEMORY_BARRIER);
    barrier.srcAccessMask = VK_ACCESS_MEMORY_WRITE_BIT;
    barrier.dstAccessMask = VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT;
    vkCmdPipelineBarrier(commands, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT, 0, 1,
                         &barrier, 0, nullptr, 0, nullptr);
}

void BareWork::move(VkCommandBuffer commands, Image& image, VkImageLayout to) const {
    auto barrier = make<VkImageMemoryBarrier>(VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER);
    barrier.srcAccessMask = VK_ACCESS_MEMORY_WRITE_BIT;
    barrier.dstAccessMask = VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT;
    barrier.oldLayout = image.layout;
    barrier.newLayout = to;
    barrier.srcQueueFamilyIndex = barrier.dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
    barrier.image = image.handle;
    barrier.subresourceRange = {
        VkImageAspectFlags(image.isDepth ? VK_IMAGE_ASPECT_DEPTH_BIT : VK_IMAGE_ASPECT_COLOR_BIT), 0, 1, 0, 1};
    image.layout = to;
    vkCmdPipelineBarrier(commands, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT, 0, 0,
                         nullptr, 0, nullptr, 1, &barrier);
}

void BareWork::bind(VkCommandBuffer commands, VkPipelineBindPoint point, VkPipeline pipeline,
                    VkDescriptorSet set) const {
    vkCmdBindPipeline(commands, point, pipeline);
    vkCmdBindDescriptorSets(commands, point, layout_, 0, 1, &set, 0, nullptr);
}

void BareWork::beginPass(VkCommandBuffer commands, const Image& color, VkAttachmentLoadOp load, VkClearColorValue clear,
                         const Image* resolved, const Image* depth) const {
    auto attachment = make<VkRenderingAttachmentInfo>(VK_STRUCTURE_TYPE_RENDERING_ATTACHMENT_INFO);
    attachment.imageView = color.view;
    attachment.imageLayout = VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL;
    attachment.loadOp = load;
    attachment.storeOp = resolved == nullptr ? VK_ATTACHMENT_STORE_OP_STORE : VK_ATTACHMENT_STORE_OP_DONT_CARE;
    attachment.clearValue.color = clear;
    if (resolved != nullptr) {
        attachment.resolveMode = VK_RESOLVE_MODE_AVERAGE_BIT;
        attachment.resolveImageView = resolved->view;
        attachment.resolveImageLayout = VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL;
    }
    auto rendering = make<VkRenderingInfo>(VK_STRUCTURE_TYPE_RENDERING_INFO);
    rendering.renderArea = {{0, 0}, size_};
    rendering.layerCount = 1;
    rendering.colorAttachmentCount = 1;
    rendering.pColorAttachments = &attachment;
    auto depthAttachment = make<VkRenderingAttachmentInfo>(VK_STRUCTURE_TYPE_RENDERING_ATTACHMENT_INFO);
    if (depth != nullptr) {
        depthAttachment.imageView = depth->view;
        depthAttachment.imageLayout = VK_IMAGE_LAYOUT_DEPTH_ATTACHMENT_OPTIMAL;
        depthAttachment.loadOp = VK_ATTACHMENT_LOAD_OP_CLEAR;
        depthAttachment.storeOp = VK_ATTACHMENT_STORE_OP_DONT_CARE;
        depthAttachment.clearValue.depthStencil.depth = 1;
        rendering.pDepthAttachment = &depthAttachment;
    }
    vkCmdBeginRendering(commands, &rendering);
}

std::vector<std::uint8_t> BareWork::pixels(Image& image) {
    const Buffer to = makeBuffer(VkDeviceSize(size_.width) * size_.height * 4, true);
    submit([&](VkCommandBuffer commands) {
        move(commands, image, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
        VkBufferImageCopy copy{};
        copy.imageSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
        copy.imageExtent = {size_.width, size_.height, 1};
        vkCmdCopyImageToBuffer(commands, image.handle, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, to.handle, 1, &copy);
        barrier(commands);
    });
    return {to.mapped, to.mapped + to.length};
}

} // namespace bench
