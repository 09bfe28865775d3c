// The images of a window's surface at one size. Owned by the presenter's state and by the drawables made from it; used
// on the presenter's thread only, except for its textures.
#pragma once

#include "GPU/Texture.h"
#include "GPU/Vulkan/VulkanDevice.h"

#include <memory>
#include <vector>

namespace gpu::vulkan {

struct Swapchain {
    std::shared_ptr<VulkanDevice> device;
    VkSwapchainKHR handle = VK_NULL_HANDLE;
    VkExtent2D extent{};
    std::vector<std::shared_ptr<Texture>> textures;
    VkFence acquired = VK_NULL_HANDLE;

    // The size that the surface wants when `requested` is asked for; 0×0 while the window has no area.
    static VkExtent2D fittingExtent(const VkSurfaceCapabilitiesKHR& capabilities, VkExtent2D requested);

    static Result<std::shared_ptr<Swapchain>> make(const std::shared_ptr<VulkanDevice>& device, VkSurfaceKHR surface,
                                                   const VkSurfaceCapabilitiesKHR& capabilities, VkExtent2D extent,
                                                   VkPresentModeKHR mode, VkSwapchainKHR old);

    // Makes the textures unusable and lets go of the images; nothing may be in flight.
    void destroy();
    ~Swapchain() { destroy(); }
};

} // namespace gpu::vulkan
