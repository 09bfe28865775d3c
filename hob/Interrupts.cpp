#include "hob/Interrupts.h"

#include <atomic>
#include <chrono>
#include <csignal>

namespace hob {

namespace {

std::atomic<bool> isInterrupted = false;
constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};

} // namespace

Interrupts::Interrupts() {
    for (const int number : signals)
        std::signal(number, [](int) { isInterrupted = true; });
    // A signal may do next to nothing; a thread hands the word on.
    watcher_ = std::jthread([this](const std::stop_token& ended) {
        while (!ended.stop_requested() && !isInterrupted)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (isInterrupted) stop_.request_stop();
    });
}

Interrupts::~Interrupts() {
    for (const int number : signals)
        std::signal(number, SIG_DFL);
}

bool Interrupts::happened() const {
    return isInterrupted;
}

} // namespace hob
