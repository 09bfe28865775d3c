// Fragment functions that read the colour attachment they draw to, in a render pass of plain Vulkan: the layer of these
// tests has no input attachments.
#include "MSL/Compiler.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <vulkan/vulkan.h>

namespace glasshob::testing {
namespace {

constexpr std::uint32_t side = 4;
using Pixel = std::array<float, 4>;

template <typename T>
T made(VkStructureType type) {
    T value{};
    value.sType = type;
    return value;
}

// A device with all the features that it has; null handles when there is none.
struct Device {
    VkInstance instance = VK_NULL_HANDLE;
    VkPhysicalDevice physical = VK_NULL_HANDLE;
    VkDevice device = VK_NULL_HANDLE;
    VkQueue queue = VK_NULL_HANDLE;

    Device() {
        auto application = made<VkApplicationInfo>(VK_STRUCTURE_TYPE_APPLICATION_INFO);
        application.apiVersion = VK_API_VERSION_1_3;
        auto info = made<VkInstanceCreateInfo>(VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO);
        info.pApplicationInfo = &application;
        if (vkCreateInstance(&info, nullptr, &instance) != VK_SUCCESS) return;
        std::uint32_t count = 1;
        vkEnumeratePhysicalDevices(instance, &count, &physical);
        if (physical == VK_NULL_HANDLE) return;
        auto features = made<VkPhysicalDeviceFeatures2>(VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FEATURES_2);
        auto later = made<VkPhysicalDeviceVulkan12Features>(VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_2_FEATURES);
        features.pNext = &later;
        vkGetPhysicalDeviceFeatures2(physical, &features);
        const float priority = 1;
        auto queues = made<VkDeviceQueueCreateInfo>(VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO);
        queues.queueCount = 1;
        queues.pQueuePriorities = &priority;
        auto wanted = made<VkDeviceCreateInfo>(VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO);
        wanted.pNext = &features;
        wanted.queueCreateInfoCount = 1;
        wanted.pQueueCreateInfos = &queues;
        if (vkCreateDevice(physical, &wanted, nullptr, &device) == VK_SUCCESS) vkGetDeviceQueue(device, 0, 0, &queue);
    }
    ~Device() {
        if (device != VK_NULL_HANDLE) vkDestroyDevice(device, nullptr);
        if (instance != VK_NULL_HANDLE) vkDestroyInstance(instance, nullptr);
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    VkDeviceMemory allocate(const VkMemoryRequirements& needs) const {
        VkPhysicalDeviceMemoryProperties memory{};
        vkGetPhysicalDeviceMemoryProperties(physical, &memory);
        constexpr VkMemoryPropertyFlags flags =
            VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;
        auto info = made<VkMemoryAllocateInfo>(VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO);
        info.allocationSize = needs.size;
        for (std::uint32_t i = 0; i < memory.memoryTypeCount; ++i)
            if ((needs.memoryTypeBits >> i & 1U) != 0 && (memory.memoryTypes[i].propertyFlags & flags) == flags)
                info.memoryTypeIndex = i;
        VkDeviceMemory result = VK_NULL_HANDLE;
        vkAllocateMemory(device, &info, nullptr, &result);
        return result;
    }
};

// The pixels after the functions "v" and "f" have drawn twice over pixels that all were `start`, the second time over
// what the first has left. Attachment 0 is what they draw to and read.
std::vector<Pixel> drawnTwice(const Device& on, const std::string& source, const Pixel& start) {
    const auto compiled = msl::compile("#include <metal_stdlib>\nusing namespace metal;\n" + source);
    if (!compiled) {
        ADD_FAILURE() << compiled.error().text;
        return {};
    }
    std::uint32_t binding = 0;
    for (const msl::Binding& one : compiled->reflection.entryPoint("f")->bindings)
        if (one.kind == msl::BindingKind::inputAttachment && one.metalIndex == 0 && one.set == 1) binding = one.binding;
    VkDevice device = on.device;

    constexpr VkFormat format = VK_FORMAT_R32G32B32A32_SFLOAT;
    auto imageInfo = made<VkImageCreateInfo>(VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO);
    imageInfo.imageType = VK_IMAGE_TYPE_2D;
    imageInfo.format = format;
    imageInfo.extent = {side, side, 1};
    imageInfo.mipLevels = imageInfo.arrayLayers = 1;
    imageInfo.samples = VK_SAMPLE_COUNT_1_BIT;
    imageInfo.usage =
        VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_INPUT_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT;
    VkImage image = VK_NULL_HANDLE;
    vkCreateImage(device, &imageInfo, nullptr, &image);
    VkMemoryRequirements needs{};
    vkGetImageMemoryRequirements(device, image, &needs);
    VkDeviceMemory imageMemory = on.allocate(needs);
    vkBindImageMemory(device, image, imageMemory, 0);
    auto viewInfo = made<VkImageViewCreateInfo>(VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO);
    viewInfo.image = image;
    viewInfo.viewType = VK_IMAGE_VIEW_TYPE_2D;
    viewInfo.format = format;
    viewInfo.subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
    VkImageView view = VK_NULL_HANDLE;
    vkCreateImageView(device, &viewInfo, nullptr, &view);

    auto bufferInfo = made<VkBufferCreateInfo>(VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO);
    bufferInfo.size = side * side * sizeof(Pixel);
    bufferInfo.usage = VK_BUFFER_USAGE_TRANSFER_DST_BIT;
    VkBuffer buffer = VK_NULL_HANDLE;
    vkCreateBuffer(device, &bufferInfo, nullptr, &buffer);
    vkGetBufferMemoryRequirements(device, buffer, &needs);
    VkDeviceMemory bufferMemory = on.allocate(needs);
    vkBindBufferMemory(device, buffer, bufferMemory, 0);

    // A pass that may read what it draws to.
    VkAttachmentDescription attachment{};
    attachment.format = format;
    attachment.samples = VK_SAMPLE_COUNT_1_BIT;
    attachment.loadOp = VK_ATTACHMENT_LOAD_OP_CLEAR;
    attachment.storeOp = VK_ATTACHMENT_STORE_OP_STORE;
    attachment.finalLayout = VK_IMAGE_LAYOUT_GENERAL;
    const VkAttachmentReference reference{0, VK_IMAGE_LAYOUT_GENERAL};
    VkSubpassDescription subpass{};
    subpass.pipelineBindPoint = VK_PIPELINE_BIND_POINT_GRAPHICS;
    subpass.colorAttachmentCount = subpass.inputAttachmentCount = 1;
    subpass.pColorAttachments = subpass.pInputAttachments = &reference;
    const VkSubpassDependency itself{.srcSubpass = 0,
                                     .dstSubpass = 0,
                                     .srcStageMask = VK_PIPELINE_STAGE_COLOR_ATTACHMENT_OUTPUT_BIT,
                                     .dstStageMask = VK_PIPELINE_STAGE_FRAGMENT_SHADER_BIT,
                                     .srcAccessMask = VK_ACCESS_COLOR_ATTACHMENT_WRITE_BIT,
                                     .dstAccessMask = VK_ACCESS_INPUT_ATTACHMENT_READ_BIT,
                                     .dependencyFlags = VK_DEPENDENCY_BY_REGION_BIT};
    auto passInfo = made<VkRenderPassCreateInfo>(VK_STRUCTURE_TYPE_RENDER_PASS_CREATE_INFO);
    passInfo.attachmentCount = passInfo.subpassCount = passInfo.dependencyCount = 1;
    passInfo.pAttachments = &attachment;
    passInfo.pSubpasses = &subpass;
    passInfo.pDependencies = &itself;
    VkRenderPass pass = VK_NULL_HANDLE;
    vkCreateRenderPass(device, &passInfo, nullptr, &pass);
    auto frameInfo = made<VkFramebufferCreateInfo>(VK_STRUCTURE_TYPE_FRAMEBUFFER_CREATE_INFO);
    frameInfo.renderPass = pass;
    frameInfo.attachmentCount = 1;
    frameInfo.pAttachments = &view;
    frameInfo.width = frameInfo.height = side;
    frameInfo.layers = 1;
    VkFramebuffer frame = VK_NULL_HANDLE;
    vkCreateFramebuffer(device, &frameInfo, nullptr, &frame);

    VkDescriptorSetLayoutBinding slot{};
    slot.binding = binding;
    slot.descriptorType = VK_DESCRIPTOR_TYPE_INPUT_ATTACHMENT;
    slot.descriptorCount = 1;
    slot.stageFlags = VK_SHADER_STAGE_FRAGMENT_BIT;
    auto setInfo = made<VkDescriptorSetLayoutCreateInfo>(VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO);
    VkDescriptorSetLayout sets[2] = {};
    vkCreateDescriptorSetLayout(device, &setInfo, nullptr, &sets[0]);
    setInfo.bindingCount = 1;
    setInfo.pBindings = &slot;
    vkCreateDescriptorSetLayout(device, &setInfo, nullptr, &sets[1]);
    auto layoutInfo = made<VkPipelineLayoutCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO);
    layoutInfo.setLayoutCount = 2;
    layoutInfo.pSetLayouts = sets;
    VkPipelineLayout layout = VK_NULL_HANDLE;
    vkCreatePipelineLayout(device, &layoutInfo, nullptr, &layout);
    const VkDescriptorPoolSize poolSize{VK_DESCRIPTOR_TYPE_INPUT_ATTACHMENT, 1};
    auto poolInfo = made<VkDescriptorPoolCreateInfo>(VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO);
    poolInfo.maxSets = poolInfo.poolSizeCount = 1;
    poolInfo.pPoolSizes = &poolSize;
    VkDescriptorPool pool = VK_NULL_HANDLE;
    vkCreateDescriptorPool(device, &poolInfo, nullptr, &pool);
    auto setAllocation = made<VkDescriptorSetAllocateInfo>(VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO);
    setAllocation.descriptorPool = pool;
    setAllocation.descriptorSetCount = 1;
    setAllocation.pSetLayouts = &sets[1];
    VkDescriptorSet set = VK_NULL_HANDLE;
    vkAllocateDescriptorSets(device, &setAllocation, &set);
    const VkDescriptorImageInfo descriptor{VK_NULL_HANDLE, view, VK_IMAGE_LAYOUT_GENERAL};
    auto write = made<VkWriteDescriptorSet>(VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET);
    write.dstSet = set;
    write.dstBinding = binding;
    write.descriptorCount = 1;
    write.descriptorType = VK_DESCRIPTOR_TYPE_INPUT_ATTACHMENT;
    write.pImageInfo = &descriptor;
    vkUpdateDescriptorSets(device, 1, &write, 0, nullptr);

    auto moduleInfo = made<VkShaderModuleCreateInfo>(VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO);
    moduleInfo.codeSize = compiled->spirv.size() * 4;
    moduleInfo.pCode = compiled->spirv.data();
    VkShaderModule module = VK_NULL_HANDLE;
    vkCreateShaderModule(device, &moduleInfo, nullptr, &module);
    auto vertexStage = made<VkPipelineShaderStageCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO);
    vertexStage.module = module;
    vertexStage.stage = VK_SHADER_STAGE_VERTEX_BIT;
    vertexStage.pName = "v";
    auto fragmentStage = vertexStage;
    fragmentStage.stage = VK_SHADER_STAGE_FRAGMENT_BIT;
    fragmentStage.pName = "f";
    const VkPipelineShaderStageCreateInfo stages[] = {vertexStage, fragmentStage};
    const auto vertices =
        made<VkPipelineVertexInputStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO);
    auto assembly =
        made<VkPipelineInputAssemblyStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO);
    assembly.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
    const VkViewport viewport{0, side, side, -float(side), 0, 1};
    const VkRect2D area{{0, 0}, {side, side}};
    auto viewports = made<VkPipelineViewportStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO);
    viewports.viewportCount = viewports.scissorCount = 1;
    viewports.pViewports = &viewport;
    viewports.pScissors = &area;
    auto raster =
        made<VkPipelineRasterizationStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO);
    raster.lineWidth = 1;
    auto samples = made<VkPipelineMultisampleStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO);
    samples.rasterizationSamples = VK_SAMPLE_COUNT_1_BIT;
    VkPipelineColorBlendAttachmentState all{};
    all.colorWriteMask = 0xF;
    auto blend = made<VkPipelineColorBlendStateCreateInfo>(VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO);
    blend.attachmentCount = 1;
    blend.pAttachments = &all;
    auto pipelineInfo = made<VkGraphicsPipelineCreateInfo>(VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO);
    pipelineInfo.stageCount = 2;
    pipelineInfo.pStages = stages;
    pipelineInfo.pVertexInputState = &vertices;
    pipelineInfo.pInputAssemblyState = &assembly;
    pipelineInfo.pViewportState = &viewports;
    pipelineInfo.pRasterizationState = &raster;
    pipelineInfo.pMultisampleState = &samples;
    pipelineInfo.pColorBlendState = &blend;
    pipelineInfo.layout = layout;
    pipelineInfo.renderPass = pass;
    VkPipeline pipeline = VK_NULL_HANDLE;
    EXPECT_EQ(vkCreateGraphicsPipelines(device, VK_NULL_HANDLE, 1, &pipelineInfo, nullptr, &pipeline), VK_SUCCESS);

    auto commandsInfo = made<VkCommandPoolCreateInfo>(VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO);
    VkCommandPool commandPool = VK_NULL_HANDLE;
    vkCreateCommandPool(device, &commandsInfo, nullptr, &commandPool);
    auto commandAllocation = made<VkCommandBufferAllocateInfo>(VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO);
    commandAllocation.commandPool = commandPool;
    commandAllocation.commandBufferCount = 1;
    VkCommandBuffer commands = VK_NULL_HANDLE;
    vkAllocateCommandBuffers(device, &commandAllocation, &commands);
    const auto begin = made<VkCommandBufferBeginInfo>(VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO);
    vkBeginCommandBuffer(commands, &begin);
    VkClearValue clear{};
    std::memcpy(clear.color.float32, start.data(), sizeof(Pixel));
    auto passBegin = made<VkRenderPassBeginInfo>(VK_STRUCTURE_TYPE_RENDER_PASS_BEGIN_INFO);
    passBegin.renderPass = pass;
    passBegin.framebuffer = frame;
    passBegin.renderArea = area;
    passBegin.clearValueCount = 1;
    passBegin.pClearValues = &clear;
    vkCmdBeginRenderPass(commands, &passBegin, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, layout, 1, 1, &set, 0, nullptr);
    auto written = made<VkMemoryBarrier>(VK_STRUCTURE_TYPE_MEMORY_BARRIER);
    written.srcAccessMask = itself.srcAccessMask;
    written.dstAccessMask = itself.dstAccessMask;
    for (int i = 0; i < 2; ++i) {
        vkCmdPipelineBarrier(commands, itself.srcStageMask, itself.dstStageMask, itself.dependencyFlags, 1, &written, 0,
                             nullptr, 0, nullptr);
        vkCmdDraw(commands, 3, 1, 0, 0);
    }
    vkCmdEndRenderPass(commands);
    VkBufferImageCopy copy{};
    copy.imageSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
    copy.imageExtent = imageInfo.extent;
    written.dstAccessMask = VK_ACCESS_TRANSFER_READ_BIT;
    vkCmdPipelineBarrier(commands, itself.srcStageMask, VK_PIPELINE_STAGE_TRANSFER_BIT, 0, 1, &written, 0, nullptr, 0,
                         nullptr);
    vkCmdCopyImageToBuffer(commands, image, VK_IMAGE_LAYOUT_GENERAL, buffer, 1, &copy);
    vkEndCommandBuffer(commands);
    auto submit = made<VkSubmitInfo>(VK_STRUCTURE_TYPE_SUBMIT_INFO);
    submit.commandBufferCount = 1;
    submit.pCommandBuffers = &commands;
    EXPECT_EQ(vkQueueSubmit(on.queue, 1, &submit, VK_NULL_HANDLE), VK_SUCCESS);
    EXPECT_EQ(vkDeviceWaitIdle(device), VK_SUCCESS);
    std::vector<Pixel> pixels(std::size_t{side} * side);
    void* mapped = nullptr;
    if (vkMapMemory(device, bufferMemory, 0, VK_WHOLE_SIZE, 0, &mapped) == VK_SUCCESS)
        std::memcpy(pixels.data(), mapped, pixels.size() * sizeof(Pixel));

    vkDestroyCommandPool(device, commandPool, nullptr);
    vkDestroyPipeline(device, pipeline, nullptr);
    vkDestroyShaderModule(device, module, nullptr);
    vkDestroyDescriptorPool(device, pool, nullptr);
    vkDestroyPipelineLayout(device, layout, nullptr);
    for (VkDescriptorSetLayout one : sets)
        vkDestroyDescriptorSetLayout(device, one, nullptr);
    vkDestroyFramebuffer(device, frame, nullptr);
    vkDestroyRenderPass(device, pass, nullptr);
    vkDestroyBuffer(device, buffer, nullptr);
    vkFreeMemory(device, bufferMemory, nullptr);
    vkDestroyImageView(device, view, nullptr);
    vkDestroyImage(device, image, nullptr);
    vkFreeMemory(device, imageMemory, nullptr);
    return pixels;
}

TEST(Attachments, AFragmentReadsWhatIsThere) {
    const Device on;
    if (on.device == VK_NULL_HANDLE) GTEST_SKIP() << "no device";
    const std::string vertices = "vertex float4 v(uint id [[vertex_id]]) {"
                                 " return float4(id == 1 ? 3 : -1, id == 2 ? 3 : -1, 0.5, 1); }\n";
    const std::string fragments[] = {
        "fragment float4 f(float4 c [[color(0)]], float4 p [[position]]) { return c * 2 + float4(floor(p.xy), 1, 0); }",
        "struct Kept { half4 c [[color(0), raster_order_group(0)]]; };"
        "fragment Kept f(Kept k, float4 p [[position]]) { k.c = k.c * 2 + half4(half2(floor(p.xy)), 1, 0); return k; }",
        "struct In { float4 p [[position]]; float3 c [[color(0)]]; };"
        "float4 twice(In in, float a) { return float4(in.c, a) * 2 + float4(floor(in.p.xy), 1, 0); }"
        "fragment float4 f(In in [[stage_in]], float4 whole [[color(0)]]) { return twice(in, whole.a); }",
    };
    for (const std::string& fragment : fragments) {
        const std::vector<Pixel> pixels = drawnTwice(on, vertices + fragment, {0.25F, 0.5F, 1, 2});
        ASSERT_EQ(pixels.size(), std::size_t{side} * side);
        for (std::uint32_t i = 0; i < pixels.size(); ++i) {
            const Pixel expected = {1 + 3 * float(i % side), 2 + 3 * float(i / side), 7, 8};
            EXPECT_EQ(pixels[i], expected) << fragment << ", pixel " << i;
        }
    }
}

} // namespace
} // namespace glasshob::testing
