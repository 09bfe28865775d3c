// The layer's words in Vulkan's.
#include "GPU/Vulkan/Objects.h"

namespace gpu::vulkan {

VkFormat toVulkan(PixelFormat format) {
    switch (format) {
    case PixelFormat::bgra8Unorm: return VK_FORMAT_B8G8R8A8_UNORM;
    case PixelFormat::rgba16Float: return VK_FORMAT_R16G16B16A16_SFLOAT;
    case PixelFormat::r32Uint: return VK_FORMAT_R32_UINT;
    case PixelFormat::r32Sint: return VK_FORMAT_R32_SINT;
    case PixelFormat::rgba32Float: return VK_FORMAT_R32G32B32A32_SFLOAT;
    case PixelFormat::rgba32Uint: return VK_FORMAT_R32G32B32A32_UINT;
    case PixelFormat::rgba32Sint: return VK_FORMAT_R32G32B32A32_SINT;
    case PixelFormat::depth32Float: return VK_FORMAT_D32_SFLOAT;
    case PixelFormat::invalid: break;
    }
    return VK_FORMAT_UNDEFINED;
}

VkCompareOp toVulkan(CompareFunction function) {
    switch (function) {
    case CompareFunction::never: return VK_COMPARE_OP_NEVER;
    case CompareFunction::less: return VK_COMPARE_OP_LESS;
    case CompareFunction::equal: return VK_COMPARE_OP_EQUAL;
    case CompareFunction::lessEqual: return VK_COMPARE_OP_LESS_OR_EQUAL;
    case CompareFunction::greater: return VK_COMPARE_OP_GREATER;
    case CompareFunction::notEqual: return VK_COMPARE_OP_NOT_EQUAL;
    case CompareFunction::greaterEqual: return VK_COMPARE_OP_GREATER_OR_EQUAL;
    case CompareFunction::always: return VK_COMPARE_OP_ALWAYS;
    }
    return VK_COMPARE_OP_ALWAYS;
}

VkBlendFactor toVulkan(BlendFactor factor) {
    switch (factor) {
    case BlendFactor::zero: return VK_BLEND_FACTOR_ZERO;
    case BlendFactor::one: return VK_BLEND_FACTOR_ONE;
    case BlendFactor::sourceAlpha: return VK_BLEND_FACTOR_SRC_ALPHA;
    case BlendFactor::oneMinusSourceAlpha: return VK_BLEND_FACTOR_ONE_MINUS_SRC_ALPHA;
    }
    return VK_BLEND_FACTOR_ONE;
}

VkPrimitiveTopology toVulkan(PrimitiveType type) {
    switch (type) {
    case PrimitiveType::point: return VK_PRIMITIVE_TOPOLOGY_POINT_LIST;
    case PrimitiveType::line: return VK_PRIMITIVE_TOPOLOGY_LINE_LIST;
    case PrimitiveType::lineStrip: return VK_PRIMITIVE_TOPOLOGY_LINE_STRIP;
    case PrimitiveType::triangle: return VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
    case PrimitiveType::triangleStrip: return VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP;
    }
    return VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
}

VkPrimitiveTopology toVulkan(PrimitiveTopologyClass topology) {
    switch (topology) {
    case PrimitiveTopologyClass::point: return VK_PRIMITIVE_TOPOLOGY_POINT_LIST;
    case PrimitiveTopologyClass::line: return VK_PRIMITIVE_TOPOLOGY_LINE_LIST;
    case PrimitiveTopologyClass::triangle:
    case PrimitiveTopologyClass::unspecified: break;
    }
    return VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
}

VkDescriptorType toVulkan(ArgumentKind kind) {
    switch (kind) {
    case ArgumentKind::uniformBuffer: return VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER;
    case ArgumentKind::storageBuffer: return VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
    case ArgumentKind::sampledTexture: return VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE;
    case ArgumentKind::storageTexture: return VK_DESCRIPTOR_TYPE_STORAGE_IMAGE;
    case ArgumentKind::sampler:
    case ArgumentKind::constantSampler: return VK_DESCRIPTOR_TYPE_SAMPLER;
    }
    return VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER;
}

void transition(VkCommandBuffer commands, VkImage image, VkImageAspectFlags aspect, VkImageLayout from,
                VkImageLayout to) {
    const VkImageMemoryBarrier2 barrier{
        .sType = VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER_2,
        .pNext = nullptr,
        .srcStageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT,
        .srcAccessMask = VK_ACCESS_2_MEMORY_WRITE_BIT,
        .dstStageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT,
        .dstAccessMask = VK_ACCESS_2_MEMORY_READ_BIT | VK_ACCESS_2_MEMORY_WRITE_BIT,
        .oldLayout = from,
        .newLayout = to,
        .srcQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED,
        .dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED,
        .image = image,
        .subresourceRange = {aspect, 0, VK_REMAINING_MIP_LEVELS, 0, VK_REMAINING_ARRAY_LAYERS}};
    const VkDependencyInfo info{.sType = VK_STRUCTURE_TYPE_DEPENDENCY_INFO,
                                .pNext = nullptr,
                                .dependencyFlags = 0,
                                .memoryBarrierCount = 0,
                                .pMemoryBarriers = nullptr,
                                .bufferMemoryBarrierCount = 0,
                                .pBufferMemoryBarriers = nullptr,
                                .imageMemoryBarrierCount = 1,
                                .pImageMemoryBarriers = &barrier};
    vkCmdPipelineBarrier2(commands, &info);
}

} // namespace gpu::vulkan
