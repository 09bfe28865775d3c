#include "GPU/Vulkan/Instance.h"

#include "GPU/Presenter.h"
#include "GPU/Validation.h"
#include "GPU/Vulkan/Check.h"
#include "GPU/Vulkan/Features.h"
#include "GPU/Vulkan/VulkanDevice.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace gpu {
namespace {

struct Messages {
    std::mutex mutex;
    std::vector<std::string> texts;
};

Messages& messages() {
    static Messages* instance = new Messages; // the driver's threads may speak during exit
    return *instance;
}

std::atomic<bool> layerIsActive = false;

VKAPI_ATTR VkBool32 VKAPI_CALL onMessage(VkDebugUtilsMessageSeverityFlagBitsEXT, VkDebugUtilsMessageTypeFlagsEXT types,
                                         const VkDebugUtilsMessengerCallbackDataEXT* data, void*) {
    // What the loader says about the machine's layers and drivers is not about our calls.
    if ((types & ~VkDebugUtilsMessageTypeFlagsEXT(VK_DEBUG_UTILS_MESSAGE_TYPE_GENERAL_BIT_EXT)) == 0) return VK_FALSE;
    std::fprintf(stderr, "validation: %s\n", data->pMessage);
    Messages& list = messages();
    const std::lock_guard lock(list.mutex);
    list.texts.emplace_back(data->pMessage);
    return VK_FALSE;
}

template <class Item, class Name>
bool contains(const std::vector<Item>& items, const char* wanted, Name name) {
    return std::ranges::any_of(items, [&](const Item& item) { return std::strcmp(name(item), wanted) == 0; });
}

} // namespace

bool validationRequested() {
    const char* value = std::getenv("GLASSHOB_VALIDATION");
    return value != nullptr && std::strcmp(value, "1") == 0;
}

bool validationActive() {
    return layerIsActive;
}

std::size_t validationMessageCount() {
    const std::lock_guard lock(messages().mutex);
    return messages().texts.size();
}

std::vector<std::string> validationMessages() {
    const std::lock_guard lock(messages().mutex);
    return messages().texts;
}

Result<void*> nativeInstance() {
    const Result<vulkan::Instance*> instance = vulkan::Instance::shared();
    if (!instance) return std::unexpected(instance.error());
    return (*instance)->handle;
}

void* nativeInstance(const Device& device) {
    return device.impl().core->physical.instance->handle;
}

namespace vulkan {
namespace {

const char* const noDriverText = "No Vulkan driver was found: install the one for your graphics card, or the package "
                                 "mesa-vulkan-drivers to draw on the CPU.";

// A Mesa layer that only reorders the devices looks for a Wayland display at every listing, and complains on standard
// error where no desktop is running.
void silenceDeviceSelection() {
    if (std::getenv("XDG_RUNTIME_DIR") == nullptr) setenv("NODEVICE_SELECT", "1", 0);
}

Result<std::unique_ptr<Instance>> makeInstance() {
    silenceDeviceSelection();
    std::uint32_t count = 0;
    if (vkEnumerateInstanceExtensionProperties(nullptr, &count, nullptr) != VK_SUCCESS)
        return std::unexpected(Error{ErrorKind::noDriver, noDriverText});
    std::vector<VkExtensionProperties> available(count);
    vkEnumerateInstanceExtensionProperties(nullptr, &count, available.data());
    available.resize(count);
    const auto hasExtension = [&](const char* name) {
        return contains(available, name, [](const VkExtensionProperties& item) { return item.extensionName; });
    };

    auto instance = std::make_unique<Instance>();
    std::vector<const char*> extensions;
    if (hasExtension(VK_KHR_SURFACE_EXTENSION_NAME)) {
        instance->canPresent = true;
        extensions.push_back(VK_KHR_SURFACE_EXTENSION_NAME);
        for (const char* name : {"VK_KHR_xcb_surface", "VK_KHR_xlib_surface", "VK_KHR_wayland_surface",
                                 "VK_KHR_get_surface_capabilities2", "VK_EXT_headless_surface"})
            if (hasExtension(name)) extensions.push_back(name);
    }
    VkInstanceCreateFlags flags = 0;
    if (hasExtension(VK_KHR_PORTABILITY_ENUMERATION_EXTENSION_NAME)) {
        extensions.push_back(VK_KHR_PORTABILITY_ENUMERATION_EXTENSION_NAME);
        flags |= VK_INSTANCE_CREATE_ENUMERATE_PORTABILITY_BIT_KHR;
    }

    std::vector<const char*> layers;
    if (validationRequested()) {
        static const char* const layerName = "VK_LAYER_KHRONOS_validation";
        vkEnumerateInstanceLayerProperties(&count, nullptr);
        std::vector<VkLayerProperties> known(count);
        vkEnumerateInstanceLayerProperties(&count, known.data());
        known.resize(count);
        if (contains(known, layerName, [](const VkLayerProperties& item) { return item.layerName; })) {
            layers.push_back(layerName);
            extensions.push_back(VK_EXT_DEBUG_UTILS_EXTENSION_NAME);
        } else {
            std::fputs("GLASSHOB_VALIDATION=1 was asked for, but the Vulkan validation layer is not installed.\n",
                       stderr);
        }
    }

    const VkApplicationInfo application{.sType = VK_STRUCTURE_TYPE_APPLICATION_INFO,
                                        .pNext = nullptr,
                                        .pApplicationName = "Glass Hob",
                                        .applicationVersion = 1,
                                        .pEngineName = "Glass Hob",
                                        .engineVersion = 1,
                                        .apiVersion = VK_API_VERSION_1_3};
    const VkDebugUtilsMessengerCreateInfoEXT messengerInfo{
        .sType = VK_STRUCTURE_TYPE_DEBUG_UTILS_MESSENGER_CREATE_INFO_EXT,
        .pNext = nullptr,
        .flags = 0,
        .messageSeverity =
            VK_DEBUG_UTILS_MESSAGE_SEVERITY_WARNING_BIT_EXT | VK_DEBUG_UTILS_MESSAGE_SEVERITY_ERROR_BIT_EXT,
        .messageType = VK_DEBUG_UTILS_MESSAGE_TYPE_GENERAL_BIT_EXT | VK_DEBUG_UTILS_MESSAGE_TYPE_VALIDATION_BIT_EXT |
                       VK_DEBUG_UTILS_MESSAGE_TYPE_PERFORMANCE_BIT_EXT,
        .pfnUserCallback = onMessage,
        .pUserData = nullptr};
    const VkInstanceCreateInfo info{.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO,
                                    .pNext = layers.empty() ? nullptr : &messengerInfo,
                                    .flags = flags,
                                    .pApplicationInfo = &application,
                                    .enabledLayerCount = std::uint32_t(layers.size()),
                                    .ppEnabledLayerNames = layers.data(),
                                    .enabledExtensionCount = std::uint32_t(extensions.size()),
                                    .ppEnabledExtensionNames = extensions.data()};
    const char* const purpose = "starting Vulkan";
    const VkResult result = attempt(purpose, [&] { return vkCreateInstance(&info, nullptr, &instance->handle); });
    if (result == VK_ERROR_INCOMPATIBLE_DRIVER || result == VK_ERROR_INITIALIZATION_FAILED)
        return std::unexpected(Error{ErrorKind::noDriver, noDriverText});
    if (result != VK_SUCCESS) return std::unexpected(makeError(result, purpose));
    if (!layers.empty()) {
        const auto create = reinterpret_cast<PFN_vkCreateDebugUtilsMessengerEXT>(
            vkGetInstanceProcAddr(instance->handle, "vkCreateDebugUtilsMessengerEXT"));
        if (create != nullptr && create(instance->handle, &messengerInfo, nullptr, &instance->messenger) == VK_SUCCESS)
            layerIsActive = true;
    }
    return instance;
}

DeviceKind kindOf(VkPhysicalDeviceType type) {
    switch (type) {
    case VK_PHYSICAL_DEVICE_TYPE_DISCRETE_GPU: return DeviceKind::discrete;
    case VK_PHYSICAL_DEVICE_TYPE_INTEGRATED_GPU: return DeviceKind::integrated;
    case VK_PHYSICAL_DEVICE_TYPE_VIRTUAL_GPU: return DeviceKind::virtual_;
    case VK_PHYSICAL_DEVICE_TYPE_CPU: return DeviceKind::cpu;
    default: return DeviceKind::other;
    }
}

int preference(DeviceKind kind) {
    switch (kind) {
    case DeviceKind::discrete: return 0;
    case DeviceKind::integrated: return 1;
    case DeviceKind::virtual_: return 2;
    case DeviceKind::other: return 3;
    case DeviceKind::cpu: return 4;
    }
    return 5;
}

std::string lowerCase(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return text;
}

PhysicalDevice describe(VkPhysicalDevice handle) {
    PhysicalDevice device{.handle = handle, .queueFamily = 0, .queueCount = 1, .info = {}};
    VkPhysicalDeviceDriverProperties driver{};
    driver.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_DRIVER_PROPERTIES;
    VkPhysicalDeviceProperties2 properties{};
    properties.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_PROPERTIES_2;
    VkPhysicalDeviceProperties basic{};
    vkGetPhysicalDeviceProperties(handle, &basic);
    if (basic.apiVersion >= VK_API_VERSION_1_2) properties.pNext = &driver;
    if (basic.apiVersion >= VK_API_VERSION_1_1) vkGetPhysicalDeviceProperties2(handle, &properties);

    device.info.name = basic.deviceName;
    device.info.kind = kindOf(basic.deviceType);
    device.info.driver = driver.driverName;
    if (driver.driverInfo[0] != '\0')
        device.info.driver += (device.info.driver.empty() ? "" : " ") + std::string(driver.driverInfo);
    device.info.vulkanVersion = std::to_string(VK_API_VERSION_MAJOR(basic.apiVersion)) + "." +
                                std::to_string(VK_API_VERSION_MINOR(basic.apiVersion)) + "." +
                                std::to_string(VK_API_VERSION_PATCH(basic.apiVersion));

    std::uint32_t count = 0;
    vkGetPhysicalDeviceQueueFamilyProperties(handle, &count, nullptr);
    std::vector<VkQueueFamilyProperties> families(count);
    vkGetPhysicalDeviceQueueFamilyProperties(handle, &count, families.data());
    const VkQueueFlags wanted = VK_QUEUE_GRAPHICS_BIT | VK_QUEUE_COMPUTE_BIT;
    const auto family =
        std::ranges::find_if(families, [&](const auto& item) { return (item.queueFlags & wanted) == wanted; });
    device.queueFamily = std::uint32_t(family - families.begin());
    device.queueCount = family != families.end() ? family->queueCount : 0;

    if (basic.apiVersion < VK_API_VERSION_1_3)
        device.info.problem = device.info.name + " has Vulkan " + device.info.vulkanVersion +
                              ", and 1.3 is needed: a newer driver may help.";
    else if (family == families.end())
        device.info.problem = device.info.name + " cannot draw pictures.";
    else
        device.info.problem = FeatureSet::query(handle).missing(device.info.name);
    device.info.isUsable = device.info.problem.empty();
    return device;
}

} // namespace

namespace {

struct Instances {
    std::mutex mutex;
    std::vector<Instance*> all; // the first is the shared one
};

Instances& instances() {
    static Instances* made = new Instances; // windows and the driver's threads may outlive static destruction
    return *made;
}

Result<Instance*> addInstance(Instances& to) {
    Result<std::unique_ptr<Instance>> made = makeInstance();
    if (!made) return std::unexpected(made.error());
    return to.all.emplace_back(made->release());
}

} // namespace

Result<Instance*> Instance::shared() {
    Instances& known = instances();
    const std::lock_guard lock(known.mutex);
    return known.all.empty() ? addInstance(known) : known.all.front();
}

void Instance::prepareShared() {
    silenceDeviceSelection(); // here, since the caller may read the environment while the thread runs
    static const std::jthread loader([] { (void)shared(); });
}

Result<Instance*> Instance::unused() {
    Instances& known = instances();
    const std::lock_guard lock(known.mutex);
    for (Instance* instance : known.all)
        if (instance->deviceCount == 0) return instance;
    return addInstance(known);
}

Result<std::vector<PhysicalDevice>> physicalDevices(Instance& instance) {
    const char* const purpose = "listing the graphics devices";
    std::uint32_t count = 0;
    std::vector<VkPhysicalDevice> handles;
    VkResult result = VK_SUCCESS;
    do {
        result = attempt(purpose, [&] { return vkEnumeratePhysicalDevices(instance.handle, &count, nullptr); });
        if (result != VK_SUCCESS) break;
        handles.resize(count);
        result = vkEnumeratePhysicalDevices(instance.handle, &count, handles.data());
        handles.resize(count);
    } while (result == VK_INCOMPLETE);
    if (result == VK_ERROR_INITIALIZATION_FAILED) return std::unexpected(Error{ErrorKind::noDriver, noDriverText});
    if (result != VK_SUCCESS) return std::unexpected(makeError(result, purpose));
    if (handles.empty()) return std::unexpected(Error{ErrorKind::noDriver, noDriverText});

    std::vector<PhysicalDevice> devices;
    const auto rank = [](const PhysicalDevice& device) {
        return std::pair(!device.info.isUsable, preference(device.info.kind));
    };
    for (VkPhysicalDevice handle : handles) {
        PhysicalDevice device = describe(handle);
        device.instance = &instance;
        devices.insert(std::ranges::upper_bound(devices, rank(device), {}, rank), std::move(device));
    }
    return devices;
}

Result<PhysicalDevice> choosePhysicalDevice(Instance& instance) {
    Result<std::vector<PhysicalDevice>> devices = physicalDevices(instance);
    if (!devices) return std::unexpected(devices.error());
    const char* wanted = std::getenv("GLASSHOB_DEVICE");
    if (wanted != nullptr && *wanted != '\0') {
        const std::string part = lowerCase(wanted);
        for (const PhysicalDevice& device : *devices) {
            if (lowerCase(device.info.name).find(part) == std::string::npos) continue;
            if (!device.info.isUsable) return std::unexpected(Error{ErrorKind::unsupported, device.info.problem});
            return device;
        }
        std::string names;
        for (const PhysicalDevice& device : *devices)
            names += (names.empty() ? "" : ", ") + device.info.name;
        return std::unexpected(
            Error{ErrorKind::noDriver, "No graphics device has \"" + std::string(wanted) +
                                           "\" in its name, which GLASSHOB_DEVICE asks for. There is: " + names + "."});
    }
    const PhysicalDevice& best = devices->front();
    if (!best.info.isUsable) return std::unexpected(Error{ErrorKind::unsupported, best.info.problem});
    return best;
}

} // namespace vulkan
} // namespace gpu
