// Faults on demand, for tests of what happens when the driver says no.
#pragma once

#include "GPU/Error.h"

#include <string>
#include <string_view>
#include <vector>

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

} // namespace gpu::testing
