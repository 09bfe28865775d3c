// How fast an export goes, from the frames that have been reported: the time that is left by the mean of the last three
// seconds. A value; it is handed the time in seconds of a clock that only goes forward.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

namespace glasshob {

class ExportPace {
  public:
    explicit ExportPace(double start = 0) : start_(start) {}

    void report(double now, std::int64_t done);
    // Nothing in the first two seconds, and before two frames are there to measure between.
    std::optional<double> secondsLeft(double now, std::int64_t total) const;

  private:
    struct Report {
        double time;
        std::int64_t done;
    };
    double start_;
    std::deque<Report> reports_; // those of the last three seconds, and the one before
};

} // namespace glasshob
