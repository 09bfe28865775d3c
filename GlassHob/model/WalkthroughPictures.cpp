#include "GlassHob/model/WalkthroughPictures.h"

#include "GlassHob/model/BesideWork.h"
#include "GlassHobRender/episode/WalkthroughPainter.h"

#include <QCoreApplication>
#include <QPainter>

#include <algorithm>
#include <chrono>
#include <deque>
#include <mutex>
#include <stop_token>
#include <utility>

namespace glasshob {

namespace {

// Small pictures are drawn larger and scaled down, as the film is.
constexpr int fineness = 3;
// For a picture after the turn of a page.
constexpr std::chrono::milliseconds slow{250};

// The page without the shader's picture.
QImage bareFrame(const EpisodePlan& plan, QSize size, PagePlace place) {
    const EpisodeFrame frame{size.width(), size.height()};
    QImage image(size, QImage::Format_RGB32);
    const QImage page = WalkthroughPainter(frame, plan.stages()).page(place.stage, place.page);
    if (image.isNull() || page.isNull()) return {};
    image.fill(episodeLook::colour(Role::canvas));
    QPainter(&image).drawImage(0, 0, page);
    return image;
}

} // namespace

// Shared with the thread, which is there while there is something to draw.
struct WalkthroughPictures::Work {
    // What the pictures are of; a new one takes the place of the last.
    struct Job {
        EpisodePlan plan;
        EpisodePrograms programs;
    };
    struct Moment {
        double seconds = 0;
        PagePlace place;
        std::int64_t number = 0;
    };

    std::mutex lock; // guards what follows, up to `object`
    std::shared_ptr<Job> job;
    QSize pageSize, smallSize;
    std::optional<Moment> moment;
    std::deque<std::pair<PagePlace, Small>> small;
    // Of the small picture in work, which a page that is wanted interrupts.
    std::stop_source smallStop;
    // Of the page in work, which another page interrupts.
    std::stop_source pageStop;
    std::optional<PagePlace> pageInWork;
    std::chrono::steady_clock::time_point pageBegan;
    bool isRunning = false;

    WalkthroughPictures* object = nullptr; // main thread

    // Of the thread: what draws is kept, as going on is quick.
    struct Drawer {
        std::shared_ptr<Job> job;
        QSize size;
        std::stop_source stop;
        std::unique_ptr<EpisodePicture> picture;

        // Null where the drawing was given up.
        QImage draw(const std::shared_ptr<Job>& wanted, QSize wantedSize, const std::stop_source& ends, double seconds,
                    PagePlace place) {
            if (job != wanted || size != wantedSize || stop != ends || picture == nullptr) {
                picture =
                    std::make_unique<EpisodePicture>(wanted->plan, wanted->programs, wantedSize, ends.get_token());
                job = wanted;
                size = wantedSize;
                stop = ends;
            }
            if (auto drawn = picture->at(seconds)) return std::move(*drawn);
            picture.reset();
            return ends.stop_requested() ? QImage() : bareFrame(wanted->plan, wantedSize, place);
        }
    };
    Drawer page, smallPage;
    std::chrono::steady_clock::duration lastTook{};
    std::optional<PagePlace> lastPlace;
    // What draws holds programs, which hold their device. Under the lock, while the thread is not there.
    void letGo() {
        runBeside([page = std::make_shared<Drawer>(std::exchange(page, {})),
                   small = std::make_shared<Drawer>(std::exchange(smallPage, {}))] {});
    }

    static void run(const std::shared_ptr<Work>& work);
    static void tell(const std::shared_ptr<Work>& work, auto&& what) {
        QMetaObject::invokeMethod(
            qApp,
            [work, what = std::forward<decltype(what)>(what)] {
                if (work->object != nullptr) what(*work->object);
            },
            Qt::QueuedConnection);
    }
};

void WalkthroughPictures::Work::run(const std::shared_ptr<Work>& work) {
    std::unique_lock guard(work->lock);
    for (;;) {
        const std::shared_ptr<Job> job = work->job;
        if (job == nullptr ||
            ((!work->moment || work->pageSize.isEmpty()) && (work->small.empty() || work->smallSize.isEmpty()))) {
            work->isRunning = false;
            if (job == nullptr) work->letGo();
            return;
        }
        if (work->moment && !work->pageSize.isEmpty()) {
            const auto moment = std::exchange(work->moment, {});
            const QSize size = work->pageSize;
            const bool isInterruption = work->pageStop.stop_requested();
            if (isInterruption) work->pageStop = std::stop_source();
            const std::stop_source stop = work->pageStop;
            work->pageInWork = moment->place;
            work->pageBegan = std::chrono::steady_clock::now();
            guard.unlock();
            // The code of another page does not wait for a shader that takes long.
            const bool maybeSlow = isInterruption || !work->lastPlace || work->lastTook > slow;
            if (maybeSlow && work->lastPlace != moment->place)
                tell(work, [image = bareFrame(job->plan, size, moment->place), place = moment->place](
                               WalkthroughPictures& object) { emit object.drawn(image, place, 0); });
            const auto began = std::chrono::steady_clock::now();
            const QImage image = work->page.draw(job, size, stop, moment->seconds, moment->place);
            work->lastTook = std::chrono::steady_clock::now() - began;
            work->lastPlace = moment->place;
            guard.lock();
            work->pageInWork.reset();
            if (!image.isNull() && work->job == job)
                tell(work, [image, moment = *moment](WalkthroughPictures& object) {
                    emit object.drawn(image, moment.place, moment.number);
                });
            continue;
        }
        auto next = std::move(work->small.front());
        work->small.pop_front();
        if (work->smallStop.stop_requested()) work->smallStop = std::stop_source();
        const std::stop_source stop = work->smallStop;
        const QSize size = work->smallSize;
        guard.unlock();
        auto& [at, what] = next;
        const QImage large = work->smallPage.draw(job, size * fineness, stop, what.moment, at);
        if (!large.isNull()) what.picture = large.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        guard.lock();
        if (!what.picture.isNull() && work->job == job)
            tell(work, [place = at, small = what](WalkthroughPictures& object) { object.takeSmall(place, small); });
        else if (work->job == job && stop.stop_requested())
            work->small.push_front(std::move(next)); // later
    }
}

WalkthroughPictures::WalkthroughPictures(QObject* parent) : QObject(parent), work_(std::make_shared<Work>()) {
    work_->object = this;
}

WalkthroughPictures::~WalkthroughPictures() {
    setPlan({}, {});
    work_->object = nullptr;
}

void WalkthroughPictures::begin() {
    {
        const std::lock_guard guard(work_->lock);
        if (work_->job == nullptr || std::exchange(work_->isRunning, true)) return;
    }
    runBeside([work = work_] { Work::run(work); });
}

void WalkthroughPictures::setPlan(const std::optional<EpisodePlan>& plan, const EpisodePrograms& programs) {
    plan_ = plan;
    programs_ = programs;
    auto before = std::exchange(stages_, {});
    pages_ = 0;
    for (const WalkthroughStage& stage : plan ? plan->stages() : std::vector<WalkthroughStage>()) {
        const std::size_t at = stages_.size();
        const bool isSame = at < before.size() && *before[at] == stage;
        stages_.push_back(isSame ? before[at] : std::make_shared<const WalkthroughStage>(stage));
        pages_ += stage.pages.size();
    }
    std::erase_if(small_, [&](const auto& entry) {
        const auto& [place, small] = entry;
        return !plan || place.stage >= plan->stages().size() || place.page >= plan->stages()[place.stage].pages.size();
    });
    const std::lock_guard guard(work_->lock);
    work_->pageStop.request_stop();
    work_->smallStop.request_stop();
    work_->job = plan ? std::make_shared<Work::Job>(*plan, programs) : nullptr;
    work_->moment.reset();
    work_->small.clear();
    if (!plan && !work_->isRunning) work_->letGo();
}

void WalkthroughPictures::setPageSize(QSize size) {
    const std::lock_guard guard(work_->lock);
    work_->pageSize = size;
}

void WalkthroughPictures::setSmallSize(QSize size) {
    const std::lock_guard guard(work_->lock);
    work_->smallSize = size;
}

std::int64_t WalkthroughPictures::wantMoment(double seconds, PagePlace place, Reason reason) {
    {
        const std::lock_guard guard(work_->lock);
        work_->moment = Work::Moment{seconds, place, ++asked_};
        work_->smallStop.request_stop();
        const bool isOther = work_->pageInWork && work_->pageInWork != place;
        const bool isSlow = std::chrono::steady_clock::now() - work_->pageBegan > slow;
        if (isOther && (reason == Reason::turned || isSlow)) work_->pageStop.request_stop();
    }
    begin();
    return asked_;
}

WalkthroughPictures::Small WalkthroughPictures::whatIs(PagePlace place) const {
    Small made;
    if (place.stage < programs_.stages.size()) made.program = programs_.stages[place.stage];
    made.stage = stages_.at(place.stage);
    made.stages = stages_.size();
    made.pages = pages_;
    made.moment = pageMoment(*plan_, place.stage, place.page);
    made.hasMark = plan_->choices().hasMark;
    return made;
}

void WalkthroughPictures::wantSmall(const std::vector<PagePlace>& places) {
    if (!plan_) return;
    std::deque<std::pair<PagePlace, Small>> wanted;
    for (const PagePlace place : places) {
        Small what = whatIs(place);
        if (const auto there = small_.find(place); there != small_.end()) {
            what.picture = there->second.picture;
            if (what == there->second) continue;
            what.picture = {};
        }
        wanted.emplace_back(place, std::move(what));
    }
    {
        const std::lock_guard guard(work_->lock);
        work_->small = std::move(wanted);
    }
    begin();
}

QImage WalkthroughPictures::smallPicture(PagePlace place) const {
    const auto found = small_.find(place);
    return found == small_.end() ? QImage() : found->second.picture;
}

void WalkthroughPictures::takeSmall(PagePlace place, const Small& drawn) {
    small_.insert_or_assign(place, drawn);
    emit smallDrawn(place);
}

} // namespace glasshob
