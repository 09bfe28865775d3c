#pragma once

// Turns the bytes of a body that were sent into how much of it is done. Used on the thread that sends.

#include <algorithm>
#include <cstdint>
#include <functional>

namespace glasshob {

struct UploadProgress {
    // Told a value from 0 to 1.
    std::function<void(double)> report;

    // Says nothing while it is not known how many bytes there will be (`expected` is 0 or less).
    void sent(std::int64_t bytes, std::int64_t expected) const {
        if (report && expected > 0) report(std::clamp(double(bytes) / double(expected), 0.0, 1.0));
    }
};

} // namespace glasshob
