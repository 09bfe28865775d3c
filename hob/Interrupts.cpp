#include "hob/Interrupts.h"

#include "GlassHobCore/files/PartialFile.h"
#include "hob/Console.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <unistd.h>

namespace hob {

namespace {

std::atomic<int> requests = 0;
constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr std::chrono::milliseconds interval{20};
constexpr std::chrono::milliseconds patience{2000};

[[noreturn]] void endNow(const std::string& sentence) {
    glasshob::UnfinishedPaths::removeAll();
    (void)!::write(STDERR_FILENO, sentence.data(), sentence.size());
    _exit(int(ExitStatus::failed));
}

} // namespace

Interrupts::Interrupts(std::string_view sentence) : sentence_("hob: " + std::string(sentence) + "\n") {
    requests = 0;
    // What the caller has told us to ignore, as nohup does, stays ignored.
    for (const int number : signals)
        if (std::signal(number, [](int) { ++requests; }) == SIG_IGN) std::signal(number, SIG_IGN);
    // A signal may do next to nothing; a thread hands the word on.
    watcher_ = std::jthread([this](const std::stop_token& ended) {
        std::chrono::milliseconds waited{0};
        while (!ended.stop_requested()) {
            if (requests > 0) stop_.request_stop();
            if (requests > 1 || waited > patience) endNow(sentence_);
            std::this_thread::sleep_for(interval);
            if (requests > 0) waited += interval;
        }
    });
}

Interrupts::~Interrupts() {
    for (const int number : signals)
        if (std::signal(number, SIG_DFL) == SIG_IGN) std::signal(number, SIG_IGN);
}

bool Interrupts::happened() const {
    return requests > 0;
}

} // namespace hob
