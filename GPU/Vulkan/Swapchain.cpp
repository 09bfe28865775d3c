#include "GPU/Vulkan/Swapchain.h"

#include "GPU/Vulkan/Objects.h"

#include <algorithm>

namespace gpu::vulkan {

VkExtent2D Swapchain::fittingExtent(const VkSurfaceCapabilitiesKHR& capabilities, VkExtent2D requested) {
    if (capabilities.currentExtent.width != UINT32_MAX) return capabilities.currentExtent;
    return {std::clamp(requested.width, capabilities.minImageExtent.width, capabilities.maxImageExtent.width),
            std::clamp(requested.height, capabilities.minImageExtent.height, capabilities.maxImageExtent.height)};
}

Result<std::shared_ptr<Swapchain>> Swapchain::make(const std::shared_ptr<VulkanDevice>& device, VkSurfaceKHR surface,
                                                   const VkSurfaceCapabilitiesKHR& capabilities, VkExtent2D extent,
                                                   VkPresentModeKHR mode, VkSwapchainKHR old) {
    auto swapchain = std::make_shared<Swapchain>();
    swapchain->device = device;
    swapchain->extent = extent;

    std::uint32_t imageCount = capabilities.minImageCount + 1;
    if (capabilities.maxImageCount != 0) imageCount = std::min(imageCount, capabilities.maxImageCount);
    VkCompositeAlphaFlagBitsKHR alpha = VK_COMPOSITE_ALPHA_OPAQUE_BIT_KHR;
    if ((capabilities.supportedCompositeAlpha & alpha) == 0) alpha = VK_COMPOSITE_ALPHA_INHERIT_BIT_KHR;
    const VkSwapchainCreateInfoKHR info{.sType = VK_STRUCTURE_TYPE_SWAPCHAIN_CREATE_INFO_KHR,
                                        .pNext = nullptr,
                                        .flags = 0,
                                        .surface = surface,
                                        .minImageCount = imageCount,
                                        .imageFormat = VK_FORMAT_B8G8R8A8_UNORM,
                                        .imageColorSpace = VK_COLOR_SPACE_SRGB_NONLINEAR_KHR,
                                        .imageExtent = extent,
                                        .imageArrayLayers = 1,
                                        .imageUsage = VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT,
                                        .imageSharingMode = VK_SHARING_MODE_EXCLUSIVE,
                                        .queueFamilyIndexCount = 0,
                                        .pQueueFamilyIndices = nullptr,
                                        .preTransform = capabilities.currentTransform,
                                        .compositeAlpha = alpha,
                                        .presentMode = mode,
                                        .clipped = VK_TRUE,
                                        .oldSwapchain = old};
    if (auto made =
            device->call("creating the window's images",
                         [&] { return vkCreateSwapchainKHR(device->handle, &info, nullptr, &swapchain->handle); });
        !made)
        return std::unexpected(made.error());
    const VkFenceCreateInfo fenceInfo{.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO, .pNext = nullptr, .flags = 0};
    if (auto made =
            device->call("creating a fence",
                         [&] { return vkCreateFence(device->handle, &fenceInfo, nullptr, &swapchain->acquired); });
        !made)
        return std::unexpected(made.error());

    std::uint32_t count = 0;
    vkGetSwapchainImagesKHR(device->handle, swapchain->handle, &count, nullptr);
    std::vector<VkImage> images(count);
    if (auto got = device->call(
            "taking the window's images",
            [&] { return vkGetSwapchainImagesKHR(device->handle, swapchain->handle, &count, images.data()); });
        !got)
        return std::unexpected(got.error());
    for (VkImage image : images) {
        auto texture = std::make_unique<Texture::Impl>();
        texture->device = device;
        texture->descriptor.format = PixelFormat::bgra8Unorm;
        texture->descriptor.width = extent.width;
        texture->descriptor.height = extent.height;
        texture->descriptor.usage = {.shaderRead = false, .renderTarget = true};
        texture->image = image;
        texture->ownsImage = false;
        texture->restLayout = VK_IMAGE_LAYOUT_PRESENT_SRC_KHR;
        const VkImageViewCreateInfo viewInfo{.sType = VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO,
                                             .pNext = nullptr,
                                             .flags = 0,
                                             .image = image,
                                             .viewType = VK_IMAGE_VIEW_TYPE_2D,
                                             .format = VK_FORMAT_B8G8R8A8_UNORM,
                                             .components = {},
                                             .subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1}};
        if (auto made =
                device->call("creating a view of the window's images",
                             [&] { return vkCreateImageView(device->handle, &viewInfo, nullptr, &texture->view); });
            !made)
            return std::unexpected(made.error());
        swapchain->textures.push_back(std::make_shared<Texture>(std::move(texture)));
    }
    return swapchain;
}

void Swapchain::destroy() {
    for (const std::shared_ptr<Texture>& texture : textures) {
        Texture::Impl& impl = texture->impl();
        vkDestroyImageView(device->handle, impl.view, nullptr);
        impl.view = VK_NULL_HANDLE;
        impl.image = VK_NULL_HANDLE;
    }
    textures.clear();
    if (device != nullptr) {
        vkDestroyFence(device->handle, acquired, nullptr);
        vkDestroySwapchainKHR(device->handle, handle, nullptr);
    }
    acquired = VK_NULL_HANDLE;
    handle = VK_NULL_HANDLE;
}

} // namespace gpu::vulkan
