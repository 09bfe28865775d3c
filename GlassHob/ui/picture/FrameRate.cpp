#include "GlassHob/ui/picture/FrameRate.h"

#include "GlassHob/ui/picture/Canvas.h"

#include <utility>

namespace glasshob {

FrameRate::FrameRate(const Canvas& canvas, QObject* parent)
    : QObject(parent), canvas_(canvas), before_(canvas.shownFrames()) {
    connect(&timer_, &QTimer::timeout, this, &FrameRate::measure);
    timer_.start(1000);
    clock_.start();
}

void FrameRate::measure() {
    const double seconds = double(clock_.restart()) / 1000.0;
    const std::uint64_t frames = canvas_.shownFrames();
    const std::uint64_t shown = frames - std::exchange(before_, frames);
    if (seconds <= 0) return;
    text_ = tr("%1 fps").arg(qRound(double(shown) / seconds));
    emit changed();
}

} // namespace glasshob
