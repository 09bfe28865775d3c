#pragma once

// A clock that stands still. While it is free, whoever sleeps on it moves it on by as much and wakes from the event
// loop; while it is held, sleepers stay until they are cancelled or the clock is moved.

#include "GlassHobCore/site/Clock.h"

#include <list>

class TestClock : public glasshob::Clock {
  public:
    Moment now() const override { return now_; }
    QCoro::Task<> sleep(std::chrono::milliseconds time, glasshob::Cancellation cancellation) override;

    void hold() { isHeld_ = true; }
    void moveOn(std::chrono::milliseconds time);
    std::size_t sleepers() const { return sleepers_.size(); }
    // How long each sleep was asked to be.
    std::vector<std::chrono::milliseconds> slept;

  private:
    struct Sleeper;
    Moment now_{std::chrono::seconds(1'700'000'000)};
    bool isHeld_ = false;
    std::list<Sleeper*> sleepers_;
};
