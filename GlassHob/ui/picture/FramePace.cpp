#include "GlassHob/ui/picture/FramePace.h"

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr double mostFrames = 60; // a second
constexpr double slack = 1;       // displays of "60 Hz" show 59.94, or 60.02

} // namespace

std::chrono::nanoseconds FramePace::onDisplay(double rate) {
    const auto every = [](double frames) { return std::chrono::nanoseconds(std::llround(1e9 / frames)); };
    if (!(rate >= 1)) return every(mostFrames);
    if (rate < mostFrames - slack) return every(rate);
    const double even = rate / std::round(rate / mostFrames);
    return every(std::abs(even - mostFrames) <= slack ? even : mostFrames);
}

void FramePace::begin(Clock::time_point now, std::chrono::nanoseconds interval) {
    due_ = now;
    interval_ = interval;
}

int FramePace::next(Clock::time_point now) {
    // A timer may fire up to a millisecond before its time: that is the deadline that it was set for.
    const auto passed = std::max(now + std::chrono::milliseconds(1) - due_, Clock::duration::zero());
    due_ += (passed / interval_ + 1) * interval_;
    return int(std::chrono::round<std::chrono::milliseconds>(due_ - now).count());
}

} // namespace glasshob
