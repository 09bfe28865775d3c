// Why the GPU layer could not do something: a kind to act on and a whole sentence to show.
#pragma once

#include <cstdint>
#include <expected>
#include <string>

namespace gpu {

enum class ErrorKind : std::uint8_t {
    noDriver,        // no Vulkan driver, or none with a usable device
    unsupported,     // the device is too old for what was asked
    outOfMemory,     // host or device memory ran out
    deviceLost,      // the device is gone; take Device::systemDefault() anew and make every object again
    surfaceLost,     // the window's surface is gone or cannot be presented to
    invalidArgument, // the caller asked for something that does not exist: a size of 0, an unknown function name
    failed,          // anything else that the driver reported
};

struct Error {
    ErrorKind kind = ErrorKind::failed;
    std::string text;

    const std::string& description() const { return text; }
};

template <class T>
using Result = std::expected<T, Error>;

} // namespace gpu
