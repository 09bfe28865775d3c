// Counts the frames that a canvas shows, as a mean over each second. Owned by who shows the figure; main thread.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <cstdint>

namespace glasshob {

class Canvas;

class FrameRate : public QObject {
    Q_OBJECT
  public:
    // The canvas must outlive it, or be deleted with it.
    FrameRate(const Canvas& canvas, QObject* parent);
    // "60 fps"; empty during the first second.
    const QString& text() const { return text_; }

  signals:
    void changed();

  private:
    void measure();

    const Canvas& canvas_;
    QTimer timer_;
    QElapsedTimer clock_;
    std::uint64_t before_;
    QString text_;
};

} // namespace glasshob
