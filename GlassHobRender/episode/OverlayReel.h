#pragma once

// Hands out the images of a sequence as frames go by. Those that come next are painted on a thread beside while others
// are seen, so that nobody waits for them when their time comes; what has been seen is let go of. So it holds the
// images of one change of pages, however many there are in all. One thread at a time uses it; destruction waits for the
// image that is being painted.

#include "GlassHobRender/episode/OverlaySequence.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace glasshob {

class OverlayReel {
  public:
    // Images that are there before their time: a whole change of pages and the page behind it.
    static constexpr std::int64_t mostAhead = 6;

    // Begins to paint the first ones.
    explicit OverlayReel(OverlaySequence sequence);
    ~OverlayReel();

    const OverlaySequence& sequence() const { return sequence_; }
    // The image of an index, and with it the next ones are begun. Any order, though only what comes next is there at
    // once. Null where nothing lies over the frame (`isEmpty`), or where there was no memory for it.
    QImage at(std::int64_t index);

  private:
    void paintAhead(const std::stop_token& stop);
    // The first image ahead that is not there yet; -1 when all are.
    std::int64_t missing() const;

    const OverlaySequence sequence_;
    std::mutex lock_; // guards what follows
    std::condition_variable_any changed_;
    std::int64_t current_ = -1;
    std::int64_t painting_ = -1;
    std::map<std::int64_t, QImage> ready_;
    std::jthread thread_;
};

} // namespace glasshob
