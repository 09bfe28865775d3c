#include "GlassHob/model/PreviewClock.h"

#include <utility>

namespace glasshob {

PreviewClock::Tick PreviewClock::tick(double now) {
    const double elapsed = lastTick_ ? now - *lastTick_ : 0;
    lastTick_ = now;
    double delta = std::exchange(stepped_, 0);
    if (!paused_) {
        time_ += elapsed;
        ++frame_;
        delta += elapsed;
    }
    return {float(time_), float(delta), frame_};
}

void PreviewClock::setPaused(bool paused) {
    paused_ = paused;
}

void PreviewClock::backToStart() {
    time_ = 0;
    frame_ = 0;
    stepped_ = 0;
    lastTick_.reset();
}

void PreviewClock::step() {
    if (!paused_) return;
    constexpr double sixtieth = 1.0 / 60;
    time_ += sixtieth;
    stepped_ += sixtieth;
    ++frame_;
}

} // namespace glasshob
