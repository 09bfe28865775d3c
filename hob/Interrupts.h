#pragma once

// Ctrl-C and polite requests to end, while one of these lives: the work at hand is asked to end and ends by itself, so
// that it can take away what is unfinished. Where it does not end within two seconds, because the GPU is in the middle
// of a long frame, or where the request comes a second time, what is unfinished is removed and the process ends at
// once. One at a time; main thread.

#include <stop_token>
#include <string>
#include <string_view>
#include <thread>

namespace hob {

class Interrupts {
  public:
    // `sentence` is said where the process ends at once.
    explicit Interrupts(std::string_view sentence);
    ~Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;

    bool happened() const;
    std::stop_token token() const { return stop_.get_token(); }

  private:
    std::string sentence_;
    std::stop_source stop_;
    std::jthread watcher_;
};

} // namespace hob
