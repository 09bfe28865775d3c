#include "GlassHob/model/VariationStills.h"

#include "GlassHob/model/BesideWork.h"
#include "GlassHobRender/export/FrameImages.h"

#include <QCoreApplication>
#include <QPointer>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <stop_token>

namespace glasshob {

namespace {

using Clock = std::chrono::steady_clock;

// Drawn larger and scaled down, which smooths what a shader leaves jagged.
constexpr int fineness = 2;
constexpr std::int64_t fps = 30;
constexpr double longestRun = 3600; // seconds
// The device is left free for so many times as long as a frame has taken, within these bounds: the first frame may have
// taken seconds, while the driver compiled.
constexpr int rest = 4;
constexpr Clock::duration leastRest = std::chrono::milliseconds(4);
constexpr Clock::duration mostRest = std::chrono::milliseconds(250);

// One program at one size: what belongs to the thread alone.
class Brush {
  public:
    Brush(std::shared_ptr<const ShaderProgram> program, const QSize& size)
        : program_(std::move(program)), size_(size) {}

    QImage still(const VariationStills::Wish& wish, const std::stop_token& stop) {
        Run run(*this, wish, stop);
        return draw(run, 0);
    }
    // A frame of the one that runs; it begins when it is another one than before.
    QImage frame(const VariationStills::Wish& wish, const std::stop_token& stop) {
        if (!running_ || running_->wish != wish) {
            running_.reset();
            running_ = std::make_unique<Run>(*this, wish, stop);
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - running_->began).count();
        const auto wanted = std::int64_t(seconds * double(fps));
        const QImage image = draw(*running_, std::min(std::max(wanted, running_->frame), lastFrame));
        // What came before the first frame is no part of its time.
        if (running_->frame == 0) running_->began = Clock::now();
        running_->frame = std::max(wanted, running_->frame) + 1;
        return image;
    }
    void endRun() { running_.reset(); }

  private:
    static constexpr std::int64_t lastFrame = std::int64_t(longestRun) * fps - 1;

    struct Run {
        Run(const Brush& brush, const VariationStills::Wish& wish_, const std::stop_token& stop)
            : wish(wish_), images({{brush.program_, wish.values, wish.start, longestRun, false, false}},
                                  brush.size_ * fineness, fps, stop) {}
        VariationStills::Wish wish;
        FrameImages images;
        Clock::time_point began = Clock::now();
        std::int64_t frame = 0;
    };

    QImage draw(Run& run, std::int64_t frame) const {
        const auto whole = run.images.at(frame);
        return whole ? whole->scaled(size_, Qt::IgnoreAspectRatio, Qt::SmoothTransformation) : QImage();
    }

    std::shared_ptr<const ShaderProgram> program_;
    QSize size_;
    std::unique_ptr<Run> running_;
};

} // namespace

// Shared with the thread; what is not const is under the lock.
struct VariationStills::Work {
    Work(std::shared_ptr<const ShaderProgram> program_, const QSize& size_, VariationStills* owner_)
        : program(std::move(program_)), size(size_), owner(owner_) {}

    const std::shared_ptr<const ShaderProgram> program;
    const QSize size;
    const QPointer<VariationStills> owner; // for the main thread
    mutable std::mutex lock;
    std::condition_variable news;
    std::stop_source stop;      // of all
    std::stop_source stopOfRun; // of what runs
    std::deque<Wish> wishes;
    std::optional<Wish> running;
    std::optional<Wish> inWork; // a still
    bool isAtWork = false;

    static void loop(const std::shared_ptr<Work>& work);
    static void tell(const std::shared_ptr<Work>& work, std::int64_t index, const QImage& image, bool runs);
};

void VariationStills::Work::tell(const std::shared_ptr<Work>& work, std::int64_t index, const QImage& image,
                                 bool runs) {
    if (image.isNull()) return;
    QMetaObject::invokeMethod(
        qApp,
        [work, index, image, runs] {
            if (!work->owner || work->owner->work_ != work) return;
            if (runs)
                emit work->owner->ran(index, image);
            else
                emit work->owner->drawn(index, image);
        },
        Qt::QueuedConnection);
}

void VariationStills::Work::loop(const std::shared_ptr<Work>& work) {
    Brush brush(work->program, work->size);
    const std::stop_token all = work->stop.get_token();
    constexpr auto frameTime = std::chrono::nanoseconds(std::chrono::seconds(1)) / fps;
    Clock::time_point free = Clock::now(), nextFrame = free;
    bool hasRun = false; // last: the one that runs and the stills take turns, however long a frame takes
    while (true) {
        std::unique_lock held(work->lock);
        if (!work->running) brush.endRun();
        if (all.stop_requested() || (!work->running && work->wishes.empty())) {
            work->isAtWork = false;
            return;
        }
        const auto due = work->wishes.empty() ? std::max(free, nextFrame) : free;
        if (work->news.wait_until(held, due, [&] { return all.stop_requested(); })) continue;
        // It may have changed meanwhile.
        const bool runs = work->running && (work->wishes.empty() || (Clock::now() >= nextFrame && !hasRun));
        if (!runs && work->wishes.empty()) continue;
        Wish wish;
        if (runs) {
            wish = *work->running;
        } else {
            wish = std::move(work->wishes.front());
            work->wishes.pop_front();
            work->inWork = wish;
        }
        hasRun = runs;
        const std::stop_token stop = runs ? work->stopOfRun.get_token() : all;
        held.unlock();
        const auto began = Clock::now();
        QImage image;
        try {
            image = runs ? brush.frame(wish, stop) : brush.still(wish, stop);
        } catch (const std::exception&) {
            // No picture.
        }
        const auto ended = Clock::now();
        if (!runs) {
            held.lock();
            work->inWork.reset();
            held.unlock();
        }
        free = ended + std::clamp(rest * (ended - began), leastRest, mostRest);
        const bool isDropped = stop.stop_requested();
        // What cannot be drawn is tried again now and then, not over and over.
        if (runs) nextFrame = isDropped ? ended : image.isNull() ? ended + std::chrono::seconds(1) : began + frameTime;
        if (!isDropped) tell(work, wish.index, image, runs);
    }
}

VariationStills::~VariationStills() {
    begin(nullptr, {});
}

void VariationStills::begin(std::shared_ptr<const ShaderProgram> program, const QSize& size) {
    if (work_) {
        const std::lock_guard held(work_->lock);
        work_->stop.request_stop();
        work_->stopOfRun.request_stop();
        work_->news.notify_all();
    }
    work_ = program ? std::make_shared<Work>(std::move(program), size, this) : nullptr;
}

void VariationStills::want(std::vector<Wish> wishes) {
    if (!work_) return;
    {
        const std::lock_guard held(work_->lock);
        if (work_->inWork) std::erase(wishes, *work_->inWork);
        work_->wishes.assign(std::make_move_iterator(wishes.begin()), std::make_move_iterator(wishes.end()));
    }
    wake();
}

void VariationStills::run(std::optional<Wish> wish) {
    if (!work_) return;
    {
        const std::lock_guard held(work_->lock);
        if (work_->running == wish) return;
        work_->stopOfRun.request_stop();
        work_->stopOfRun = std::stop_source();
        work_->running = std::move(wish);
    }
    wake();
}

void VariationStills::wake() {
    const std::lock_guard held(work_->lock);
    if (work_->isAtWork || (work_->wishes.empty() && !work_->running)) return;
    work_->isAtWork = true;
    runBeside([work = work_] { Work::loop(work); });
}

bool VariationStills::isBusy() const {
    if (!work_) return false;
    const std::lock_guard held(work_->lock);
    return work_->isAtWork;
}

} // namespace glasshob
