// How many frames a canvas shows in a second, from the times of the frames themselves: a shader that takes seconds for
// each is measured as exactly as a fast one. Owned by what shows the figure; main thread.
#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>
#include <cstdint>

namespace glasshob {

class Canvas;

class FrameRate : public QObject {
    Q_OBJECT
  public:
    // The canvas must outlive it, or be deleted with it.
    FrameRate(const Canvas& canvas, QObject* parent);
    // "60 fps", "7.5 fps"; "at rest" while the picture does not change; empty before the second frame.
    const QString& text() const { return text_; }
    static QString textOf(double framesPerSecond);

  signals:
    void changed();

  private:
    using Clock = std::chrono::steady_clock;
    void measure();

    const Canvas& canvas_;
    QTimer timer_;
    // The last frame that was counted; none counted while the time is that of the clock's beginning.
    std::uint64_t frames_ = 0;
    Clock::time_point when_;
    double rate_ = 0;
    QString text_;
};

} // namespace glasshob
