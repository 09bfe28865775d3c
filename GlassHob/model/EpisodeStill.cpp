#include "GlassHob/model/EpisodeStill.h"

#include "GlassHobRender/export/EpisodePicture.h"

#include <utility>

namespace glasshob {

namespace {

constexpr double redrawDelay = 0.3;

} // namespace

EpisodeStill::EpisodeStill(QSize most, std::unique_ptr<Delay> delay) : most_(most), delay_(std::move(delay)) {
    connect(&thread_, &PictureThread::ended, this, &EpisodeStill::take);
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
    thread_.stop();
    wanted_.reset();
    drawn_.reset();
    image_ = {};
}

void EpisodeStill::redraw() {
    if (!wanted_ || (drawn_ && isSame(*wanted_, *drawn_))) return;
    if (thread_.isBusy()) {
        thread_.stop(); // its end comes back here
        return;
    }
    drawn_ = wanted_;
    thread_.start([moment = *wanted_, most = most_](const std::stop_token& stop) { return draw(moment, most, stop); });
}

QImage EpisodeStill::draw(const Moment& moment, QSize most, const std::stop_token& stop) {
    EpisodePicture picture(*moment.plan, moment.programs, episodePictureSize(*moment.plan, most), stop);
    return picture.at(moment.seconds).value_or(QImage());
}

void EpisodeStill::take(const QImage& picture, bool wasStopped) {
    if (wasStopped || !drawn_) {
        drawn_.reset(); // also one that was done all the same
        redraw();
        return;
    }
    image_ = picture;
    emit changed();
}

} // namespace glasshob
