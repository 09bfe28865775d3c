#pragma once

// What one coroutine waits at until it is opened: `co_await gate`. Whoever opens it runs the coroutine on from there,
// so opening is the last thing that the opener does; the gate may be gone afterwards. One thread.

#include <coroutine>
#include <utility>

namespace glasshob {

class Gate {
  public:
    Gate() = default;
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    bool isOpen() const { return isOpen_; }
    void open() {
        isOpen_ = true;
        if (const auto waiting = std::exchange(waiting_, nullptr)) waiting.resume();
    }

    bool await_ready() const noexcept { return isOpen_; }
    void await_suspend(std::coroutine_handle<> waiting) noexcept { waiting_ = waiting; }
    void await_resume() const noexcept {}

  private:
    bool isOpen_ = false;
    std::coroutine_handle<> waiting_;
};

} // namespace glasshob
