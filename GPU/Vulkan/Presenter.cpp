// The presenter's thread owns the swapchain: it acquires images ahead of time, waits for a committed frame to be drawn,
// and only then presents it, so that neither the lock of the queue nor the caller waits for a frame.
#include "GPU/Presenter.h"

#include "GPU/Vulkan/Commands.h"
#include "GPU/Vulkan/Swapchain.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace gpu {

using vulkan::Swapchain;
using vulkan::VulkanDevice;

namespace {
constexpr unsigned maxFramesInFlight = 2;
constexpr auto acquireRetry = std::chrono::milliseconds(1);
} // namespace

struct Drawable::Impl {
    std::weak_ptr<Presenter::Impl> presenter;
    std::shared_ptr<Texture> texture;
    std::shared_ptr<Swapchain> swapchain;
    std::uint32_t imageIndex = 0;
    bool isCommitted = false;
};

struct Presenter::Impl {
    std::shared_ptr<Device> device; // kept until closed
    VulkanDevice* core = nullptr;
    VkSurfaceKHR surface = VK_NULL_HANDLE;
    VkPresentModeKHR mode = VK_PRESENT_MODE_FIFO_KHR;
    std::function<void(const PresentedFrame&)> presentedHandler;
    std::function<void()> availableHandler;

    struct Frame {
        std::shared_ptr<Swapchain> swapchain;
        std::uint32_t imageIndex;
        std::uint64_t value;
    };

    std::mutex mutex; // guards everything below
    std::condition_variable changed;
    VkExtent2D requested{};
    VkExtent2D askedFor{};      // the request that the surface was last asked to fit
    bool sizeIsInDoubt = false; // the surface's size must be asked for again
    bool isOutOfDate = false;
    std::shared_ptr<Swapchain> swapchain;
    std::deque<std::uint32_t> ready; // acquired images of `swapchain`
    unsigned handedOut = 0;          // drawables neither committed nor given back
    std::deque<Frame> toPresent;
    unsigned presenting = 0;
    bool callerWentWithout = false;
    bool isStopping = false;
    bool isLost = false;
    std::uint64_t presented = 0;
    std::chrono::nanoseconds pace{0};
    std::chrono::steady_clock::time_point lastDue; // on the grid of the pace; the thread's own
    std::thread thread;

    void run();
    void rebuild(std::unique_lock<std::mutex>& lock);
    enum class Acquire : std::uint8_t { got, none, failed };
    Acquire acquire(std::unique_lock<std::mutex>& lock);
    void present(std::unique_lock<std::mutex>& lock);
    void noteResult(VkResult result);
    unsigned outstanding() const { return handedOut + unsigned(toPresent.size()) + presenting; }
};

Drawable::Drawable(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
const std::shared_ptr<Texture>& Drawable::texture() const {
    return impl_->texture;
}
std::uint32_t Drawable::width() const {
    return impl_->texture->width();
}
std::uint32_t Drawable::height() const {
    return impl_->texture->height();
}

Drawable::~Drawable() {
    const std::shared_ptr<Presenter::Impl> presenter = impl_->presenter.lock();
    if (presenter == nullptr || impl_->isCommitted) return;
    {
        const std::lock_guard lock(presenter->mutex);
        --presenter->handedOut;
        if (presenter->swapchain == impl_->swapchain) presenter->ready.push_front(impl_->imageIndex);
    }
    presenter->changed.notify_all();
}

namespace vulkan {

void presentWhenFinished(const std::shared_ptr<Drawable>& drawable, std::uint64_t value) {
    Drawable::Impl& impl = drawable->impl();
    const auto presenter = impl.presenter.lock();
    if (presenter == nullptr || impl.isCommitted) return;
    impl.isCommitted = true;
    {
        const std::lock_guard lock(presenter->mutex);
        --presenter->handedOut;
        presenter->toPresent.push_back({impl.swapchain, impl.imageIndex, value});
    }
    presenter->changed.notify_all();
}

} // namespace vulkan

Presenter::Presenter(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}
Presenter::~Presenter() {
    close();
}

Result<std::shared_ptr<Presenter>> Presenter::make(const std::shared_ptr<Device>& device, NativeSurface surface,
                                                   PresentMode mode) {
    VulkanDevice& core = *device->impl().core;
    const VkPhysicalDevice physical = core.physical.handle;
    const auto handle = reinterpret_cast<VkSurfaceKHR>(surface.handle);
    const auto cannot = [&] {
        return std::unexpected(Error{ErrorKind::unsupported, device->name() + " cannot show pictures in this window."});
    };
    if (!core.hasSwapchain || handle == VK_NULL_HANDLE) return cannot();
    VkBool32 isSupported = VK_FALSE;
    if (vkGetPhysicalDeviceSurfaceSupportKHR(physical, core.physical.queueFamily, handle, &isSupported) != VK_SUCCESS ||
        isSupported == VK_FALSE)
        return cannot();
    std::uint32_t count = 0;
    vkGetPhysicalDeviceSurfaceFormatsKHR(physical, handle, &count, nullptr);
    std::vector<VkSurfaceFormatKHR> formats(count);
    vkGetPhysicalDeviceSurfaceFormatsKHR(physical, handle, &count, formats.data());
    const auto isWanted = [](const VkSurfaceFormatKHR& format) {
        return format.format == VK_FORMAT_UNDEFINED ||
               (format.format == VK_FORMAT_B8G8R8A8_UNORM && format.colorSpace == VK_COLOR_SPACE_SRGB_NONLINEAR_KHR);
    };
    if (std::ranges::none_of(formats, isWanted)) return cannot();
    vkGetPhysicalDeviceSurfacePresentModesKHR(physical, handle, &count, nullptr);
    std::vector<VkPresentModeKHR> modes(count);
    vkGetPhysicalDeviceSurfacePresentModesKHR(physical, handle, &count, modes.data());

    auto impl = std::make_shared<Impl>();
    impl->device = device;
    impl->core = &core;
    impl->surface = handle;
    if (mode == PresentMode::immediate)
        for (const VkPresentModeKHR wanted : {VK_PRESENT_MODE_MAILBOX_KHR, VK_PRESENT_MODE_IMMEDIATE_KHR})
            if (std::ranges::find(modes, wanted) != modes.end()) {
                impl->mode = wanted;
                break;
            }
    impl->thread = std::thread([raw = impl.get()] { raw->run(); });
    return std::make_shared<Presenter>(std::move(impl));
}

void Presenter::setPresentedHandler(std::function<void(const PresentedFrame&)> handler) {
    impl_->presentedHandler = std::move(handler);
}

void Presenter::setAvailableHandler(std::function<void()> handler) {
    impl_->availableHandler = std::move(handler);
}

std::shared_ptr<Drawable> Presenter::nextDrawable(std::uint32_t width, std::uint32_t height) {
    std::shared_ptr<Drawable> drawable;
    {
        const std::lock_guard lock(impl_->mutex);
        if (impl_->isLost || impl_->isStopping || width == 0 || height == 0) return nullptr;
        const bool isAsked = impl_->askedFor.width == width && impl_->askedFor.height == height;
        const bool fits = impl_->swapchain != nullptr && impl_->swapchain->extent.width == width &&
                          impl_->swapchain->extent.height == height;
        impl_->requested = {width, height};
        // A surface that lags behind its window is asked again at every frame until it has caught up. It is drawn into
        // meanwhile, but not before it was asked once: some follow whatever size they are given.
        if (!fits) impl_->sizeIsInDoubt = true;
        const bool mustWait = !isAsked && !fits;
        if (!mustWait && !impl_->isOutOfDate && !impl_->ready.empty()) {
            auto made = std::make_unique<Drawable::Impl>();
            made->presenter = impl_;
            made->swapchain = impl_->swapchain;
            made->imageIndex = impl_->ready.front();
            made->texture = impl_->swapchain->textures[made->imageIndex];
            impl_->ready.pop_front();
            ++impl_->handedOut;
            drawable = std::make_shared<Drawable>(std::move(made));
        }
        impl_->callerWentWithout = drawable == nullptr;
    }
    impl_->changed.notify_all();
    return drawable;
}

void Presenter::setPace(std::chrono::nanoseconds interval) {
    const std::lock_guard lock(impl_->mutex);
    impl_->pace = interval;
}

bool Presenter::surfaceLost() const {
    const std::lock_guard lock(impl_->mutex);
    return impl_->isLost;
}

std::uint64_t Presenter::presentedFrames() const {
    const std::lock_guard lock(impl_->mutex);
    return impl_->presented;
}

void Presenter::close() {
    {
        const std::lock_guard lock(impl_->mutex);
        if (impl_->isStopping) return;
        impl_->isStopping = true;
    }
    impl_->changed.notify_all();
    if (impl_->thread.joinable()) impl_->thread.join();
    if (impl_->swapchain != nullptr) {
        impl_->core->drain(); // drawables that were drawn and never shown
        impl_->swapchain->destroy();
        impl_->swapchain = nullptr;
    }
    impl_->device = nullptr;
}

// The thread.

void Presenter::Impl::noteResult(VkResult result) {
    if (result == VK_ERROR_OUT_OF_DATE_KHR || result == VK_SUBOPTIMAL_KHR)
        isOutOfDate = true;
    else if (result < VK_SUCCESS)
        isLost = true;
    if (result == VK_ERROR_DEVICE_LOST) core->lost = true;
}

void Presenter::Impl::run() {
    std::unique_lock lock(mutex);
    while (true) {
        if (!toPresent.empty()) {
            // An image for the next frame first: the wait for this one may be long.
            if (!isStopping && !isOutOfDate && ready.size() + outstanding() < maxFramesInFlight) acquire(lock);
            present(lock);
            continue;
        }
        if (isStopping) return;
        const bool wantsArea = requested.width > 0 && requested.height > 0;
        if (!isLost && wantsArea && outstanding() == 0 && (swapchain == nullptr || isOutOfDate || sizeIsInDoubt)) {
            rebuild(lock);
            if (swapchain == nullptr && !isLost) // the window has no area yet
                changed.wait_for(lock, std::chrono::milliseconds(5), [&] { return isStopping; });
            continue;
        }
        if (!isLost && swapchain != nullptr && !isOutOfDate && ready.size() + outstanding() < maxFramesInFlight) {
            if (acquire(lock) == Acquire::none) changed.wait_for(lock, acquireRetry);
            continue;
        }
        changed.wait(lock);
    }
}

// Asks the surface for its size and makes a new swapchain where that differs. Nothing is outstanding.
void Presenter::Impl::rebuild(std::unique_lock<std::mutex>& lock) {
    const VkExtent2D wanted = requested;
    askedFor = wanted;
    const std::shared_ptr<Swapchain> old = swapchain;
    const bool mustRenew = isOutOfDate || old == nullptr;
    sizeIsInDoubt = false;
    lock.unlock();
    VkSurfaceCapabilitiesKHR capabilities;
    VkResult result = vulkan::attempt("asking for the window's size", [&] {
        return vkGetPhysicalDeviceSurfaceCapabilitiesKHR(core->physical.handle, surface, &capabilities);
    });
    const VkExtent2D extent = result == VK_SUCCESS ? Swapchain::fittingExtent(capabilities, wanted) : VkExtent2D{};
    const bool hasArea = extent.width > 0 && extent.height > 0;
    const bool isSame = old != nullptr && old->extent.width == extent.width && old->extent.height == extent.height;
    std::shared_ptr<Swapchain> made;
    if (hasArea && (mustRenew || !isSame)) {
        if (auto attempt = Swapchain::make(device->impl().core, surface, capabilities, extent, mode,
                                           old != nullptr ? old->handle : VK_NULL_HANDLE))
            made = *attempt;
        else
            result = attempt.error().kind == ErrorKind::deviceLost ? VK_ERROR_DEVICE_LOST : VK_ERROR_SURFACE_LOST_KHR;
    }
    lock.lock();
    if (result != VK_SUCCESS) {
        noteResult(result);
        return;
    }
    if (made == nullptr) return;
    // The images of the old one that were acquired and not used go with it. A caller may have taken one meanwhile: it
    // keeps the old one alive, and what it draws is not shown.
    swapchain = made;
    ready.clear();
    isOutOfDate = false;
    if (old != nullptr) {
        lock.unlock();
        core->drain();
        lock.lock();
    }
}

Presenter::Impl::Acquire Presenter::Impl::acquire(std::unique_lock<std::mutex>& lock) {
    const std::shared_ptr<Swapchain> from = swapchain;
    if (from == nullptr) return Acquire::none;
    lock.unlock();
    std::uint32_t index = 0;
    const VkResult result = vulkan::attempt("taking an image of the window", [&] {
        return vkAcquireNextImageKHR(core->handle, from->handle, 0, VK_NULL_HANDLE, from->acquired, &index);
    });
    const bool got = result == VK_SUCCESS || result == VK_SUBOPTIMAL_KHR;
    if (got) {
        vkWaitForFences(core->handle, 1, &from->acquired, VK_TRUE, UINT64_MAX);
        vkResetFences(core->handle, 1, &from->acquired);
    }
    bool shouldTell = false;
    lock.lock();
    if (got) {
        ready.push_back(index);
        shouldTell = std::exchange(callerWentWithout, false);
    }
    if (result == VK_NOT_READY || result == VK_TIMEOUT) return Acquire::none;
    noteResult(result);
    if (shouldTell && availableHandler) {
        lock.unlock();
        availableHandler();
        lock.lock();
    }
    return got ? Acquire::got : Acquire::failed;
}

void Presenter::Impl::present(std::unique_lock<std::mutex>& lock) {
    const Frame frame = std::move(toPresent.front());
    toPresent.pop_front();
    presenting = 1;
    const bool isCurrent = frame.swapchain == swapchain;
    const auto interval = isStopping ? std::chrono::nanoseconds{0} : pace;
    lock.unlock();
    const bool isDrawn = core->wait(frame.value);
    const auto drawn = std::chrono::steady_clock::now();
    // A late frame is shown at once and leaves the grid where it is, so that lateness does not add up. Places on the
    // grid that were missed altogether are left out.
    const auto due = lastDue + interval;
    if (drawn < due) std::this_thread::sleep_until(due);
    if (drawn < due + interval)
        lastDue = due;
    else if (interval.count() > 0)
        lastDue = drawn - (drawn - due) % interval;
    // Work that never reached the queue drew nothing: the image stays ours.
    const bool isUndrawn = !isDrawn && core->failureOf(frame.value).has_value();
    VkResult result = isDrawn || isUndrawn ? VK_SUCCESS : VK_ERROR_DEVICE_LOST;
    if (isDrawn && isCurrent) {
        const VkPresentInfoKHR info{.sType = VK_STRUCTURE_TYPE_PRESENT_INFO_KHR,
                                    .pNext = nullptr,
                                    .waitSemaphoreCount = 0,
                                    .pWaitSemaphores = nullptr,
                                    .swapchainCount = 1,
                                    .pSwapchains = &frame.swapchain->handle,
                                    .pImageIndices = &frame.imageIndex,
                                    .pResults = nullptr};
        const auto presentNow = [&] { return vkQueuePresentKHR(core->presentQueue, &info); };
        if (core->presentQueue == core->queue) {
            {
                const std::lock_guard queueLock(core->queueMutex);
                result = vulkan::attempt("showing a frame", presentNow);
            }
            core->flush(); // what was handed in while the present held the queue
        } else {
            result = vulkan::attempt("showing a frame", presentNow);
        }
    }
    const auto now = std::chrono::steady_clock::now();
    lock.lock();
    presenting = 0;
    noteResult(result);
    if (isUndrawn && isCurrent) ready.push_front(frame.imageIndex);
    if (result >= VK_SUCCESS && isDrawn && isCurrent) {
        const PresentedFrame report{++presented, drawn, now};
        if (presentedHandler) {
            lock.unlock();
            presentedHandler(report);
            lock.lock();
        }
    }
}

} // namespace gpu
