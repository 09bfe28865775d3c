// What the layer needs of a device, what a shader may need of it, and what is used where it is there: one table, from
// which devices are judged, features enabled, libraries checked and the list for people made.
#pragma once

#include "GPU/Device.h"

#include <span>
#include <string>
#include <vulkan/vulkan.h>

namespace gpu::vulkan {

// The feature structures of one device, linked for Vulkan's chains. Not copyable: the links point inside.
struct FeatureSet {
    VkPhysicalDeviceFeatures2 core{};
    VkPhysicalDeviceVulkan11Features vulkan11{};
    VkPhysicalDeviceVulkan12Features vulkan12{};
    VkPhysicalDeviceVulkan13Features vulkan13{};
    VkSubgroupFeatureFlags subgroupOperations = 0; // what simdgroups can do

    FeatureSet();
    FeatureSet(const FeatureSet& other);
    FeatureSet& operator=(const FeatureSet& other);

    static FeatureSet query(VkPhysicalDevice device);

    // The sentence about the first required feature that is not there; empty when all are.
    std::string missing(const std::string& deviceName) const;

    // Only the features of the table, and of them those that are there.
    FeatureSet enabled() const;

    // The sentence about the first capability of a SPIR-V module that this set lacks; empty when there is none.
    std::string missingFor(std::span<const std::uint32_t> spirv) const;

  private:
    void link();
};

} // namespace gpu::vulkan
