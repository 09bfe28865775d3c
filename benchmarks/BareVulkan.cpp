#include "benchmarks/BareVulkan.h"

#include <cstring>

namespace bench {
namespace {

constexpr VkDeviceSize parametersOffset = 256;

} // namespace

BareVulkan::BareVulkan(const char* deviceName, std::uint32_t width, std::uint32_t height)
    : bare_(deviceName), device_(bare_.handle()), size_{width, height} {
    auto imageInfo = make<VkImageCreateInfo>(VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO);
    imageInfo.imageType = VK_IMAGE_TYPE_2D;
    imageInfo.format = VK_FORMAT_B8G8R8A8_UNORM;
    imageInfo.extent = {width, height, 1};
    imageInfo.mipLevels = imageInfo.arrayLayers = 1;
    imageInfo.samples = VK_SAMPLE_COUNT_1_BIT;
    imageInfo.usage = VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT;
    check(vkCreateImage(device_, &imageInfo, nullptr, &image_), "creating the image");
    VkMemoryRequirements requirements;
    vkGetImageMemoryRequirements(device_, image_, &requirements);
    imageMemory_ = bare_.allocate(requirements, VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT);
    check(vkBindImageMemory(device_, image_, imageMemory_, 0), "binding the image");
    auto viewInfo = make<VkImageViewCreateInfo>(VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO);
    viewInfo.image = image_;
    viewInfo.viewType = VK_IMAGE_VIEW_TYPE_2D;
    viewInfo.format = imageInfo.format;
    viewInfo.subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
    check(vkCreateImageView(device_, &viewInfo, nullptr, &view_), "creating the view");
    blocks_ = makeBuffer(16384, VK_BUFFER_USAGE_UNIFORM_BUFFER_BIT);
    readBack_ = makeBuffer(VkDeviceSize(width) * height * 4, VK_BUFFER_USAGE_TRANSFER_DST_BIT);

    const VkDescriptorSetLayoutBinding bindings[] = {
        {0, VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, 1, VK_SHADER_STAGE_FRAGMENT_BIT, nullptr},
        {1, VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, 1, VK_SHADER_STAGE_FRAGMENT_BIT, nullptr}};
    auto setInfo = make<VkDescriptorSetLayoutCreateInfo>(VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO);
    setInfo.bindingCount = 2;
    setInfo.pBindings = bindings;
    check(vkCreateDescriptorSetLayout(device_, &setInfo, nullptr, &setLayout_), "creating the set layout");
    const VkDescriptorPoolSize poolSize{VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, 2};
    auto descriptorInfo = make<VkDescriptorPoolCreateInfo>(VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO);
    descriptorInfo.maxSets = 1;
    descriptorInfo.poolSizeCount = 1;
    descriptorInfo.pPoolSizes = &poolSize;
    check(vkCreateDescriptorPool(device_, &descriptorInfo, nullptr, &descriptors_), "creating the descriptor pool");
    auto allocateInfo = make<VkDescriptorSetAllocateInfo>(VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO);
    allocateInfo.descriptorPool = descriptors_;
    allocateInfo.descriptorSetCount = 1;
    allocateInfo.pSetLayouts = &setLayout_;
    check(vkAllocateDescriptorSets(device_, &allocateInfo, &set_), "allocating the set");
    const VkDescriptorBufferInfo bufferInfos[] = {{blocks_.buffer, 0, 32}, {blocks_.buffer, parametersOffset, 1024}};
    VkWriteDescriptorSet writes[2];
    for (std::uint32_t i = 0; i < 2; ++i) {
        writes[i] = make<VkWriteDescriptorSet>(VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET);
        writes[i].dstSet = set_;
        writes[i].dstBinding = i;
        writes[i].descriptorCount = 1;
        writes[i].descriptorType = VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER;
        writes[i].pBufferInfo = &bufferInfos[i];
    }
    vkUpdateDescriptorSets(device_, 2, writes, 0, nullptr);
    auto layoutInfo = make<VkPipelineLayoutCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO);
    layoutInfo.setLayoutCount = 1;
    layoutInfo.pSetLayouts = &setLayout_;
    check(vkCreatePipelineLayout(device_, &layoutInfo, nullptr, &layout_), "creating the pipeline layout");
}

BareVulkan::~BareVulkan() {
    vkDeviceWaitIdle(device_);
    dropShader();
    vkDestroyPipelineLayout(device_, layout_, nullptr);
    vkDestroyDescriptorPool(device_, descriptors_, nullptr);
    vkDestroyDescriptorSetLayout(device_, setLayout_, nullptr);
    for (const Memory& memory : {blocks_, readBack_}) {
        vkDestroyBuffer(device_, memory.buffer, nullptr);
        vkFreeMemory(device_, memory.memory, nullptr);
    }
    vkDestroyImageView(device_, view_, nullptr);
    vkDestroyImage(device_, image_, nullptr);
    vkFreeMemory(device_, imageMemory_, nullptr);
}

BareVulkan::Memory BareVulkan::makeBuffer(VkDeviceSize size, VkBufferUsageFlags usage) {
    Memory memory;
    auto info = make<VkBufferCreateInfo>(VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO);
    info.size = size;
    info.usage = usage;
    check(vkCreateBuffer(device_, &info, nullptr, &memory.buffer), "creating a buffer");
    VkMemoryRequirements requirements;
    vkGetBufferMemoryRequirements(device_, memory.buffer, &requirements);
    memory.memory =
        bare_.allocate(requirements, VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT);
    check(vkBindBufferMemory(device_, memory.buffer, memory.memory, 0), "binding a buffer");
    void* mapped = nullptr;
    check(vkMapMemory(device_, memory.memory, 0, VK_WHOLE_SIZE, 0, &mapped), "mapping a buffer");
    memory.mapped = static_cast<std::uint8_t*>(mapped);
    return memory;
}

void BareVulkan::dropShader() {
    vkDestroyPipeline(device_, pipeline_, nullptr);
    for (VkShaderModule module : modules_)
        vkDestroyShaderModule(device_, module, nullptr);
}

void BareVulkan::setShader(const std::vector<std::uint32_t>& vertex, const std::vector<std::uint32_t>& fragment) {
    dropShader();
    VkPipelineShaderStageCreateInfo stages[2];
    const std::vector<std::uint32_t>* const codes[] = {&vertex, &fragment};
    for (std::size_t i = 0; i < 2; ++i) {
        auto moduleInfo = make<VkShaderModuleCreateInfo>(VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO);
        moduleInfo.codeSize = codes[i]->size() * 4;
        moduleInfo.pCode = codes[i]->data();
        check(vkCreateShaderModule(device_, &moduleInfo, nullptr, &modules_[i]), "loading a module");
        stages[i] = make<VkPipelineShaderStageCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO);
        stages[i].stage = i == 0 ? VK_SHADER_STAGE_VERTEX_BIT : VK_SHADER_STAGE_FRAGMENT_BIT;
        stages[i].module = modules_[i];
        stages[i].pName = "main";
    }
    const auto vertexInput =
        make<VkPipelineVertexInputStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO);
    auto assembly =
        make<VkPipelineInputAssemblyStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO);
    assembly.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
    const VkViewport viewport{0, float(size_.height), float(size_.width), -float(size_.height), 0, 1};
    const VkRect2D scissor{{0, 0}, size_};
    auto viewports = make<VkPipelineViewportStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO);
    viewports.viewportCount = viewports.scissorCount = 1;
    viewports.pViewports = &viewport;
    viewports.pScissors = &scissor;
    auto raster =
        make<VkPipelineRasterizationStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO);
    raster.lineWidth = 1;
    auto multisample =
        make<VkPipelineMultisampleStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO);
    multisample.rasterizationSamples = VK_SAMPLE_COUNT_1_BIT;
    VkPipelineColorBlendAttachmentState attachment{};
    attachment.colorWriteMask = 0xf;
    auto blend = make<VkPipelineColorBlendStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO);
    blend.attachmentCount = 1;
    blend.pAttachments = &attachment;
    const VkFormat format = VK_FORMAT_B8G8R8A8_UNORM;
    auto rendering = make<VkPipelineRenderingCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_RENDERING_CREATE_INFO);
    rendering.colorAttachmentCount = 1;
    rendering.pColorAttachmentFormats = &format;
    auto info = make<VkGraphicsPipelineCreateInfo>(VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO);
    info.pNext = &rendering;
    info.stageCount = 2;
    info.pStages = stages;
    info.pVertexInputState = &vertexInput;
    info.pInputAssemblyState = &assembly;
    info.pViewportState = &viewports;
    info.pRasterizationState = &raster;
    info.pMultisampleState = &multisample;
    info.pColorBlendState = &blend;
    info.layout = layout_;
    check(vkCreateGraphicsPipelines(device_, VK_NULL_HANDLE, 1, &info, nullptr, &pipeline_), "creating the pipeline");
}

void BareVulkan::moveImage(VkCommandBuffer commands, VkImageLayout from, VkImageLayout to) const {
    auto barrier = make<VkImageMemoryBarrier>(VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER);
    barrier.srcAccessMask = VK_ACCESS_MEMORY_WRITE_BIT;
    barrier.dstAccessMask = VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT;
    barrier.oldLayout = from;
    barrier.newLayout = to;
    barrier.srcQueueFamilyIndex = barrier.dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
    barrier.image = image_;
    barrier.subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
    vkCmdPipelineBarrier(commands, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT, 0, 0,
                         nullptr, 0, nullptr, 1, &barrier);
}

void BareVulkan::draw(const void* uniforms, std::size_t uniformsLength, const void* parameters,
                      std::size_t parametersLength) {
    std::memcpy(blocks_.mapped, uniforms, uniformsLength);
    std::memcpy(blocks_.mapped + parametersOffset, parameters, parametersLength);
    bare_.submit([&](VkCommandBuffer commands) {
        moveImage(commands, VK_IMAGE_LAYOUT_UNDEFINED, VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL);
        auto attachment = make<VkRenderingAttachmentInfo>(VK_STRUCTURE_TYPE_RENDERING_ATTACHMENT_INFO);
        attachment.imageView = view_;
        attachment.imageLayout = VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL;
        attachment.loadOp = VK_ATTACHMENT_LOAD_OP_DONT_CARE;
        attachment.storeOp = VK_ATTACHMENT_STORE_OP_STORE;
        auto rendering = make<VkRenderingInfo>(VK_STRUCTURE_TYPE_RENDERING_INFO);
        rendering.renderArea = {{0, 0}, size_};
        rendering.layerCount = 1;
        rendering.colorAttachmentCount = 1;
        rendering.pColorAttachments = &attachment;
        vkCmdBeginRendering(commands, &rendering);
        vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline_);
        vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, layout_, 0, 1, &set_, 0, nullptr);
        vkCmdDraw(commands, 3, 1, 0, 0);
        vkCmdEndRendering(commands);
    });
}

std::vector<std::uint8_t> BareVulkan::pixels() {
    bare_.submit([&](VkCommandBuffer commands) {
        moveImage(commands, VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
        VkBufferImageCopy copy{};
        copy.imageSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
        copy.imageExtent = {size_.width, size_.height, 1};
        vkCmdCopyImageToBuffer(commands, image_, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, readBack_.buffer, 1, &copy);
        auto barrier = make<VkMemoryBarrier>(VK_STRUCTURE_TYPE_MEMORY_BARRIER);
        barrier.srcAccessMask = VK_ACCESS_TRANSFER_WRITE_BIT;
        barrier.dstAccessMask = VK_ACCESS_HOST_READ_BIT;
        vkCmdPipelineBarrier(commands, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_PIPELINE_STAGE_HOST_BIT, 0, 1, &barrier, 0,
                             nullptr, 0, nullptr);
    });
    return {readBack_.mapped, readBack_.mapped + std::size_t(size_.width) * size_.height * 4};
}

} // namespace bench
