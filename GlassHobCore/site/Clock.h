#pragma once

// Time, for work that waits: what it is, and waiting for some of it to pass. Handed in, so that a test moves its own.
// Main thread.

#include "GlassHobCore/site/Cancellation.h"

#include <qcoro/qcorotask.h>

#include <chrono>

namespace glasshob {

class Clock {
  public:
    // Since 1970, UTC.
    using Moment = std::chrono::sys_time<std::chrono::milliseconds>;

    virtual ~Clock() = default;
    virtual Moment now() const = 0;
    // Ends when so much time has passed, or at once when it is cancelled. The clock's hands do not matter to it.
    virtual QCoro::Task<> sleep(std::chrono::milliseconds time, Cancellation cancellation) = 0;

    // The machine's.
    static Clock& real();
};

} // namespace glasshob
