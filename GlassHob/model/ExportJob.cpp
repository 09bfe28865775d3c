#include "GlassHob/model/ExportJob.h"

#include "GPU/Device.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHobCore/files/PartialFile.h"
#include "GlassHobRender/export/EpisodeVideo.h"
#include "GlassHobRender/export/ExportSinks.h"
#include "GlassHobRender/export/SoundFile.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSettings>
#include <QStandardPaths>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <utility>

namespace glasshob {

namespace {

constexpr auto folderKey = "export/folder";
constexpr int pictureWidth = 864; // two pixels for each of the window's

void exportOrder(const ExportOrder& order, const ExportJob::Target& target) {
    const auto& device = order.program()->device();
    const std::string name = QFile::encodeName(order.path).toStdString();
    if (order.format == ExportFormat::wav) {
        const auto written = writeSoundFile(order.segments, device, {target.path, name, target.progress, target.stop});
        if (!written) throw ExportError(written.error());
        return;
    }
    const auto sink = makeSink({.format = order.format,
                                .path = target.path,
                                .name = name,
                                .preset = order.preset,
                                .encoding = {.chapters = order.episode ? movieChapters(order.episode->chapters())
                                                                       : std::vector<MovieChapter>()},
                                .hasSound = order.hasSound(),
                                .replaces = false});
    if (!sink) throw ExportError(sink.error());
    auto done = exportFrames(order.segments,
                             {.preset = order.preset,
                              .device = device,
                              .progress = target.progress,
                              .stop = target.stop,
                              .preview = target.show},
                             **sink);
    if (!done) throw std::move(done.error());
}

// Numbered pictures stand in a folder of the name without its ending.
QString folderOfPictures(const QString& path) {
    return path.endsWith(u'/') ? path : path.left(path.lastIndexOf(u'.')) + u'/';
}

// Those of the order, written beside their places before anything else is: where one cannot be, nothing is lost yet.
std::expected<std::vector<PartialFile>, std::string> writeCompanions(const ExportOrder& order) {
    const QString base =
        order.path.endsWith(u'/') ? order.path.chopped(1) : order.path.left(order.path.lastIndexOf(u'.'));
    std::vector<PartialFile> written;
    for (const CompanionFile& companion : order.companions) {
        const std::string place = QFile::encodeName(base + companion.suffix).toStdString();
        auto file = PartialFile::written(place, companion.text);
        if (!file) return std::unexpected(std::move(file.error()));
        written.push_back(std::move(*file));
    }
    return written;
}

qint64 bytesOf(const QString& path) {
    const QFileInfo info(path);
    if (!info.isDir()) return info.size();
    qint64 sum = 0;
    for (const QFileInfo& each : QDir(path).entryInfoList(QDir::Files))
        sum += each.size();
    return sum;
}

// Half the size of a large frame comes from every other pixel; the rest is smooth.
QImage smallPicture(const std::byte* pixels, std::size_t rowBytes, const ExportPreset& preset) {
    const QImage frame(reinterpret_cast<const uchar*>(pixels), int(preset.width), int(preset.height),
                       qsizetype(rowBytes), QImage::Format_RGB32);
    if (frame.width() <= pictureWidth) return frame.copy();
    const QImage coarse =
        frame.width() > 3 * pictureWidth ? frame.scaledToWidth(2 * pictureWidth, Qt::FastTransformation) : frame;
    return coarse.scaledToWidth(pictureWidth, Qt::SmoothTransformation);
}

} // namespace

std::int64_t ExportOrder::frameCount() const {
    std::int64_t count = 0;
    for (const ExportSegment& segment : segments)
        count += ExportPlan::frameCount(segment.duration, preset.fps);
    return count;
}

double ExportOrder::seconds() const {
    return double(frameCount()) / double(preset.fps);
}

std::shared_ptr<const ShaderProgram> ExportOrder::program() const {
    return segments.empty() ? nullptr : segments.front().program;
}

bool ExportOrder::hasSound() const {
    return ExportTimeline(segments, preset.fps).hasSound();
}

void ExportOrder::dropPrograms() {
    for (ExportSegment& segment : segments) {
        segment.program.reset();
        segment.soundProgram.reset();
    }
}

ExportPreset ExportChoices::ownPreset() const {
    // A little more than an eighth of a bit for a pixel; what no H.264 player takes is HEVC.
    const std::int64_t bitrate = std::max<std::int64_t>(ownWidth * ownHeight * ownFps / 8, 500'000);
    return {ownId,
            QCoreApplication::translate("glasshob::Export", "%1×%2 · %3 fps")
                .arg(ownWidth)
                .arg(ownHeight)
                .arg(ownFps)
                .toStdString(),
            ownWidth,
            ownHeight,
            ownFps,
            std::min<std::int64_t>(bitrate, 400'000'000),
            std::max(ownWidth, ownHeight) > 4096 ? VideoCodec::hevc : VideoCodec::h264};
}

// What the two threads share. The export's thread tells the newest and never waits for it to be read.
struct ExportJob::Shared {
    std::stop_token stop;
    QPointer<ExportJob> job; // to be followed on the main thread only

    std::mutex lock;
    std::int64_t done = 0, total = 0;
    bool progressIsOnItsWay = false;
    QImage picture;
    bool pictureIsOnItsWay = false;
    std::vector<std::string> partials;

    bool isCancelled() const { return stop.stop_requested(); }
};

ExportJob::ExportJob(AppModel& model, Exporter exporter)
    : model_(model), exporter_(exporter ? std::move(exporter) : Exporter(exportOrder)) {}

ExportJob::~ExportJob() {
    if (!isRunning()) return;
    cancelFlag_->set(true);
    thread_.join();
}

void ExportJob::setChoices(ExportChoices choices) {
    if (choices == choices_) return;
    choices_ = std::move(choices);
    emit changed();
}

void ExportJob::setState(ExportState state) {
    if (state == state_) return;
    const bool starts = std::holds_alternative<ExportRunning>(state) && !std::holds_alternative<ExportRunning>(state_);
    if (starts) {
        startedAt_ = QDateTime::currentDateTimeUtc();
        cancelFlag_->set(false);
    }
    state_ = std::move(state);
    emit changed();
}

bool ExportJob::canStart() const {
    const auto& program = model_.program();
    if (program == nullptr || model_.needsRun() || isRunning()) return false;
    return choices_.format != ExportFormat::wav || program->soundPipeline() != nullptr;
}

QString ExportJob::suggestedName() const {
    return QFileInfo(model_.displayName()).completeBaseName() +
           QString::fromLatin1(ExportFormats::entry(choices_.format).ending);
}

void ExportJob::chooseAndStart(std::function<void()> answered) {
    if (!canStart()) {
        if (answered) answered();
        return;
    }
    // The moment of the command, not that of the answer.
    const ExportPlan plan = choices_.plan();
    ExportOrder order{.segments = {ExportSegment(model_.program(), model_.values(), plan.start, plan.duration,
                                                 choices_.watermark, true)},
                      .preset = choices_.preset(),
                      .format = choices_.format};
    chooseAndStart(std::move(order), suggestedName(), std::move(answered));
}

void ExportJob::chooseAndStart(ExportOrder order, const QString& name, std::function<void()> answered) {
    QString folder = QSettings().value(folderKey).toString();
    if (!QFileInfo(folder).isDir()) folder = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    choose(std::move(order), folder, name, std::move(answered));
}

void ExportJob::choose(ExportOrder order, const QString& folder, const QString& name, std::function<void()> answered) {
    model_.questions().chooseFileToSave(tr("Export"), folder, name,
                                        [self = QPointer(this), order = std::move(order),
                                         answered = std::move(answered)](std::optional<QString> path) mutable {
                                            if (self && path && !self->isRunning()) {
                                                QSettings().setValue(folderKey, QFileInfo(*path).absolutePath());
                                                order.path = *path;
                                                self->start(std::move(order));
                                            }
                                            if (answered) answered();
                                        });
}

void ExportJob::start(ExportOrder order) {
    Q_ASSERT(!isRunning());
    order_ = std::move(order);
    auto format = ExportFormats::ofPath(order_->path.toStdString());
    if (format && order_->episode && !ExportFormats::entry(*format).isMovie)
        format = std::unexpected(tr("%1 is no movie, and an episode is one: choose a name that ends in .mp4, .mov or "
                                    ".webm.")
                                     .arg(QFileInfo(order_->path).fileName())
                                     .toStdString());
    if (format) {
        order_->format = *format;
        order_->preset = ExportFormats::fitted(order_->preset, *format);
        if (*format == ExportFormat::pngs) order_->path = folderOfPictures(order_->path);
    }
    picture_ = {};
    bytes_ = 0;
    secondsTaken_ = 0;
    placeIsAtFault_ = false;
    clock_.start();
    pace_ = ExportPace();
    setState(ExportRunning{0, order_->format == ExportFormat::wav ? std::int64_t(std::ceil(order_->seconds()))
                                                                  : order_->frameCount()});
    if (!format) {
        placeIsAtFault_ = true;
        setState(ExportFailed{QString::fromStdString(format.error())});
        emit ended();
        return;
    }
    shared_ = std::make_shared<Shared>();
    shared_->stop = cancelFlag_->token();
    shared_->job = this;
    thread_ = std::thread(
        [exporter = exporter_, order = *order_, shader = model_.filePath().value_or(QString()), shared = shared_] {
            Outcome outcome;
            if (!shader.isEmpty() && QFileInfo(shader) == QFileInfo(order.path))
                outcome = std::unexpected(Failure{
                    tr("%1 is the shader itself: choose another name for the video.").arg(QFileInfo(shader).fileName()),
                    true});
            else
                outcome = work(exporter, order, *shared);
            QMetaObject::invokeMethod(
                qApp,
                [shared, outcome] {
                    if (shared->job) shared->job->finish(outcome);
                },
                Qt::QueuedConnection);
        });
}

// On the export's thread.
ExportJob::Outcome ExportJob::work(const Exporter& exporter, const ExportOrder& order, Shared& shared) {
    const std::string place = QFile::encodeName(order.path).toStdString();
    const bool arePictures = order.format == ExportFormat::pngs;
    // Posts a call of the job's, unless the one before has not been taken yet.
    const auto post = [&shared](bool Shared::* isOnItsWay, void (ExportJob::*take)()) {
        if (std::exchange(shared.*isOnItsWay, true)) return;
        QMetaObject::invokeMethod(
            qApp,
            [job = shared.job, take] {
                if (job) (job->*take)();
            },
            Qt::QueuedConnection);
    };
    if (arePictures && !QDir(order.path).isEmpty())
        return std::unexpected(
            Failure{tr("The folder %1 is there already and has something in it: choose another name.")
                        .arg(QDir(order.path).dirName()),
                    true});
    std::optional<PartialFile> partial;
    if (!arePictures) {
        auto made = PartialFile::beside(place);
        if (!made) return std::unexpected(Failure{QString::fromStdString(made.error()), true});
        partial = std::move(*made);
    }
    auto companions = writeCompanions(order);
    if (!companions) return std::unexpected(Failure{QString::fromStdString(companions.error()), true});
    {
        const std::scoped_lock held(shared.lock);
        if (partial) shared.partials.push_back(partial->path());
        for (const PartialFile& companion : *companions)
            shared.partials.push_back(companion.path());
    }
    Target target;
    target.path = partial ? partial->path() : place;
    target.stop = shared.stop;
    target.progress = [&](std::int64_t done, std::int64_t total) {
        const std::scoped_lock held(shared.lock);
        shared.done = done;
        shared.total = total;
        post(&Shared::progressIsOnItsWay, &ExportJob::takeProgress);
        return !shared.isCancelled();
    };
    target.show = [&](const std::byte* pixels, std::size_t rowBytes) {
        QImage picture = smallPicture(pixels, rowBytes, order.preset);
        const std::scoped_lock held(shared.lock);
        shared.picture = std::move(picture);
        post(&Shared::pictureIsOnItsWay, &ExportJob::takePicture);
    };
    try {
        exporter(order, target);
    } catch (const std::exception& error) {
        return std::unexpected(Failure{QString::fromUtf8(error.what())});
    }
    // The last frame is there and the person does not want it any more: what is not in its place yet goes.
    if (shared.isCancelled()) return std::unexpected(Failure{});
    // The large one last: where it stands, they do.
    if (partial) companions->push_back(std::move(*partial));
    if (const auto moved = PartialFile::moveAllIntoPlace(*companions); !moved)
        return std::unexpected(Failure{QString::fromStdString(moved.error()), true});
    return {};
}

void ExportJob::takeProgress() {
    ExportRunning running;
    {
        const std::scoped_lock held(shared_->lock);
        shared_->progressIsOnItsWay = false;
        running = {shared_->done, shared_->total};
    }
    if (!isRunning()) return;
    pace_.report(double(clock_.elapsed()) / 1000, running.done);
    setState(running);
}

void ExportJob::takePicture() {
    {
        const std::scoped_lock held(shared_->lock);
        shared_->pictureIsOnItsWay = false;
        picture_ = shared_->picture;
    }
    emit pictureChanged();
}

void ExportJob::finish(const Outcome& outcome) {
    thread_.join();
    secondsTaken_ = double(clock_.elapsed()) / 1000;
    const auto device = order_->program()->device();
    // Kept for another try only, as a program keeps its device.
    if (outcome || shared_->isCancelled() || device->lost()) order_->dropPrograms();
    if (device->lost() && device == model_.device()) model_.reportDeviceLoss();
    if (outcome) {
        bytes_ = bytesOf(order_->path);
        setState(ExportFinished{order_->path});
    } else if (shared_->isCancelled()) {
        setState(ExportIdle{});
    } else {
        placeIsAtFault_ = outcome.error().isThePlaces;
        setState(ExportFailed{outcome.error().message});
    }
    emit ended();
}

bool ExportJob::hasUsableProgram() const {
    const auto program = order_->program();
    return program != nullptr && !program->device()->lost();
}

bool ExportJob::canTryAgain() const {
    // Of an episode the model has not all programs at hand.
    return order_ && !isRunning() && (hasUsableProgram() || (canStart() && !order_->episode));
}

void ExportJob::tryAgain() {
    if (!canTryAgain()) return;
    ExportOrder order = *order_;
    if (!hasUsableProgram()) {
        for (ExportSegment& segment : order.segments) {
            segment.program = model_.program();
            segment.values = model_.values();
        }
    }
    const QFileInfo place(order.path.endsWith(u'/') ? order.path.chopped(1) + QStringLiteral(".png") : order.path);
    if (placeIsAtFault_)
        choose(std::move(order), place.absolutePath(), place.fileName(), {});
    else
        start(std::move(order));
}

void ExportJob::cancel() {
    if (!isRunning()) return;
    cancelFlag_->set(true);
    emit changed();
}

void ExportJob::dismiss() {
    if (isRunning()) return;
    if (order_) order_->dropPrograms();
    setState(ExportIdle{});
}

void ExportJob::abandon() {
    if (!isRunning()) return;
    const std::scoped_lock held(shared_->lock);
    for (const std::string& path : shared_->partials)
        std::remove(path.c_str());
}

double ExportJob::secondsTaken() const {
    return isRunning() ? double(clock_.elapsed()) / 1000 : secondsTaken_;
}

std::optional<double> ExportJob::secondsLeft() const {
    const auto* running = std::get_if<ExportRunning>(&state_);
    if (!running) return std::nullopt;
    return pace_.secondsLeft(double(clock_.elapsed()) / 1000, running->total);
}

} // namespace glasshob
