#include "GlassHob/model/EpisodeStill.h"

#include "GlassHobRender/export/EpisodePicture.h"

#include <QCoreApplication>
#include <QPointer>

#include <utility>

namespace glasshob {

namespace {

constexpr double redrawDelay = 0.3;

} // namespace

EpisodeStill::EpisodeStill(QSize most, std::unique_ptr<Delay> delay) : most_(most), delay_(std::move(delay)) {}

EpisodeStill::~EpisodeStill() {
    stop_.request_stop();
    if (thread_.joinable()) thread_.join();
}

bool EpisodeStill::isSame(const Moment& a, const Moment& b) {
    return a.plan == b.plan && a.seconds == b.seconds && a.programs.finished == b.programs.finished &&
           a.programs.stages == b.programs.stages;
}

void EpisodeStill::show(std::shared_ptr<const EpisodePlan> plan, EpisodePrograms programs, double seconds) {
    Moment moment{std::move(plan), std::move(programs), seconds};
    if (wanted_ && isSame(*wanted_, moment)) return;
    wanted_ = std::move(moment);
    if (drawn_)
        delay_->start(redrawDelay, [this] { redraw(); });
    else
        redraw();
}

void EpisodeStill::dismiss() {
    delay_->cancel();
    stop_.request_stop();
    wanted_.reset();
    drawn_.reset();
    image_ = {};
}

void EpisodeStill::redraw() {
    if (!wanted_ || (drawn_ && isSame(*wanted_, *drawn_))) return;
    if (thread_.joinable()) {
        // Its end comes back here.
        stop_.request_stop();
        return;
    }
    drawn_ = wanted_;
    stop_ = std::stop_source();
    thread_ =
        std::thread([moment = *wanted_, most = most_, stop = stop_.get_token(), guard = QPointer(this)]() mutable {
            const QImage image = draw(moment, most, stop);
            moment = {}; // the programs are let go of before anybody hears of the end
            QMetaObject::invokeMethod(
                qApp,
                [guard, image] {
                    if (guard) guard->take(image);
                },
                Qt::QueuedConnection);
        });
}

QImage EpisodeStill::draw(const Moment& moment, QSize most, const std::stop_token& stop) {
    EpisodePicture picture(*moment.plan, moment.programs, episodePictureSize(*moment.plan, most), stop);
    auto image = picture.at(moment.seconds);
    return image ? std::move(*image) : QImage();
}

void EpisodeStill::take(const QImage& image) {
    thread_.join();
    const bool isOvertaken = stop_.stop_requested() || !drawn_;
    if (isOvertaken) {
        drawn_.reset(); // also one that was done all the same
        redraw();
        return;
    }
    image_ = image;
    emit changed();
}

} // namespace glasshob
