#include "GPU/Vulkan/Objects.h"

#include <algorithm>
#include <cstring>

namespace gpu {

using vulkan::VulkanDevice;

RenderPipelineState::RenderPipelineState(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
RenderPipelineState::~RenderPipelineState() = default;
RenderPipelineState::Impl::~Impl() {
    vkDestroyPipeline(device->handle, handle, nullptr);
    layout.destroy(*device);
}

ComputePipelineState::ComputePipelineState(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
ComputePipelineState::~ComputePipelineState() = default;
ComputePipelineState::Impl::~Impl() {
    vkDestroyPipeline(device->handle, handle, nullptr);
    layout.destroy(*device);
}
Size ComputePipelineState::threadsPerThreadgroup() const {
    return impl_->threadsPerThreadgroup;
}
std::uint32_t ComputePipelineState::maxTotalThreadsPerThreadgroup() const {
    return impl_->device->limits.maxComputeWorkGroupInvocations;
}

namespace vulkan {

Result<void> PipelineLayout::make(VulkanDevice& device, const Function* first, const Function* second) {
    const Function* const functions[] = {first, second};
    for (std::size_t set = 0; set < 2; ++set) {
        std::vector<VkDescriptorSetLayoutBinding> bindings;
        std::vector<VkSampler> samplers; // kept in place: the bindings point at them
        if (const Function* function = functions[set]; function != nullptr) {
            const std::vector<ArgumentBinding>& arguments = function->descriptor().arguments;
            samplers.reserve(arguments.size());
            VkShaderStageFlags stage = VK_SHADER_STAGE_FRAGMENT_BIT;
            if (function->stage() != ShaderStage::fragment)
                stage =
                    function->stage() == ShaderStage::vertex ? VK_SHADER_STAGE_VERTEX_BIT : VK_SHADER_STAGE_COMPUTE_BIT;
            for (std::size_t i = 0; i < arguments.size(); ++i) {
                const VkSampler* constant = nullptr;
                if (arguments[i].kind == ArgumentKind::constantSampler)
                    constant =
                        &samplers.emplace_back(function->library()->impl().constantSampler(function->descriptor(), i));
                bindings.push_back({arguments[i].binding, toVulkan(arguments[i].kind), 1, stage, constant});
            }
        }
        const VkDescriptorSetLayoutCreateInfo info{.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO,
                                                   .pNext = nullptr,
                                                   .flags = 0,
                                                   .bindingCount = std::uint32_t(bindings.size()),
                                                   .pBindings = bindings.data()};
        if (auto made =
                device.call("creating a descriptor set layout",
                            [&] { return vkCreateDescriptorSetLayout(device.handle, &info, nullptr, &sets[set]); });
            !made)
            return made;
    }
    const VkPipelineLayoutCreateInfo info{.sType = VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO,
                                          .pNext = nullptr,
                                          .flags = 0,
                                          .setLayoutCount = 2,
                                          .pSetLayouts = sets,
                                          .pushConstantRangeCount = 0,
                                          .pPushConstantRanges = nullptr};
    return device.call("creating a pipeline layout",
                       [&] { return vkCreatePipelineLayout(device.handle, &info, nullptr, &handle); });
}

void PipelineLayout::destroy(VulkanDevice& device) {
    vkDestroyPipelineLayout(device.handle, handle, nullptr);
    for (VkDescriptorSetLayout set : sets)
        vkDestroyDescriptorSetLayout(device.handle, set, nullptr);
}

} // namespace vulkan

namespace {

// The values of a function's specialisation constants, laid out for Vulkan. Must outlive what info() points into.
class Specialization {
  public:
    explicit Specialization(const std::vector<ConstantValue>& constants) {
        for (const ConstantValue& constant : constants)
            add(constant);
    }
    void add(const ConstantValue& constant) {
        const std::size_t at = bytes_.size();
        entries_.push_back({constant.constant, std::uint32_t(at), constant.size});
        bytes_.resize(at + 8); // every value starts on its own boundary
        std::memcpy(bytes_.data() + at, &constant.bits, sizeof constant.bits);
    }
    const VkSpecializationInfo* info() {
        info_ = {std::uint32_t(entries_.size()), entries_.data(), bytes_.size(), bytes_.data()};
        return entries_.empty() ? nullptr : &info_;
    }

  private:
    std::vector<VkSpecializationMapEntry> entries_;
    std::vector<std::byte> bytes_;
    VkSpecializationInfo info_{};
};

VkPipelineShaderStageCreateInfo stageInfo(const Function& function, VkShaderStageFlagBits stage,
                                          const VkSpecializationInfo* specialization = nullptr) {
    return {.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO,
            .pNext = nullptr,
            .flags = 0,
            .stage = stage,
            .module = function.library()->impl().module,
            .pName = function.name().c_str(),
            .pSpecializationInfo = specialization};
}

// A function of another device would be a dangling handle here.
bool belongs(const std::shared_ptr<Function>& function, const VulkanDevice& device, ShaderStage stage) {
    return function != nullptr && function->stage() == stage && function->library()->impl().device.get() == &device;
}

Result<VkPipeline> makeRenderPipeline(VulkanDevice& device, const RenderPipelineDescriptor& descriptor,
                                      VkPipelineLayout layout) {
    const Function* fragment = descriptor.fragmentFunction.get();
    Specialization ofVertex(descriptor.vertexFunction->constants());
    Specialization ofFragment(fragment != nullptr ? fragment->constants() : std::vector<ConstantValue>());
    if (fragment != nullptr && fragment->descriptor().sampleCountConstant && descriptor.rasterSampleCount > 1)
        ofFragment.add({*fragment->descriptor().sampleCountConstant, 4, descriptor.rasterSampleCount});
    const VkPipelineShaderStageCreateInfo stages[] = {
        stageInfo(*descriptor.vertexFunction, VK_SHADER_STAGE_VERTEX_BIT, ofVertex.info()),
        fragment != nullptr ? stageInfo(*fragment, VK_SHADER_STAGE_FRAGMENT_BIT, ofFragment.info())
                            : VkPipelineShaderStageCreateInfo{}};
    const VkPipelineVertexInputStateCreateInfo vertexInput{
        .sType = VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO,
        .pNext = nullptr,
        .flags = 0,
        .vertexBindingDescriptionCount = 0,
        .pVertexBindingDescriptions = nullptr,
        .vertexAttributeDescriptionCount = 0,
        .pVertexAttributeDescriptions = nullptr};
    const VkPipelineInputAssemblyStateCreateInfo inputAssembly{
        .sType = VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO,
        .pNext = nullptr,
        .flags = 0,
        .topology = vulkan::toVulkan(descriptor.inputPrimitiveTopology),
        .primitiveRestartEnable = VK_FALSE};
    const VkPipelineViewportStateCreateInfo viewport{.sType = VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO,
                                                     .pNext = nullptr,
                                                     .flags = 0,
                                                     .viewportCount = 1,
                                                     .pViewports = nullptr,
                                                     .scissorCount = 1,
                                                     .pScissors = nullptr};
    const VkPipelineRasterizationStateCreateInfo rasterization{
        .sType = VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO,
        .pNext = nullptr,
        .flags = 0,
        .depthClampEnable = VK_FALSE,
        .rasterizerDiscardEnable = VK_FALSE,
        .polygonMode = VK_POLYGON_MODE_FILL,
        .cullMode = VK_CULL_MODE_NONE,
        .frontFace = VK_FRONT_FACE_CLOCKWISE,
        .depthBiasEnable = VK_FALSE,
        .depthBiasConstantFactor = 0,
        .depthBiasClamp = 0,
        .depthBiasSlopeFactor = 0,
        .lineWidth = 1};
    const VkPipelineMultisampleStateCreateInfo multisample{
        .sType = VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO,
        .pNext = nullptr,
        .flags = 0,
        .rasterizationSamples = descriptor.rasterSampleCount == 4 ? VK_SAMPLE_COUNT_4_BIT : VK_SAMPLE_COUNT_1_BIT,
        .sampleShadingEnable = VK_FALSE,
        .minSampleShading = 0,
        .pSampleMask = nullptr,
        .alphaToCoverageEnable = VK_FALSE,
        .alphaToOneEnable = VK_FALSE};
    const VkPipelineDepthStencilStateCreateInfo depth{.sType =
                                                          VK_STRUCTURE_TYPE_PIPELINE_DEPTH_STENCIL_STATE_CREATE_INFO,
                                                      .pNext = nullptr,
                                                      .flags = 0,
                                                      .depthTestEnable = VK_FALSE,
                                                      .depthWriteEnable = VK_FALSE,
                                                      .depthCompareOp = VK_COMPARE_OP_ALWAYS,
                                                      .depthBoundsTestEnable = VK_FALSE,
                                                      .stencilTestEnable = VK_FALSE,
                                                      .front = {},
                                                      .back = {},
                                                      .minDepthBounds = 0,
                                                      .maxDepthBounds = 1};
    std::vector<VkPipelineColorBlendAttachmentState> blends;
    std::vector<VkFormat> formats;
    for (const ColorAttachmentDescriptor& attachment : descriptor.colorAttachments) {
        if (attachment.format == PixelFormat::invalid) break;
        formats.push_back(vulkan::toVulkan(attachment.format));
        blends.push_back({.blendEnable = attachment.blendingEnabled ? VK_TRUE : VK_FALSE,
                          .srcColorBlendFactor = vulkan::toVulkan(attachment.sourceRGB),
                          .dstColorBlendFactor = vulkan::toVulkan(attachment.destinationRGB),
                          .colorBlendOp = VK_BLEND_OP_ADD,
                          .srcAlphaBlendFactor = vulkan::toVulkan(attachment.sourceAlpha),
                          .dstAlphaBlendFactor = vulkan::toVulkan(attachment.destinationAlpha),
                          .alphaBlendOp = VK_BLEND_OP_ADD,
                          .colorWriteMask = VK_COLOR_COMPONENT_R_BIT | VK_COLOR_COMPONENT_G_BIT |
                                            VK_COLOR_COMPONENT_B_BIT | VK_COLOR_COMPONENT_A_BIT});
    }
    const VkPipelineColorBlendStateCreateInfo blend{.sType = VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO,
                                                    .pNext = nullptr,
                                                    .flags = 0,
                                                    .logicOpEnable = VK_FALSE,
                                                    .logicOp = VK_LOGIC_OP_COPY,
                                                    .attachmentCount = std::uint32_t(blends.size()),
                                                    .pAttachments = blends.data(),
                                                    .blendConstants = {}};
    static constexpr VkDynamicState dynamicStates[] = {
        VK_DYNAMIC_STATE_VIEWPORT,           VK_DYNAMIC_STATE_SCISSOR,         VK_DYNAMIC_STATE_PRIMITIVE_TOPOLOGY,
        VK_DYNAMIC_STATE_CULL_MODE,          VK_DYNAMIC_STATE_FRONT_FACE,      VK_DYNAMIC_STATE_DEPTH_TEST_ENABLE,
        VK_DYNAMIC_STATE_DEPTH_WRITE_ENABLE, VK_DYNAMIC_STATE_DEPTH_COMPARE_OP};
    const VkPipelineDynamicStateCreateInfo dynamic{.sType = VK_STRUCTURE_TYPE_PIPELINE_DYNAMIC_STATE_CREATE_INFO,
                                                   .pNext = nullptr,
                                                   .flags = 0,
                                                   .dynamicStateCount = std::uint32_t(std::size(dynamicStates)),
                                                   .pDynamicStates = dynamicStates};
    const VkPipelineRenderingCreateInfo rendering{.sType = VK_STRUCTURE_TYPE_PIPELINE_RENDERING_CREATE_INFO,
                                                  .pNext = nullptr,
                                                  .viewMask = 0,
                                                  .colorAttachmentCount = std::uint32_t(formats.size()),
                                                  .pColorAttachmentFormats = formats.data(),
                                                  .depthAttachmentFormat = vulkan::toVulkan(descriptor.depthFormat),
                                                  .stencilAttachmentFormat = VK_FORMAT_UNDEFINED};
    const VkGraphicsPipelineCreateInfo info{.sType = VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO,
                                            .pNext = &rendering,
                                            .flags = 0,
                                            .stageCount = descriptor.fragmentFunction != nullptr ? 2U : 1U,
                                            .pStages = stages,
                                            .pVertexInputState = &vertexInput,
                                            .pInputAssemblyState = &inputAssembly,
                                            .pTessellationState = nullptr,
                                            .pViewportState = &viewport,
                                            .pRasterizationState = &rasterization,
                                            .pMultisampleState = &multisample,
                                            .pDepthStencilState = &depth,
                                            .pColorBlendState = &blend,
                                            .pDynamicState = &dynamic,
                                            .layout = layout,
                                            .renderPass = VK_NULL_HANDLE,
                                            .subpass = 0,
                                            .basePipelineHandle = VK_NULL_HANDLE,
                                            .basePipelineIndex = -1};
    VkPipeline handle = VK_NULL_HANDLE;
    if (auto made = device.call(
            "creating a render pipeline",
            [&] { return vkCreateGraphicsPipelines(device.handle, device.pipelineCache, 1, &info, nullptr, &handle); });
        !made)
        return std::unexpected(made.error());
    return handle;
}

} // namespace

Result<std::shared_ptr<RenderPipelineState>>
Device::makeRenderPipelineState(const RenderPipelineDescriptor& descriptor) {
    VulkanDevice& core = *impl_->core;
    const bool hasFragment = descriptor.fragmentFunction != nullptr;
    if (!belongs(descriptor.vertexFunction, core, ShaderStage::vertex) ||
        (hasFragment && !belongs(descriptor.fragmentFunction, core, ShaderStage::fragment)))
        return std::unexpected(Error{ErrorKind::invalidArgument,
                                     "A render pipeline needs a vertex and a fragment function of its device."});
    if (descriptor.rasterSampleCount != 1 && descriptor.rasterSampleCount != 4)
        return std::unexpected(Error{ErrorKind::invalidArgument, "A render pipeline has 1 or 4 samples."});
    if (descriptor.colorAttachments[0].format == PixelFormat::invalid && descriptor.depthFormat == PixelFormat::invalid)
        return std::unexpected(Error{ErrorKind::invalidArgument, "A render pipeline needs something to draw into."});

    auto impl = std::make_unique<RenderPipelineState::Impl>();
    impl->device = impl_->core;
    impl->descriptor = descriptor;
    if (auto made = impl->layout.make(core, descriptor.vertexFunction.get(), descriptor.fragmentFunction.get()); !made)
        return std::unexpected(made.error());
    Result<VkPipeline> pipeline = makeRenderPipeline(core, descriptor, impl->layout.handle);
    if (!pipeline) return std::unexpected(pipeline.error());
    impl->handle = *pipeline;
    return std::make_shared<RenderPipelineState>(std::move(impl));
}

Result<std::shared_ptr<ComputePipelineState>>
Device::makeComputePipelineState(const std::shared_ptr<Function>& function, Size threadsPerThreadgroup,
                                 const std::vector<ThreadgroupLength>& threadgroupLengths) {
    VulkanDevice& core = *impl_->core;
    if (!belongs(function, core, ShaderStage::kernel))
        return std::unexpected(Error{ErrorKind::invalidArgument, "A compute pipeline needs a kernel of its device."});
    const std::uint32_t limit = core.limits.maxComputeWorkGroupInvocations;
    Size size = threadsPerThreadgroup;
    if (size.width == 0) size = {std::min({limit, 256U, core.limits.maxComputeWorkGroupSize[0]}), 1, 1};
    if (size.height == 0 || size.depth == 0 || std::uint64_t(size.width) * size.height * size.depth > limit ||
        size.width > core.limits.maxComputeWorkGroupSize[0] || size.height > core.limits.maxComputeWorkGroupSize[1] ||
        size.depth > core.limits.maxComputeWorkGroupSize[2])
        return std::unexpected(Error{ErrorKind::invalidArgument,
                                     "A threadgroup of this device has 1 to " + std::to_string(limit) + " threads."});

    auto impl = std::make_unique<ComputePipelineState::Impl>();
    impl->device = impl_->core;
    impl->function = function;
    impl->threadsPerThreadgroup = size;
    if (auto made = impl->layout.make(core, function.get(), nullptr); !made) return std::unexpected(made.error());
    Specialization specialization(function->constants());
    if (function->descriptor().hasSpecializedThreadgroup)
        for (const ConstantValue& constant :
             {ConstantValue{0, 4, size.width}, ConstantValue{1, 4, size.height}, ConstantValue{2, 4, size.depth}})
            specialization.add(constant);
    std::uint64_t shared = function->descriptor().threadgroupMemory;
    for (const ThreadgroupArgument& argument : function->descriptor().threadgroupArguments) {
        const auto length = std::ranges::find(threadgroupLengths, argument.index, &ThreadgroupLength::index);
        const std::uint64_t bytes = length != threadgroupLengths.end() ? length->bytes : 0;
        const std::uint64_t count = std::max<std::uint64_t>(bytes / argument.elementSize, 1);
        shared += count * argument.elementSize;
        specialization.add({argument.constant, 4, count});
    }
    if (shared > core.limits.maxComputeSharedMemorySize)
        return std::unexpected(
            Error{ErrorKind::unsupported, "The kernel's threadgroups need " + std::to_string(shared) +
                                              " bytes of memory; this device has " +
                                              std::to_string(core.limits.maxComputeSharedMemorySize) + "."});
    const VkComputePipelineCreateInfo info{.sType = VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO,
                                           .pNext = nullptr,
                                           .flags = 0,
                                           .stage =
                                               stageInfo(*function, VK_SHADER_STAGE_COMPUTE_BIT, specialization.info()),
                                           .layout = impl->layout.handle,
                                           .basePipelineHandle = VK_NULL_HANDLE,
                                           .basePipelineIndex = -1};
    if (auto made = core.call("creating a compute pipeline",
                              [&] {
                                  return vkCreateComputePipelines(core.handle, core.pipelineCache, 1, &info, nullptr,
                                                                  &impl->handle);
                              });
        !made)
        return std::unexpected(made.error());
    return std::make_shared<ComputePipelineState>(std::move(impl));
}

} // namespace gpu
