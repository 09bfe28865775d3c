// For tests: faults on demand, of what happens when the driver says no, and other devices' limits.
#pragma once

#include "GPU/Error.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace gpu {
class Device;
}

namespace gpu::testing {

// The next Vulkan call whose purpose contains `purpose` ("creating the texture") is not made and reports `kind`
// (outOfMemory, deviceLost or failed) instead; `skip` matching calls go through before. One fault at a time, for the
// whole process; the guard takes it back if it never happened.
class InjectedFault {
  public:
    explicit InjectedFault(std::string_view purpose, ErrorKind kind = ErrorKind::outOfMemory, unsigned skip = 0);
    ~InjectedFault();
    InjectedFault(const InjectedFault&) = delete;
    InjectedFault& operator=(const InjectedFault&) = delete;
    bool happened() const;
};

// The purposes of every call checked while this is alive, in order: what a test can go through one by one.
class PurposeLog {
  public:
    PurposeLog();
    ~PurposeLog();
    PurposeLog(const PurposeLog&) = delete;
    PurposeLog& operator=(const PurposeLog&) = delete;
    std::vector<std::string> purposes() const;
};

// What a device says of itself from now on, so that the ways which are taken on other devices run on this one. The
// layer keeps to the limits as if they were the device's.
struct Limits {
    std::optional<std::uint64_t> bufferArgumentLength = std::nullopt;
    std::optional<std::uint32_t> viewportSize = std::nullopt;
    std::optional<float> largestPoint = std::nullopt;
};
void setLimits(Device& device, const Limits& limits);

} // namespace gpu::testing
