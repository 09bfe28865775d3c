#include "GlassHob/model/StartStill.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHobRender/export/FrameImages.h"
#include "GlassHobRender/program/ShaderProgram.h"

namespace glasshob {

namespace {

constexpr double redrawDelay = 0.3;
// More than the window shows, so that fine structures look as they will in the video.
constexpr QSize mostSize{1280, 720};

} // namespace

StartStill::StartStill(AppModel& model, std::unique_ptr<Delay> delay) : model_(model), delay_(std::move(delay)) {
    connect(&model_, &AppModel::exportChanged, this, &StartStill::follow);
    connect(&model_, &AppModel::valueChanged, this, &StartStill::follow);
    connect(&model_, &AppModel::valuesReset, this, &StartStill::follow);
    connect(&model_, &AppModel::compiled, this, &StartStill::follow);
    connect(&thread_, &PictureThread::ended, this, &StartStill::take);
}

void StartStill::setWanted(bool wanted) {
    if (wanted == wanted_) return;
    wanted_ = wanted;
    delay_->cancel();
    if (wanted) {
        redraw();
        return;
    }
    thread_.stop();
    asked_.reset(); // a program keeps its device
    image_ = {};
}

std::optional<StartStill::Moment> StartStill::now() const {
    if (!model_.program() || model_.needsRun()) return std::nullopt;
    const ExportChoices& choices = model_.exportChoices();
    const ExportPreset preset = choices.preset();
    return Moment{model_.program(), model_.values(), choices.start, choices.watermark, preset.width, preset.height};
}

void StartStill::follow() {
    if (wanted_ && now() != asked_) delay_->start(redrawDelay, [this] { redraw(); });
}

void StartStill::redraw() {
    const auto moment = now();
    if (!moment) asked_.reset();
    if (!moment || moment == asked_) return;
    if (thread_.isBusy()) {
        thread_.stop(); // its end comes back here
        return;
    }
    asked_ = moment;
    thread_.start([moment = *moment](const std::stop_token& stop) { return draw(moment, stop); });
}

QImage StartStill::draw(const Moment& moment, const std::stop_token& stop) {
    const QSize size = QSize(int(moment.width), int(moment.height)).scaled(mostSize, Qt::KeepAspectRatio);
    FrameImages frames({{moment.program, moment.values, moment.start, 0, moment.watermark, false}},
                       size.expandedTo({1, 1}), ExportPreset::site().fps, stop);
    return frames.at(0).value_or(QImage());
}

void StartStill::take(const QImage& picture, bool wasStopped) {
    if (wasStopped || !asked_) {
        asked_.reset(); // also one that was done all the same
        if (wanted_) redraw();
    } else if (!picture.isNull()) {
        image_ = picture;
        emit changed();
    }
}

} // namespace glasshob
