#include "GlassHob/ui/picture/FrameRate.h"

#include "GlassHob/ui/picture/Canvas.h"

#include <algorithm>
#include <utility>

namespace glasshob {

namespace {

constexpr int interval = 1000;     // milliseconds between two looks
constexpr double wholeFrom = 9.95; // frames a second; slower ones have a decimal

} // namespace

FrameRate::FrameRate(const Canvas& canvas, QObject* parent) : QObject(parent), canvas_(canvas) {
    connect(&timer_, &QTimer::timeout, this, &FrameRate::measure);
    timer_.start(interval);
}

QString FrameRate::textOf(double framesPerSecond) {
    return tr("%1 fps").arg(QString::number(framesPerSecond, 'f', framesPerSecond < wholeFrom ? 1 : 0));
}

void FrameRate::measure() {
    const Clock::time_point when = canvas_.lastShown();
    const std::uint64_t frames = canvas_.shownFrames();
    const std::uint64_t shown = frames - std::exchange(frames_, frames);
    const Clock::time_point before = std::exchange(when_, when);
    const auto seconds = [](Clock::duration time) { return std::chrono::duration<double>(time).count(); };
    QString text = text_;
    if (canvas_.isAtRest()) {
        when_ = Clock::now();
        rate_ = 0;
        text = tr("at rest");
    } else if (shown > 0 && before != Clock::time_point{} && when > before) {
        rate_ = double(shown) / seconds(when - before);
        text = textOf(rate_);
    } else if (shown == 0 && rate_ > 0) {
        // The next frame is not there yet: it is no faster than this.
        rate_ = std::min(rate_, 1 / std::max(seconds(Clock::now() - when), 1e-3));
        text = textOf(rate_);
    }
    if (text == std::exchange(text_, text)) return;
    emit changed();
}

} // namespace glasshob
