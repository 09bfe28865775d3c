#pragma once

// What the two threads that feed a movie writer share: the first failure of either, the wait until an input takes more,
// and the end. Pictures come from the caller's thread, sound from a thread of this object.
//
// A failure ends both threads at their next frame; later failures are dropped. Let go of before finish(), the sound
// ends too; what becomes of the file is the owner's business.

#include "GlassHobRender/export/ExportError.h"
#include "GlassHobRender/formats/MovieWriter.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

namespace glasshob {

class ExportSound;

class ExportFeed {
  public:
    /// The writer outlives the feed. `stop` is a failure by itself: cancelled.
    ExportFeed(MovieWriter& writer, std::stop_token stop);
    ~ExportFeed();
    ExportFeed(const ExportFeed&) = delete;
    ExportFeed& operator=(const ExportFeed&) = delete;

    void record(ExportError error);
    /// The writer's own words, or these where it has none.
    void recordWriter(const std::string& otherwise);
    bool hasFailed() const;

    /// Waits until the input takes more, 60 seconds at most; false once a failure is recorded, by whomever.
    bool waitFor(const MovieInput& input);

    /// Sends the sound of this many frames on a thread. `input` and `sound` outlive the feed.
    void startSound(MovieInput& input, ExportSound& sound, std::int64_t frames);

    /// Waits for the sound and for the writer, once all pictures were sent; the first failure if there was one.
    std::optional<ExportError> finish(MovieInput& video);

  private:
    void sendSound(MovieInput& input, ExportSound& sound, std::int64_t frames);

    MovieWriter& writer_;
    std::stop_token stop_;
    mutable std::mutex lock_;
    std::optional<ExportError> failure_;
    std::jthread soundThread_;
};

} // namespace glasshob
