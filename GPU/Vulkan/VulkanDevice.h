// The Vulkan side of a Device, shared by every object made from it: handles, limits, the one queue with its timeline,
// the pool of recordings, and the thread that runs completion handlers. Any thread; the members say which lock guards
// them.
//
// Public objects split in two: those that use the queue (CommandQueue, CommandBuffer, Presenter) hold the Device;
// memory and pipelines hold only this, so that work in flight, which holds them, never holds the Device itself.
#pragma once

#include "GPU/Device.h"
#include "GPU/Vulkan/Check.h"
#include "GPU/Vulkan/Features.h"
#include "GPU/Vulkan/Instance.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace gpu::vulkan {

struct Recording;
class CompletionThread;

struct Allocation {
    VkDeviceMemory memory = VK_NULL_HANDLE;
    std::byte* mapped = nullptr;
};

struct VulkanDevice : std::enable_shared_from_this<VulkanDevice> {
    PhysicalDevice physical;
    FeatureSet features;
    VkPhysicalDeviceLimits limits{};
    VkPhysicalDeviceMemoryProperties memoryProperties{};
    bool hasSwapchain = false;
    bool drawsIntoHostMemory = false; // a linear, host-visible BGRA8 colour attachment works and is the fast way
    std::uint64_t generation = 0;
    std::atomic<bool> lost = false;

    VkDevice handle = VK_NULL_HANDLE;
    VkQueue queue = VK_NULL_HANDLE;
    VkQueue presentQueue = VK_NULL_HANDLE; // another one where the device has two, else the same
    VkPipelineCache pipelineCache = VK_NULL_HANDLE;
    VkSemaphore timeline = VK_NULL_HANDLE;

    // Its holder feeds the queue, also with what others hand in at the same time: see flush(). Guards also:
    std::mutex queueMutex;           // the queue, and:
    std::uint64_t lastSubmitted = 0; // the timeline's value once everything submitted has finished

    static Result<std::shared_ptr<VulkanDevice>> make(const PhysicalDevice& physical);
    ~VulkanDevice();

    // Makes a call that can fail; notices a lost device.
    template <class Call>
    Result<void> call(std::string_view purpose, Call&& vulkanCall) {
        if (lost) return std::unexpected(makeError(VK_ERROR_DEVICE_LOST, purpose));
        const VkResult result = attempt(purpose, vulkanCall);
        if (result >= VK_SUCCESS) return {};
        if (result == VK_ERROR_DEVICE_LOST) lost = true;
        return std::unexpected(makeError(result, purpose));
    }

    // Memory for a resource; mapped when the flags ask for HOST_VISIBLE. `preferred` flags are given up when no type
    // has them. `hasAddress`: for buffers that functions reach by address.
    Result<Allocation> allocate(const VkMemoryRequirements& requirements, VkMemoryPropertyFlags required,
                                VkMemoryPropertyFlags preferred, std::string_view purpose, bool hasAddress = false);
    void release(const Allocation& allocation);

    // Recordings: taken empty and begun, given to the queue, and taken back once the GPU has finished with them.
    Result<std::unique_ptr<Recording>> takeRecording();
    void giveBack(std::unique_ptr<Recording> recording); // one that was never submitted
    // Ends and hands in. The value is what the timeline reaches when the work has finished. Never waits for the queue:
    // while another thread holds it (a present can take long), that thread submits when it is done, and a failure of
    // that failureOf() reports. On failure the recording is taken back.
    Result<std::uint64_t> submit(std::unique_ptr<Recording> recording);

    // Submits what was handed in, unless another thread holds the queue and will. After letting go of queueMutex.
    void flush();

    // Why work that was handed in never reached the queue; nothing when it did or still will.
    std::optional<Error> failureOf(std::uint64_t value);
    void reclaim();

    // The timeline's present value; what finished is visible to the CPU.
    std::uint64_t finishedValue();
    // Blocks; false when the device was lost before the value was reached, its work never reached the queue, or the
    // time is up.
    bool wait(std::uint64_t value,
              std::chrono::steady_clock::time_point until = std::chrono::steady_clock::time_point::max());

    // Calls the handler on the completion thread once the value is reached or the device is lost.
    void whenFinished(std::uint64_t value, std::function<void()> handler);

    // Waits for everything in flight and lets go of what it holds. For the last owner of the Device.
    void drain();

  private:
    struct InFlight {
        std::uint64_t value;
        std::unique_ptr<Recording> recording;
    };
    std::mutex recordingsMutex; // guards the two lists
    std::deque<InFlight> inFlight;
    std::vector<std::unique_ptr<Recording>> idle;

    std::mutex waitingMutex; // guards:
    std::uint64_t lastReserved = 0;
    std::deque<InFlight> waiting; // handed in and not yet submitted
    std::map<std::uint64_t, Error> failures;
    std::atomic<bool> hasFailures = false;
    void submitWaiting(); // with queueMutex held

    std::mutex completionMutex; // guards the making of the thread
    std::unique_ptr<CompletionThread> completion;
};

} // namespace gpu::vulkan

namespace gpu {

struct Device::Impl {
    std::shared_ptr<vulkan::VulkanDevice> core;
};

} // namespace gpu
