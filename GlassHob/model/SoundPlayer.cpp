#include "GlassHob/model/SoundPlayer.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/SoundFeed.h"
#include "GlassHobRender/output/AudioRenderer.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCoreApplication>
#include <QPointer>

#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

namespace glasshob {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t blockFrames = SoundFeed::rate / 100;
// How often the renderer looks whether more is needed, while something is heard.
constexpr auto lookInterval = 20ms;
// A sound service that hangs is not waited for longer.
constexpr auto patienceAtTheEnd = 500ms;

double secondsNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

// The two threads and what they share. Each keeps it alive, so that nobody has to wait for the last sound to fade, or
// for a service that hangs.
class SoundPlayer::Session : public std::enable_shared_from_this<Session> {
  public:
    using Ended = std::function<void(const QString& sentence)>;

    void start(OpenSound open, Ended ended) {
        running_ = 2;
        const auto run = [](auto work) { std::thread(std::move(work)).detach(); };
        run([self = shared_from_this()] {
            self->render();
            self->threadEnds();
        });
        run([self = shared_from_this(), open = std::move(open), ended = std::move(ended)] {
            self->write(open, ended);
            self->threadEnds();
        });
    }
    // Lets the sound fade out; the threads end then.
    void finish() {
        feed.setSource(std::nullopt);
        const std::scoped_lock lock(mutex_);
        stops_ = true;
        changed_.notify_all();
    }
    void waitForThreads() {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, patienceAtTheEnd, [this] { return running_ == 0; });
    }
    // The source or the clock has changed.
    void wake() {
        const std::scoped_lock lock(mutex_);
        ++changes_;
        changed_.notify_all();
    }

    SoundFeed feed;

  private:
    void threadEnds() {
        const std::scoped_lock lock(mutex_);
        --running_;
        changed_.notify_all();
    }
    void render() {
        std::unique_lock lock(mutex_);
        while (!stops_) {
            const std::uint64_t seen = changes_;
            lock.unlock();
            const auto job = feed.nextJob(secondsNow());
            if (job) {
                auto samples =
                    AudioRenderer::render(job->source.program, job->source.program->device(), job->source.values,
                                          double(job->start) / SoundFeed::rate, double(job->frames) / SoundFeed::rate);
                feed.deliver(*job, samples ? std::move(*samples) : std::vector<float>());
            }
            const bool silent = feed.isSilent();
            lock.lock();
            if (job || stops_ || changes_ != seen) continue;
            const auto changed = [&] { return stops_ || changes_ != seen; };
            if (silent)
                changed_.wait(lock, changed);
            else
                changed_.wait_for(lock, lookInterval, changed);
        }
    }
    void write(const OpenSound& open, const Ended& ended) {
        OpenedSound output = open();
        if (!output) {
            ended(output.error());
            return;
        }
        std::array<float, blockFrames * 2> block;
        for (;;) {
            std::uint64_t seen = 0;
            {
                const std::scoped_lock lock(mutex_);
                seen = changes_;
            }
            if (feed.take(block, secondsNow(), (*output)->latency())) {
                if ((*output)->write(block)) continue;
                ended(QCoreApplication::translate("SoundPlayer",
                                                  "The sound service has ended the stream. Turn the sound on again "
                                                  "when it is back."));
                return;
            }
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return stops_ || changes_ != seen; });
            if (stops_) return;
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t changes_ = 0;
    bool stops_ = false;
    int running_ = 0;
};

SoundPlayer::SoundPlayer(AppModel& model, OpenSound open, QObject* parent)
    : QObject(parent), model_(model), open_(std::move(open)) {
    connect(&model_, &AppModel::compiled, this, &SoundPlayer::followSource);
    connect(&model_, &AppModel::documentChanged, this, &SoundPlayer::followSource);
    connect(&model_, &AppModel::deviceReplaced, this, &SoundPlayer::followSource);
    connect(&model_, &AppModel::valueChanged, this, &SoundPlayer::followSource);
    connect(&model_, &AppModel::valuesReset, this, &SoundPlayer::followSource);
    connect(&model_, &AppModel::clockChanged, this, &SoundPlayer::followClock);
}

SoundPlayer::~SoundPlayer() {
    if (session_) ending_.push_back(session_);
    for (const auto& weak : ending_)
        if (const auto session = weak.lock()) {
            session->finish();
            session->waitForThreads();
        }
}

void SoundPlayer::setOn(bool on) {
    if (on == isOn()) return;
    if (!on) {
        session_->finish();
        std::erase_if(ending_, [](const auto& session) { return session.expired(); });
        ending_.push_back(std::exchange(session_, nullptr));
        emit onChanged(false);
        return;
    }
    session_ = std::make_shared<Session>();
    followSource();
    followClock();
    session_->start(open_, [self = QPointer(this), session = std::weak_ptr(session_)](const QString& sentence) {
        if (!qApp) return;
        QMetaObject::invokeMethod(
            qApp,
            [self, session, sentence] {
                if (!self || !self->session_ || self->session_ != session.lock()) return;
                self->setOn(false);
                emit self->failed(sentence);
            },
            Qt::QueuedConnection);
    });
    emit onChanged(true);
}

void SoundPlayer::setPictureDrawn(bool drawn) {
    pictureDrawn_ = drawn;
    followClock();
}

void SoundPlayer::followSource() {
    if (!session_) return;
    const auto& program = model_.program();
    if (program && !model_.needsRun() && program->soundPipeline())
        session_->feed.setSource(SoundFeed::Source{program, model_.values()});
    else
        session_->feed.setSource(std::nullopt);
    session_->wake();
}

void SoundPlayer::followClock() {
    if (!session_) return;
    // At another speed it would be out of step.
    const bool runs = pictureDrawn_ && !model_.paused() && model_.clock().speed() == 1;
    session_->feed.setClock(model_.time(), runs, secondsNow());
    session_->wake();
}

} // namespace glasshob
