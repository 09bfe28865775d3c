#include "GlassHobRender/export/FrameExporter.h"

#include "GPU/Texture.h"
#include "GlassHobRender/export/ExportError.h"
#include "GlassHobRender/export/FrameDrawer.h"
#include "GlassHobRender/export/FramePool.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

namespace glasshob {

namespace {

// Frames on their way from the one who draws to those who write, and the first failure of any of them.
class Relay {
  public:
    Relay(FrameSink& sink, FramePool& pool, const std::stop_token& stop)
        : sink_(sink), pool_(pool), forward_(stop, [this] { fail(ExportError::cancelled().description); }) {}

    void append(std::int64_t number, std::shared_ptr<gpu::Texture> texture) {
        const std::lock_guard guard(lock_);
        frames_.push_back({number, std::move(texture)});
        changed_.notify_one();
    }
    void close() {
        const std::lock_guard guard(lock_);
        isClosed_ = true;
        changed_.notify_all();
    }
    void fail(const std::string& sentence) {
        {
            const std::lock_guard guard(lock_);
            if (!failure_) failure_ = sentence;
            changed_.notify_all();
        }
        ended_.request_stop();
    }
    bool hasFailed() const {
        const std::lock_guard guard(lock_);
        return failure_.has_value();
    }
    std::optional<std::string> failure() const {
        const std::lock_guard guard(lock_);
        return failure_;
    }

    // What a thread of the sink does, until there are no more frames.
    void write() {
        while (auto frame = next()) {
            const auto written =
                sink_.write(frame->number, frame->texture->contents(), frame->texture->rowBytes(), ended_.get_token());
            pool_.giveBack(std::move(frame->texture));
            if (!written) fail(written.error());
        }
    }

  private:
    struct Frame {
        std::int64_t number = 0;
        std::shared_ptr<gpu::Texture> texture;
    };

    std::optional<Frame> next() {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return !frames_.empty() || isClosed_ || failure_; });
        if (failure_ || frames_.empty()) return {};
        Frame frame = std::move(frames_.front());
        frames_.pop_front();
        return frame;
    }

    FrameSink& sink_;
    FramePool& pool_;
    std::stop_source ended_;
    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::deque<Frame> frames_;
    bool isClosed_ = false;
    std::optional<std::string> failure_;
    std::stop_callback<std::function<void()>> forward_; // last: it may call at once
};

void draw(FrameDrawer& drawer, FramePool& pool, Relay& relay, const FrameExport& request, FrameRange frames) {
    for (std::int64_t i = frames.first; i < frames.end && !relay.hasFailed(); ++i) {
        if (!request.progress(i - frames.first, frames.end - frames.first))
            return relay.fail(ExportError::cancelled().description);
        auto texture = pool.take([&] { return relay.hasFailed(); });
        if (texture == nullptr) return relay.fail("There is no memory for a frame: choose a smaller size.");
        if (const auto drawn = drawer.draw(i, texture); !drawn) return relay.fail(drawn.error().description);
        relay.append(i, std::move(texture));
    }
}

} // namespace

std::expected<void, std::string> exportFrames(const std::vector<ExportSegment>& segments, const FrameExport& request,
                                              FrameSink& sink) {
    if (segments.empty()) return std::unexpected(ExportError::setup("nothing to export").description);
    const ExportTimeline timeline(segments, request.preset.fps);
    const FrameRange frames = request.frames.value_or(FrameRange{0, timeline.frameCount()});
    if (frames.first < 0 || frames.end > timeline.frameCount() || frames.first >= frames.end)
        return std::unexpected("The export has the frames 0 to " + std::to_string(timeline.frameCount() - 1) +
                               ": choose a part of these.");
    std::optional<FrameDrawer> drawer;
    try {
        drawer.emplace(timeline, request.preset, request.device, request.stop);
    } catch (const ExportError& error) {
        return std::unexpected(error.description);
    }
    const unsigned threads = std::max(sink.threadCount(), 1U);
    FramePool pool(request.device, request.preset.width, request.preset.height, threads + 2);
    Relay relay(sink, pool, request.stop);
    {
        std::vector<std::jthread> writers;
        for (unsigned i = 0; i < threads; ++i)
            writers.emplace_back([&] { relay.write(); });
        draw(*drawer, pool, relay, request, frames);
        relay.close();
    }
    if (auto failure = relay.failure()) return std::unexpected(std::move(*failure));
    if (auto finished = sink.finish(); !finished) return finished;
    (void)request.progress(frames.end - frames.first, frames.end - frames.first);
    return {};
}

} // namespace glasshob
