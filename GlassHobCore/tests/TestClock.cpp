#include "GlassHobCore/tests/TestClock.h"

#include "GlassHobCore/site/Gate.h"
#include "GlassHobCore/site/OnCancel.h"

#include <QCoreApplication>
#include <QTimer>

#include <algorithm>

struct TestClock::Sleeper {
    Moment until;
    QObject context;
    glasshob::Gate gate;
};

QCoro::Task<> TestClock::sleep(std::chrono::milliseconds time, glasshob::Cancellation cancellation) {
    slept.push_back(time);
    // Not destroyed while its own event is under way.
    const auto sleeper = std::make_shared<Sleeper>(now_ + time);
    const auto place = sleepers_.insert(sleepers_.end(), sleeper.get());
    const glasshob::OnCancel onCancel(cancellation, &sleeper->context, [&sleeper] { sleeper->gate.open(); });
    if (!isHeld_)
        QTimer::singleShot(0, &sleeper->context, [this, sleeper, time] {
            now_ += time;
            sleeper->gate.open();
        });
    co_await sleeper->gate;
    sleepers_.erase(place);
}

void TestClock::moveOn(std::chrono::milliseconds time) {
    now_ += time;
    for (;;) {
        const auto due = std::ranges::find_if(sleepers_, [&](const Sleeper* each) { return each->until <= now_; });
        if (due == sleepers_.end()) return;
        (*due)->gate.open();
    }
}
