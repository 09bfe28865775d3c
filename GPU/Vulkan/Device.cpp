// Device: the choice of hardware, and the factory functions that are only a few lines.
#include "GPU/Device.h"

#include "GPU/Buffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Library.h"
#include "GPU/Pipeline.h"
#include "GPU/Testing.h"
#include "GPU/Texture.h"
#include "GPU/Vulkan/VulkanDevice.h"

#include <mutex>

namespace gpu {

std::string_view description(DeviceKind kind) {
    switch (kind) {
    case DeviceKind::discrete: return "discrete GPU";
    case DeviceKind::integrated: return "integrated GPU";
    case DeviceKind::virtual_: return "virtual GPU";
    case DeviceKind::cpu: return "CPU";
    case DeviceKind::other: break;
    }
    return "other";
}

namespace {

Result<std::shared_ptr<Device>> makeOn(const vulkan::PhysicalDevice& physical) {
    Result<std::shared_ptr<vulkan::VulkanDevice>> core = vulkan::VulkanDevice::make(physical);
    if (!core) return std::unexpected(core.error());
    return std::make_shared<Device>(std::make_unique<Device::Impl>(std::move(*core)));
}

Result<vulkan::PhysicalDevice> chooseOf(Result<vulkan::Instance*> instance) {
    if (!instance) return std::unexpected(instance.error());
    return vulkan::choosePhysicalDevice(**instance);
}

} // namespace

Result<std::shared_ptr<Device>> Device::makeSeparate() {
    const Result<vulkan::PhysicalDevice> physical = chooseOf(vulkan::Instance::shared());
    if (!physical) return std::unexpected(physical.error());
    return makeOn(*physical);
}

Result<std::shared_ptr<Device>> Device::makeIsolated() {
    Result<vulkan::PhysicalDevice> physical = chooseOf(vulkan::Instance::shared());
    if (physical && physical->info.kind == DeviceKind::cpu) physical = chooseOf(vulkan::Instance::unused());
    if (!physical) return std::unexpected(physical.error());
    return makeOn(*physical);
}

void Device::prepare() {
    vulkan::Instance::prepareShared();
}

Result<std::shared_ptr<Device>> Device::systemDefault() {
    static std::mutex mutex;
    static std::weak_ptr<Device> current;
    const std::lock_guard lock(mutex);
    if (std::shared_ptr<Device> device = current.lock(); device != nullptr && !device->lost()) return device;
    Result<std::shared_ptr<Device>> made = makeSeparate();
    if (made) current = *made;
    return made;
}

Result<std::vector<DeviceInfo>> Device::all() {
    const Result<vulkan::Instance*> instance = vulkan::Instance::shared();
    if (!instance) return std::unexpected(instance.error());
    const Result<std::vector<vulkan::PhysicalDevice>> devices = vulkan::physicalDevices(**instance);
    if (!devices) return std::unexpected(devices.error());
    std::vector<DeviceInfo> infos;
    for (const vulkan::PhysicalDevice& device : *devices)
        infos.push_back(device.info);
    return infos;
}

Device::Device(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

Device::~Device() {
    impl_->core->drain();
}

const DeviceInfo& Device::info() const {
    return impl_->core->physical.info;
}
std::uint64_t Device::generation() const {
    return impl_->core->generation;
}
bool Device::lost() const {
    return impl_->core->lost;
}
void Device::injectLoss() {
    impl_->core->lost = true;
}
std::uint32_t Device::maxTextureSize() const {
    return impl_->core->limits.maxImageDimension2D;
}

std::uint32_t Device::maxViewportSize() const {
    const std::uint32_t* most = impl_->core->limits.maxViewportDimensions;
    return std::min(most[0], most[1]);
}

std::uint64_t Device::maxBufferArgumentLength() const {
    return impl_->core->limits.maxStorageBufferRange;
}

float Device::largestPoint() const {
    const bool hasLarge = impl_->core->features.core.features.largePoints == VK_TRUE;
    return hasLarge ? impl_->core->limits.pointSizeRange[1] : 1.0F;
}

Result<std::shared_ptr<DepthStencilState>> Device::makeDepthStencilState(const DepthStencilDescriptor& descriptor) {
    if (auto made = impl_->core->call("making a depth test", [] { return VK_SUCCESS; }); !made)
        return std::unexpected(made.error());
    return std::make_shared<DepthStencilState>(descriptor);
}

namespace testing {

void setLimits(Device& device, const Limits& limits) {
    VkPhysicalDeviceLimits& kept = device.impl().core->limits;
    if (limits.bufferArgumentLength) kept.maxStorageBufferRange = std::uint32_t(*limits.bufferArgumentLength);
    if (limits.viewportSize) {
        kept.maxViewportDimensions[0] = *limits.viewportSize;
        kept.maxViewportDimensions[1] = *limits.viewportSize;
    }
    if (limits.largestPoint) kept.pointSizeRange[1] = *limits.largestPoint;
}

} // namespace testing
} // namespace gpu
