#include "GPU/Vulkan/Features.h"

#include <array>

namespace gpu::vulkan {
namespace {

using Need = FeatureLine::Need;
using Flag = VkBool32& (*)(FeatureSet&);

// SPIR-V capability numbers; 0 stands for none.
struct Row {
    FeatureLine line;
    Flag flag;
    std::uint32_t capability = 0;
};

#define CORE(member) [](FeatureSet& set) -> VkBool32& { return set.core.features.member; }
#define V11(member) [](FeatureSet& set) -> VkBool32& { return set.vulkan11.member; }
#define V12(member) [](FeatureSet& set) -> VkBool32& { return set.vulkan12.member; }
#define V13(member) [](FeatureSet& set) -> VkBool32& { return set.vulkan13.member; }

const Row rows[] = {
    {{"robustBufferAccess", Need::required, "it cannot keep a shader inside its own buffers"},
     CORE(robustBufferAccess)},
    {{"scalarBlockLayout", Need::required, "it cannot read blocks in the layout that shaders use"},
     V12(scalarBlockLayout)},
    {{"timelineSemaphore", Need::required, "it cannot count finished work"}, V12(timelineSemaphore)},
    {{"dynamicRendering", Need::required, "it cannot draw without fixed passes"}, V13(dynamicRendering)},
    {{"synchronization2", Need::required, "it lacks the second form of synchronisation"}, V13(synchronization2)},
    {{"maintenance4", Need::required, "it cannot set a kernel's threadgroup size when the kernel is made"},
     V13(maintenance4)},
    {{"shaderZeroInitializeWorkgroupMemory", Need::required, "it cannot clear the memory that threads share"},
     V13(shaderZeroInitializeWorkgroupMemory)},

    {{"shaderInt8", Need::whenUsed, "8-bit integers"}, V12(shaderInt8), 39},
    {{"shaderInt16", Need::whenUsed, "16-bit integers"}, CORE(shaderInt16), 22},
    {{"shaderInt64", Need::whenUsed, "64-bit integers"}, CORE(shaderInt64), 11},
    {{"shaderFloat16", Need::whenUsed, "half-precision numbers"}, V12(shaderFloat16), 9},
    {{"storageBuffer16BitAccess", Need::whenUsed, "16-bit values in buffers"}, V11(storageBuffer16BitAccess), 4433},
    {{"uniformAndStorageBuffer16BitAccess", Need::whenUsed, "16-bit values in constant blocks"},
     V11(uniformAndStorageBuffer16BitAccess),
     4434},
    {{"storageBuffer8BitAccess", Need::whenUsed, "8-bit values in buffers"}, V12(storageBuffer8BitAccess), 4448},
    {{"uniformAndStorageBuffer8BitAccess", Need::whenUsed, "8-bit values in constant blocks"},
     V12(uniformAndStorageBuffer8BitAccess),
     4449},
    {{"shaderBufferInt64Atomics", Need::whenUsed, "atomic operations on 64-bit integers"},
     V12(shaderBufferInt64Atomics),
     12},
    {{"geometryShader", Need::whenUsed, "the number of the primitive"}, CORE(geometryShader), 2},
    {{"shaderDrawParameters", Need::whenUsed, "the base vertex and instance"}, V11(shaderDrawParameters), 4427},
    {{"shaderOutputLayer", Need::whenUsed, "layers chosen by vertex functions"}, V12(shaderOutputLayer), 69},
    {{"shaderOutputViewportIndex", Need::whenUsed, "viewports chosen by vertex functions"},
     V12(shaderOutputViewportIndex),
     70},
    {{"variablePointersStorageBuffer", Need::whenUsed, "pointers chosen at run time into one buffer"},
     V11(variablePointersStorageBuffer),
     4441},
    {{"variablePointers", Need::whenUsed, "pointers chosen at run time"}, V11(variablePointers), 4442},
    {{"bufferDeviceAddress", Need::whenUsed, "device addresses"}, V12(bufferDeviceAddress), 5347},
    {{"shaderStorageImageWriteWithoutFormat", Need::whenUsed, "writes to textures of any format"},
     CORE(shaderStorageImageWriteWithoutFormat),
     56},
    {{"shaderImageGatherExtended", Need::whenUsed, "gathers with a computed offset"},
     CORE(shaderImageGatherExtended),
     25},
    {{"shaderStorageImageReadWithoutFormat", Need::whenUsed, "reads of writable textures of any format"},
     CORE(shaderStorageImageReadWithoutFormat),
     55},
    {{"sampleRateShading", Need::whenUsed, "shading of every sample"}, CORE(sampleRateShading), 35},
    {{"shaderClipDistance", Need::whenUsed, "clip distances"}, CORE(shaderClipDistance), 32},
    {{"imageCubeArray", Need::whenUsed, "arrays of cube textures"}, CORE(imageCubeArray), 34},
    {{"shaderDemoteToHelperInvocation", Need::whenUsed, "discarding fragments that still take part in derivatives"},
     V13(shaderDemoteToHelperInvocation),
     5379},

    {{"shaderSampledImageArrayDynamicIndexing", Need::whenUsed, "arrays of textures"},
     CORE(shaderSampledImageArrayDynamicIndexing),
     29},
    {{"shaderStorageImageArrayDynamicIndexing", Need::whenUsed, "arrays of writable textures"},
     CORE(shaderStorageImageArrayDynamicIndexing),
     31},

    {{"shaderSubgroupExtendedTypes", Need::usedWhenThere, "Without it simd functions cannot take 64-bit integers."},
     V12(shaderSubgroupExtendedTypes)},
    {{"robustImageAccess", Need::usedWhenThere, "Without it only the shader's own checks keep texture reads inside."},
     V13(robustImageAccess)},
    {{"vertexPipelineStoresAndAtomics", Need::usedWhenThere, "Without it vertex functions cannot write to buffers."},
     CORE(vertexPipelineStoresAndAtomics)},
    {{"fragmentStoresAndAtomics", Need::usedWhenThere, "Without it fragment functions cannot write to buffers."},
     CORE(fragmentStoresAndAtomics)},
    {{"largePoints", Need::usedWhenThere, "Without it a point is one pixel; larger dots are drawn as squares."},
     CORE(largePoints)},
    {{"samplerAnisotropy", Need::usedWhenThere, "Without it samplers ignore max_anisotropy."}, CORE(samplerAnisotropy)},
    {{"independentBlend", Need::usedWhenThere, "Without it all attachments of a pass blend alike."},
     CORE(independentBlend)},
    {{"pipelineCreationCacheControl", Need::usedWhenThere, "Without it the pipeline cache locks by itself."},
     V13(pipelineCreationCacheControl)},
};

#undef CORE
#undef V11
#undef V12
#undef V13

VkBool32 read(const FeatureSet& set, const Row& row) {
    return row.flag(const_cast<FeatureSet&>(set));
}

} // namespace

FeatureSet::FeatureSet() {
    link();
}

FeatureSet::FeatureSet(const FeatureSet& other)
    : core(other.core), vulkan11(other.vulkan11), vulkan12(other.vulkan12), vulkan13(other.vulkan13),
      subgroupOperations(other.subgroupOperations) {
    link();
}

FeatureSet& FeatureSet::operator=(const FeatureSet& other) {
    core = other.core;
    vulkan11 = other.vulkan11;
    vulkan12 = other.vulkan12;
    vulkan13 = other.vulkan13;
    subgroupOperations = other.subgroupOperations;
    link();
    return *this;
}

void FeatureSet::link() {
    core.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FEATURES_2;
    vulkan11.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_1_FEATURES;
    vulkan12.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_2_FEATURES;
    vulkan13.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_FEATURES;
    core.pNext = &vulkan11;
    vulkan11.pNext = &vulkan12;
    vulkan12.pNext = &vulkan13;
    vulkan13.pNext = nullptr;
}

FeatureSet FeatureSet::query(VkPhysicalDevice device) {
    FeatureSet set;
    vkGetPhysicalDeviceFeatures2(device, &set.core);
    VkPhysicalDeviceSubgroupProperties subgroup{.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_SUBGROUP_PROPERTIES,
                                                .pNext = nullptr,
                                                .subgroupSize = 0,
                                                .supportedStages = 0,
                                                .supportedOperations = 0,
                                                .quadOperationsInAllStages = VK_FALSE};
    VkPhysicalDeviceProperties2 properties{
        .sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_PROPERTIES_2, .pNext = &subgroup, .properties = {}};
    vkGetPhysicalDeviceProperties2(device, &properties);
    set.subgroupOperations = subgroup.supportedOperations;
    return set;
}

std::string FeatureSet::missing(const std::string& deviceName) const {
    for (const Row& row : rows)
        if (row.line.need == Need::required && !read(*this, row))
            return deviceName + " cannot be used: " + std::string(row.line.sentence) + " (" +
                   std::string(row.line.name) + "); a newer driver may help.";
    return {};
}

FeatureSet FeatureSet::enabled() const {
    FeatureSet result;
    for (const Row& row : rows)
        row.flag(result) = read(*this, row);
    result.subgroupOperations = subgroupOperations;
    return result;
}

std::string FeatureSet::missingFor(std::span<const std::uint32_t> spirv) const {
    constexpr std::size_t headerWords = 5;
    constexpr std::uint32_t opCapability = 17;
    // The capabilities of simdgroups, each for one bit of the device's operations.
    constexpr std::uint32_t firstGroupCapability = 61;
    constexpr std::uint32_t lastGroupCapability = 68;
    // Capabilities come first in a module.
    for (std::size_t at = headerWords; at + 1 < spirv.size();) {
        const std::uint32_t words = spirv[at] >> 16;
        if ((spirv[at] & 0xffffU) != opCapability || words != 2) break;
        for (const Row& row : rows)
            if (row.capability == spirv[at + 1] && !read(*this, row))
                return "This graphics device cannot run the shader: it has no support for " +
                       std::string(row.line.sentence) + ".";
        if (spirv[at + 1] >= firstGroupCapability && spirv[at + 1] <= lastGroupCapability &&
            (subgroupOperations >> (spirv[at + 1] - firstGroupCapability) & 1U) == 0)
            return "This graphics device cannot run the shader: it has no support for some of its simd functions.";
        at += words;
    }
    return {};
}

} // namespace gpu::vulkan

namespace gpu {

const std::vector<FeatureLine>& Device::featureTable() {
    static const std::vector<FeatureLine> table = [] {
        std::vector<FeatureLine> lines;
        for (const vulkan::Row& row : vulkan::rows)
            lines.push_back(row.line);
        return lines;
    }();
    return table;
}

} // namespace gpu
