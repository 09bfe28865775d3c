#include "GlassHob/model/PreviewClock.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace glasshob {

namespace {

constexpr double frameRate = 60;

} // namespace

PreviewClock::Tick PreviewClock::tick(double now) {
    const double elapsed = lastTick_ ? (now - *lastTick_) * speed_ : 0;
    lastTick_ = now;
    double delta = std::exchange(stepped_, 0);
    if (!paused_) {
        time_ += elapsed;
        ++frame_;
        delta += elapsed;
        if (loop_ && time_ < loop_->start)
            setTime(loop_->start);
        else if (loop_ && time_ >= loop_->end)
            setTime(loop_->start + std::fmod(time_ - loop_->start, loop_->length()));
    }
    return {float(time_), float(delta), frame_};
}

void PreviewClock::setPaused(bool paused) {
    paused_ = paused;
}

void PreviewClock::backToStart() {
    setTime(loop_ ? loop_->start : 0);
    stepped_ = 0;
    lastTick_.reset();
}

void PreviewClock::step() {
    if (!paused_) return;
    time_ += 1 / frameRate;
    stepped_ += 1 / frameRate;
    ++frame_;
}

void PreviewClock::setTime(double seconds) {
    time_ = std::isfinite(seconds) ? std::clamp(seconds, 0.0, latestTime) : 0;
    frame_ = std::uint32_t(std::llround(time_ * frameRate));
}

void PreviewClock::setSpeed(double speed) {
    speed_ = std::isfinite(speed) ? std::clamp(speed, slowest, fastest) : 1;
}

void PreviewClock::setLoop(std::optional<TimeStretch> loop) {
    loop_ = std::nullopt;
    if (!loop || !std::isfinite(loop->start) || !std::isfinite(loop->end)) return;
    const auto [first, last] = std::minmax(loop->start, loop->end);
    const double start = std::clamp(first, 0.0, latestTime - shortestLoop);
    loop_ = TimeStretch{start, std::clamp(last, start + shortestLoop, latestTime)};
}

} // namespace glasshob
