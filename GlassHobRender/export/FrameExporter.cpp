#include "GlassHobRender/export/FrameExporter.h"

#include "GPU/Texture.h"
#include "GlassHobRender/export/ExportSound.h"
#include "GlassHobRender/export/ExportThreads.h"
#include "GlassHobRender/export/FramePool.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>

namespace glasshob {

namespace {

constexpr std::chrono::milliseconds previewInterval{250};

// Frames on their way from the one who draws to those who write.
class FrameQueue {
  public:
    struct Frame {
        std::int64_t number = 0;
        std::shared_ptr<gpu::Texture> texture;
    };

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
    // Nothing when there are no more, or when the export has ended.
    std::optional<Frame> next(const std::stop_token& ended) {
        std::unique_lock guard(lock_);
        changed_.wait(guard, ended, [this] { return !frames_.empty() || isClosed_; });
        if (frames_.empty() || ended.stop_requested()) return {};
        Frame frame = std::move(frames_.front());
        frames_.pop_front();
        return frame;
    }

  private:
    std::mutex lock_;
    std::condition_variable_any changed_;
    std::deque<Frame> frames_;
    bool isClosed_ = false;
};

void write(FrameQueue& queue, FramePool& pool, FrameSink& sink, ExportThreads& threads) {
    while (auto frame = queue.next(threads.ended())) {
        const auto written =
            sink.write(frame->number, frame->texture->contents(), frame->texture->rowBytes(), threads.ended());
        pool.giveBack(std::move(frame->texture));
        if (!written) return threads.fail(written.error());
    }
}

void draw(FrameDrawer& drawer, FramePool& pool, FrameQueue& queue, ExportThreads& threads, const FrameExport& request,
          FrameRange frames) {
    std::chrono::steady_clock::time_point lastShown;
    const std::int64_t count = frames.end - frames.first;
    for (std::int64_t i = 0; i < count && !threads.hasFailed(); ++i) {
        if (!request.progress(i, count)) return threads.fail(ExportError::cancelled());
        auto texture = pool.take([&] { return threads.hasFailed(); });
        if (texture == nullptr) return threads.fail(ExportError::setup("could not get a pixel buffer"));
        if (const auto drawn = drawer.draw(frames.first + i, texture); !drawn) return threads.fail(drawn.error());
        const auto now = std::chrono::steady_clock::now();
        if (request.preview && (i == 0 || i == count - 1 || now - lastShown >= previewInterval)) {
            lastShown = now;
            request.preview(texture->contents(), texture->rowBytes());
        }
        queue.append(frames.first + i, std::move(texture));
    }
}

} // namespace

std::expected<void, ExportError> exportFrames(const std::vector<ExportSegment>& segments, const FrameExport& request,
                                              FrameSink& sink) {
    if (segments.empty()) return std::unexpected(ExportError::setup("nothing to export"));
    const ExportTimeline timeline(segments, request.preset.fps);
    const FrameRange frames = request.frames.value_or(FrameRange{0, timeline.frameCount()});
    if (frames.first < 0 || frames.end > timeline.frameCount() || frames.first >= frames.end)
        return std::unexpected(ExportError::setup("these frames are not in the whole, which has frames 0 to " +
                                                  std::to_string(timeline.frameCount() - 1)));
    std::optional<FrameDrawer> drawer;
    std::optional<ExportSound> sound;
    try {
        drawer.emplace(timeline, request.preset, request.device, request.stop, request.catchUp);
        if (sink.takesSound() && !request.frames && timeline.hasSound()) sound.emplace(timeline, request.device);
    } catch (const ExportError& error) {
        return std::unexpected(error);
    }
    if (auto started = sink.start(); !started) return started;
    const unsigned writers = std::max(sink.threadCount(), 1U);
    FramePool pool(request.device, request.preset.width, request.preset.height, writers + sink.framesAhead());
    FrameQueue queue;
    ExportThreads threads(request.stop);
    for (unsigned i = 0; i < writers; ++i)
        threads.run([&] { write(queue, pool, sink, threads); });
    if (sound) threads.runSound(*sound, frames.end, sink);
    draw(*drawer, pool, queue, threads, request, frames);
    queue.close();
    threads.join();
    if (auto failure = threads.failure()) return std::unexpected(std::move(*failure));
    if (auto finished = sink.finish(request.stop); !finished) return finished;
    (void)request.progress(frames.end - frames.first, frames.end - frames.first);
    return {};
}

} // namespace glasshob
