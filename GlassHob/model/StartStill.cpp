#include "GlassHob/model/StartStill.h"

#include "GPU/Device.h"
#include "GPU/Texture.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHobRender/export/FrameDrawer.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCoreApplication>
#include <QPointer>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr double redrawDelay = 0.3;
// More than the window shows, so that fine structures look as they will in the video.
constexpr std::int64_t mostWidth = 1280;
constexpr std::int64_t mostHeight = 720;

} // namespace

StartStill::StartStill(AppModel& model, std::unique_ptr<Delay> delay) : model_(model), delay_(std::move(delay)) {
    connect(&model_, &AppModel::exportChanged, this, &StartStill::follow);
    connect(&model_, &AppModel::valueChanged, this, &StartStill::follow);
    connect(&model_, &AppModel::valuesReset, this, &StartStill::follow);
    connect(&model_, &AppModel::compiled, this, &StartStill::follow);
}

StartStill::~StartStill() {
    stop_.request_stop();
    if (thread_.joinable()) thread_.join();
}

void StartStill::setWanted(bool wanted) {
    if (wanted == wanted_) return;
    wanted_ = wanted;
    delay_->cancel();
    if (wanted) {
        redraw();
        return;
    }
    stop_.request_stop();
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
    if (thread_.joinable()) {
        // Its end comes back here.
        stop_.request_stop();
        return;
    }
    asked_ = moment;
    stop_ = std::stop_source();
    thread_ = std::thread([moment = *moment, stop = stop_.get_token(), guard = QPointer(this)]() mutable {
        const QImage image = draw(moment, stop);
        moment = {}; // the program is let go of before anybody hears of the end
        QMetaObject::invokeMethod(
            qApp,
            [guard, image] {
                if (guard) guard->take(image);
            },
            Qt::QueuedConnection);
    });
}

QImage StartStill::draw(const Moment& moment, const std::stop_token& stop) {
    const double scale = std::min(double(mostWidth) / double(moment.width), double(mostHeight) / double(moment.height));
    const auto side = [scale](std::int64_t length) {
        return std::max<std::int64_t>(std::llround(scale * double(length)), 1);
    };
    const std::int64_t width = side(moment.width), height = side(moment.height);
    ExportPreset preset = ExportPreset::site();
    preset.width = width;
    preset.height = height;
    const auto& device = moment.program->device();
    const std::vector<ExportSegment> segments = {
        {moment.program, moment.values, moment.start, 0, moment.watermark, false}};
    const ExportTimeline timeline(segments, preset.fps);
    const auto texture = device->makeTexture({.width = std::uint32_t(width),
                                              .height = std::uint32_t(height),
                                              .storage = gpu::StorageMode::shared,
                                              .usage = {.shaderRead = false, .renderTarget = true}});
    if (!texture) return {};
    try {
        FrameDrawer drawer(timeline, preset, device, stop);
        if (!drawer.draw(0, *texture)) return {};
    } catch (const std::exception&) {
        return {};
    }
    return QImage(reinterpret_cast<const uchar*>((*texture)->contents()), int(width), int(height),
                  qsizetype((*texture)->rowBytes()), QImage::Format_RGB32)
        .copy();
}

void StartStill::take(const QImage& image) {
    thread_.join();
    const bool isOvertaken = stop_.stop_requested() || !asked_;
    if (isOvertaken)
        asked_.reset(); // also one that was done all the same
    else if (!image.isNull())
        image_ = image;
    if (isOvertaken && wanted_) redraw();
    if (!isOvertaken && !image.isNull()) emit changed();
}

} // namespace glasshob
