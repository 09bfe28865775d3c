#pragma once

// Tells how far an export is, ten times a second at most, as a bar on a terminal or as lines of JSON on standard output
// for other programs; and whether it continues: Ctrl-C and a closed output end it. One at a
// time.

#include "hob/Console.h"
#include "hob/Interrupts.h"

#include <chrono>
#include <cstdint>
#include <stop_token>
#include <string>

namespace hob {

// "[######..................]": how much of something is done, 0 to 1.
std::string progressBar(double done);
// What is shown while a simulation runs up to a moment.
std::string catchUpText(double reached, double target);

class ExportProgress {
  public:
    ExportProgress(Console& console, bool json) : console_(console), json_(json) {}

    // Frames written, and frames in all; false when the export should end.
    bool tell(std::int64_t done, std::int64_t total);
    // Seconds of shader time that a simulation has run through before the first frame, and those it must.
    void tellCatchUp(double reached, double target);
    // Stopped by Ctrl-C, for work between frames.
    std::stop_token stop() const { return interrupts_.token(); }

  private:
    using Clock = std::chrono::steady_clock;
    void show(std::int64_t done, std::int64_t total);

    Console& console_;
    bool json_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point last_;
    Interrupts interrupts_{"Export cancelled."};
};

} // namespace hob
