// Draws one picture at a time on a thread of its own. Main thread; its end waits for the drawing in work, which ends
// early where it looks at its stop token.
#pragma once

#include <QImage>
#include <QObject>

#include <functional>
#include <stop_token>
#include <thread>

namespace glasshob {

class PictureThread : public QObject {
    Q_OBJECT
  public:
    ~PictureThread() override;

    // Until ended().
    bool isBusy() const { return thread_.joinable(); }
    // Not while it is busy. What `draw` holds is let go of on the thread, before ended().
    void start(std::function<QImage(const std::stop_token&)> draw);
    // Asks the drawing in work to end.
    void stop() { stop_.request_stop(); }

  signals:
    // `wasStopped`: nobody wants it any more, whether it was done or not.
    void ended(const QImage& picture, bool wasStopped);

  private:
    std::stop_source stop_;
    std::thread thread_;
};

} // namespace glasshob
