// One call, some time from now: the model's compile delay. An interface, so that a test needs no waiting.
// Main thread.
#pragma once

#include <QTimer>

#include <functional>

namespace glasshob {

class Delay {
  public:
    virtual ~Delay() = default;
    // Calls `action` after `seconds`; a call still waiting is given up.
    virtual void start(double seconds, std::function<void()> action) = 0;
    virtual void cancel() = 0;
    virtual bool isWaiting() const = 0;
};

class TimerDelay : public Delay {
  public:
    TimerDelay() {
        timer_.setSingleShot(true);
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] {
            if (auto action = std::exchange(action_, {})) action();
        });
    }
    void start(double seconds, std::function<void()> action) override {
        action_ = std::move(action);
        timer_.start(int(seconds * 1000 + 0.5));
    }
    void cancel() override {
        timer_.stop();
        action_ = {};
    }
    bool isWaiting() const override { return timer_.isActive(); }

  private:
    QTimer timer_;
    std::function<void()> action_;
};

} // namespace glasshob
