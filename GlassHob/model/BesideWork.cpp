#include "GlassHob/model/BesideWork.h"

#include <atomic>
#include <thread>
#include <utility>

namespace glasshob {

namespace {

std::atomic<int> threads = 0;

} // namespace

void runBeside(std::function<void()> work) {
    ++threads;
    std::thread([work = std::move(work)]() mutable {
        work();
        work = {}; // what it holds may wait for the device when it goes
        --threads;
    }).detach();
}

bool besideWorkGoesOn() {
    return threads > 0;
}

} // namespace glasshob
