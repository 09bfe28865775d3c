// When frames are due: at deadlines one pace apart, sixty a second where the display shows as many, never more often
// than the display shows a picture. Deadlines lie on a grid that lateness does not move, so the rate holds.
// Plain values; any thread.
#pragma once

#include <chrono>

namespace glasshob {

class FramePace {
  public:
    using Clock = std::chrono::steady_clock;

    // Between two frames on a display that shows `rate` pictures a second; 0 where it does not say. A display with
    // nearly a multiple of sixty gets a frame every second, third, ... of its pictures.
    static std::chrono::nanoseconds onDisplay(double rate);

    // The deadlines begin at `now`.
    void begin(Clock::time_point now, std::chrono::nanoseconds interval);
    // Passes the deadline that has come and any that were missed: milliseconds from `now` to the next one.
    int next(Clock::time_point now);

  private:
    Clock::time_point due_;
    std::chrono::nanoseconds interval_{1};
};

} // namespace glasshob
