#pragma once

// Tells how far an export is, ten times a second at most: as a bar on a terminal, or as lines of JSON on standard
// output for other programs.

#include "hob/Console.h"

#include <chrono>
#include <cstdint>

namespace hob {

class ExportProgress {
  public:
    ExportProgress(Console& console, bool json) : console_(console), json_(json) {}

    /// Frames written, and frames in all.
    void tell(std::int64_t done, std::int64_t total);

  private:
    using Clock = std::chrono::steady_clock;
    Console& console_;
    bool json_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point last_;
};

} // namespace hob
