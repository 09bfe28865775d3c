#pragma once

// Ctrl-C and polite requests to end, while one of these lives: the work at hand is told and ends by itself, so that it
// can take away what is unfinished. One at a time; main thread.

#include <stop_token>
#include <thread>

namespace hob {

class Interrupts {
  public:
    Interrupts();
    ~Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;

    bool happened() const;
    std::stop_token token() const { return stop_.get_token(); }

  private:
    std::stop_source stop_;
    std::jthread watcher_;
};

} // namespace hob
