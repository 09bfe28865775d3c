// Shows frames in a window. Made and used by one thread (the window's); presenting happens on a thread of the
// presenter, because on some drivers a present blocks for as long as the frame takes to draw.
//
// Per frame: nextDrawable() with the window's present size in pixels, draw into drawable->texture(), hand the drawable
// to CommandBuffer::presentDrawable(), commit. nextDrawable() never blocks: it returns null while two frames are in
// flight, while the swapchain is being made for a new size, and once the surface is lost; skip the frame then. Drivers
// do not report resizes reliably, so the size is compared at every call.
//
// The surface belongs to the window. close() (or destruction) before the window destroys it; a drawable that outlives
// the presenter is drawn and not shown.
#pragma once

#include "GPU/Device.h"
#include "GPU/Error.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace gpu {

class Texture;

// The process's VkInstance as an opaque pointer (for QVulkanInstance::setVkInstance and for making surfaces); it lives
// to the end of the process. Fails when there is no driver.
Result<void*> nativeInstance();
// The one of a device, to which surfaces for it belong; not the process's first for every device of
// Device::makeIsolated().
void* nativeInstance(const Device& device);

// A VkSurfaceKHR of that instance, as the window system's code made it.
struct NativeSurface {
    std::uint64_t handle = 0;
};

enum class PresentMode : std::uint8_t {
    vsync,     // never tears; paced by the display where the driver does that
    immediate, // as fast as frames come, where the driver has it
};

struct PresentedFrame {
    std::uint64_t number = 0;                        // counts presented frames from 1
    std::chrono::steady_clock::time_point drawn;     // when the GPU had finished
    std::chrono::steady_clock::time_point presented; // when the window system had taken it
};

class Drawable {
  public:
    // A bgra8Unorm render target; its old content is undefined.
    const std::shared_ptr<Texture>& texture() const;
    std::uint32_t width() const;
    std::uint32_t height() const;

    ~Drawable(); // a drawable that was never presented goes back to the presenter
    struct Impl;
    explicit Drawable(std::unique_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }

  private:
    std::unique_ptr<Impl> impl_;
};

class Presenter {
  public:
    // Fails when the device cannot present to the surface.
    static Result<std::shared_ptr<Presenter>> make(const std::shared_ptr<Device>& device, NativeSurface surface,
                                                   PresentMode mode = PresentMode::vsync);

    // Null: no drawable now; skip the frame. Width and height in pixels; 0 gives null.
    std::shared_ptr<Drawable> nextDrawable(std::uint32_t width, std::uint32_t height);

    // Called on the presenter's thread after every frame shown. Set before the first nextDrawable().
    void setPresentedHandler(std::function<void(const PresentedFrame&)> handler);

    // Called on the presenter's thread when a drawable has become available after nextDrawable() returned null. Set
    // before the first nextDrawable().
    void setAvailableHandler(std::function<void()> handler);

    // Shows frames at deadlines this far apart: frames drawn at uneven times come out evenly, and no more of them than
    // that. One that is late is shown at once; the deadlines stay where they are, so that the rate holds. Zero, the
    // default, shows each as soon as it is drawn. Any time.
    void setPace(std::chrono::nanoseconds interval);

    bool surfaceLost() const;
    std::uint64_t presentedFrames() const;

    // Waits for the frames in flight, ends the thread and lets go of the surface.
    void close();

    ~Presenter();
    struct Impl;
    explicit Presenter(std::shared_ptr<Impl> impl);

  private:
    std::shared_ptr<Impl> impl_;
};

} // namespace gpu
