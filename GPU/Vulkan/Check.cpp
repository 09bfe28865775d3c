// Errors in words, and the faults that tests inject.
#include "GPU/Vulkan/Check.h"

#include "GPU/Testing.h"

#include <mutex>

namespace gpu::vulkan {

std::atomic<bool> faultsWatched = false;

namespace {

struct Faults {
    std::mutex mutex;
    bool isArmed = false;
    bool hasHappened = false;
    std::string purpose;
    ErrorKind kind = ErrorKind::outOfMemory;
    unsigned skip = 0;
    bool isLogging = false;
    std::vector<std::string> log;

    void updateWatch() { faultsWatched = isArmed || isLogging; }
};

Faults& faults() {
    static Faults* instance = new Faults; // driver threads may outlive static destruction
    return *instance;
}

} // namespace

VkResult injectedResult(std::string_view purpose) {
    Faults& state = faults();
    const std::lock_guard lock(state.mutex);
    if (state.isLogging) state.log.emplace_back(purpose);
    if (!state.isArmed || purpose.find(state.purpose) == std::string_view::npos) return VK_SUCCESS;
    if (state.skip > 0) {
        --state.skip;
        return VK_SUCCESS;
    }
    state.isArmed = false;
    state.hasHappened = true;
    state.updateWatch();
    switch (state.kind) {
    case ErrorKind::outOfMemory: return VK_ERROR_OUT_OF_DEVICE_MEMORY;
    case ErrorKind::deviceLost: return VK_ERROR_DEVICE_LOST;
    case ErrorKind::surfaceLost: return VK_ERROR_SURFACE_LOST_KHR;
    default: return VK_ERROR_UNKNOWN;
    }
}

Error makeError(VkResult result, std::string_view purpose) {
    const std::string place(purpose);
    switch (result) {
    case VK_ERROR_OUT_OF_HOST_MEMORY:
        return {ErrorKind::outOfMemory, "The computer ran out of memory while " + place + "."};
    case VK_ERROR_OUT_OF_DEVICE_MEMORY:
    case VK_ERROR_OUT_OF_POOL_MEMORY:
        return {ErrorKind::outOfMemory, "The graphics device ran out of memory while " + place + "."};
    case VK_ERROR_DEVICE_LOST:
        return {ErrorKind::deviceLost, "The graphics device stopped working while " + place + "."};
    case VK_ERROR_SURFACE_LOST_KHR:
    case VK_ERROR_NATIVE_WINDOW_IN_USE_KHR:
        return {ErrorKind::surfaceLost, "The window can no longer be drawn to (while " + place + ")."};
    case VK_ERROR_INCOMPATIBLE_DRIVER:
    case VK_ERROR_INITIALIZATION_FAILED:
        return {ErrorKind::noDriver, "The graphics driver could not be started while " + place + "."};
    case VK_ERROR_FEATURE_NOT_PRESENT:
    case VK_ERROR_EXTENSION_NOT_PRESENT:
    case VK_ERROR_FORMAT_NOT_SUPPORTED:
        return {ErrorKind::unsupported, "The graphics device lacks something that is needed for " + place + "."};
    default:
        return {ErrorKind::failed,
                "The graphics driver reported error " + std::to_string(result) + " while " + place + "."};
    }
}

} // namespace gpu::vulkan

namespace gpu::testing {

using vulkan::faults;

InjectedFault::InjectedFault(std::string_view purpose, ErrorKind kind, unsigned skip) {
    auto& state = faults();
    const std::lock_guard lock(state.mutex);
    state.isArmed = true;
    state.hasHappened = false;
    state.purpose = purpose;
    state.kind = kind;
    state.skip = skip;
    state.updateWatch();
}

InjectedFault::~InjectedFault() {
    auto& state = faults();
    const std::lock_guard lock(state.mutex);
    state.isArmed = false;
    state.updateWatch();
}

bool InjectedFault::happened() const {
    auto& state = faults();
    const std::lock_guard lock(state.mutex);
    return state.hasHappened;
}

PurposeLog::PurposeLog() {
    auto& state = faults();
    const std::lock_guard lock(state.mutex);
    state.isLogging = true;
    state.log.clear();
    state.updateWatch();
}

PurposeLog::~PurposeLog() {
    auto& state = faults();
    const std::lock_guard lock(state.mutex);
    state.isLogging = false;
    state.updateWatch();
}

std::vector<std::string> PurposeLog::purposes() const {
    auto& state = faults();
    const std::lock_guard lock(state.mutex);
    return state.log;
}

} // namespace gpu::testing
