#pragma once

// The threads of one export and the first failure of any of them, which ends all: drawing on the caller's thread, the
// sink's writing and the sound beside it. Any thread may tell a failure; the rest is for the thread that made it.

#include "GlassHobRender/formats/ExportError.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

namespace glasshob {

class ExportSound;
class FrameSink;

class ExportThreads {
  public:
    // `stop` is a failure by itself: cancelled.
    explicit ExportThreads(const std::stop_token& stop);
    // Ends and joins what still runs.
    ~ExportThreads();
    ExportThreads(const ExportThreads&) = delete;
    ExportThreads& operator=(const ExportThreads&) = delete;

    // Later failures are dropped.
    void fail(ExportError error);
    bool hasFailed() const;
    std::optional<ExportError> failure() const;
    // Stopped by the first failure.
    std::stop_token ended() const { return ended_.get_token(); }

    // On a thread of its own; what it throws is a failure.
    void run(std::function<void()> work);
    // Sends the sound of this many frames. `sound` and `sink` outlive this.
    void runSound(ExportSound& sound, std::int64_t frames, FrameSink& sink);
    void join();

  private:
    mutable std::mutex lock_;
    std::optional<ExportError> failure_;
    std::stop_source ended_;
    std::vector<std::jthread> threads_;
    std::stop_callback<std::function<void()>> whenStopped_; // last: it may call at once
};

} // namespace glasshob
