#pragma once

// Thrown by the database and the media store when the disk is full or cannot be written: nobody's mistake, and over
// once there is room again. What was to be written is not kept.

#include <stdexcept>

namespace glasshob::gallery {

struct DiskRefusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace glasshob::gallery
