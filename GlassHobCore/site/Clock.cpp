#include "GlassHobCore/site/Clock.h"

#include "GlassHobCore/site/Gate.h"
#include "GlassHobCore/site/OnCancel.h"

#include <QCoreApplication>
#include <QTimer>

#include <algorithm>

namespace glasshob {

namespace {

class RealClock : public Clock {
  public:
    Moment now() const override {
        return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    }

    QCoro::Task<> sleep(std::chrono::milliseconds time, Cancellation cancellation) override {
        Gate gate;
        // Not destroyed inside its own signal, and with the application where no event loop comes any more.
        auto* timer = new QTimer(QCoreApplication::instance());
        timer->setSingleShot(true);
        QObject::connect(timer, &QTimer::timeout, timer, [&gate] { gate.open(); });
        const OnCancel onCancel(cancellation, timer, [&gate] { gate.open(); });
        if (!gate.isOpen()) timer->start(std::max(time, std::chrono::milliseconds(0)));
        co_await gate;
        timer->disconnect();
        timer->stop();
        timer->deleteLater();
    }
};

} // namespace

Clock& Clock::real() {
    static RealClock clock;
    return clock;
}

} // namespace glasshob
