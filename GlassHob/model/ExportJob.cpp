#include "GlassHob/model/ExportJob.h"

#include "GPU/Device.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHobCore/files/PartialFile.h"
#include "GlassHobRender/export/VideoExporter.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSettings>
#include <QStandardPaths>

#include <mutex>
#include <utility>

namespace glasshob {

namespace {

constexpr auto folderKey = "export/folder";
constexpr int pictureWidth = 864; // two pixels for each of the window's

void makeMovie(const ExportOrder& order, const ExportJob::Desk& desk) {
    VideoExporter::exportMovie(order.program, order.values, order.plan, order.watermark, order.program->device(),
                               desk.path, desk.progress, {}, desk.stop, desk.show);
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

// What the two threads share. The export's thread tells the newest and never waits for it to be read.
struct ExportJob::Shared {
    std::shared_ptr<CancelFlag> cancelled;
    std::stop_token stop;
    QPointer<ExportJob> job; // to be followed on the main thread only

    std::mutex lock;
    std::int64_t done = 0, total = 0;
    bool progressIsOnItsWay = false;
    QImage picture;
    bool pictureIsOnItsWay = false;
    std::string partial;

    bool isCancelled() const { return cancelled->value() || stop.stop_requested(); }
};

ExportJob::ExportJob(AppModel& model, Maker maker)
    : model_(model), maker_(maker ? std::move(maker) : Maker(makeMovie)) {}

ExportJob::~ExportJob() {
    stop_.request_stop();
    if (isRunning()) thread_.join();
}

bool ExportJob::canStart() const {
    return model_.program() != nullptr && !model_.needsRun() && !isRunning();
}

QString ExportJob::suggestedName() const {
    return QFileInfo(model_.displayName()).completeBaseName() + QStringLiteral(".mp4");
}

void ExportJob::chooseAndStart(std::function<void()> answered) {
    if (!canStart()) {
        if (answered) answered();
        return;
    }
    const ExportChoices& choices = model_.exportChoices();
    // The moment of the command, not that of the answer.
    ExportOrder order{model_.program(), model_.values(), choices.plan(), choices.watermark, {}};
    QString folder = QSettings().value(folderKey).toString();
    if (!QFileInfo(folder).isDir()) folder = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    choose(std::move(order), folder, suggestedName(), std::move(answered));
}

void ExportJob::choose(ExportOrder order, const QString& folder, const QString& name, std::function<void()> answered) {
    model_.questions().chooseFileToSave(tr("Export the video"), folder, name,
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
    picture_ = {};
    bytes_ = 0;
    secondsTaken_ = 0;
    placeIsAtFault_ = false;
    stop_ = std::stop_source();
    clock_.start();
    pace_ = ExportPace();
    shared_ = std::make_shared<Shared>();
    shared_->cancelled = model_.cancelFlag();
    shared_->stop = stop_.get_token();
    shared_->job = this;
    model_.setExportState(ExportRunning{0, order_->plan.frameCount()});
    thread_ = std::thread(
        [maker = maker_, order = *order_, shader = model_.filePath().value_or(QString()), shared = shared_] {
            Outcome outcome;
            if (!shader.isEmpty() && QFileInfo(shader) == QFileInfo(order.path))
                outcome = std::unexpected(Failure{
                    tr("%1 is the shader itself: choose another name for the video.").arg(QFileInfo(shader).fileName()),
                    true});
            else
                outcome = work(maker, order, QFile::encodeName(order.path).toStdString(), *shared);
            QMetaObject::invokeMethod(
                qApp,
                [shared, outcome] {
                    if (shared->job) shared->job->finish(outcome);
                },
                Qt::QueuedConnection);
        });
}

// On the export's thread.
ExportJob::Outcome ExportJob::work(const Maker& maker, const ExportOrder& order, const std::string& place,
                                   Shared& shared) {
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
    auto partial = PartialFile::beside(place);
    if (!partial) return std::unexpected(Failure{QString::fromStdString(partial.error()), true});
    {
        const std::scoped_lock held(shared.lock);
        shared.partial = partial->path();
    }
    Desk desk;
    desk.path = partial->path();
    desk.stop = shared.stop;
    desk.progress = [&](std::int64_t done, std::int64_t total) {
        const std::scoped_lock held(shared.lock);
        shared.done = done;
        shared.total = total;
        post(&Shared::progressIsOnItsWay, &ExportJob::takeProgress);
        return !shared.isCancelled();
    };
    desk.show = [&](const std::byte* pixels, std::size_t rowBytes) {
        QImage picture = smallPicture(pixels, rowBytes, order.plan.preset);
        const std::scoped_lock held(shared.lock);
        shared.picture = std::move(picture);
        post(&Shared::pictureIsOnItsWay, &ExportJob::takePicture);
    };
    try {
        maker(order, desk);
    } catch (const std::exception& error) {
        return std::unexpected(Failure{QString::fromUtf8(error.what())});
    }
    // The last frame is there and the person does not want it any more: what is not in its place yet goes.
    if (shared.isCancelled()) return std::unexpected(Failure{});
    if (const auto moved = partial->moveIntoPlace(); !moved)
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
    model_.setExportState(running);
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
    const auto device = order_->program->device();
    // Kept for another try only, as a program keeps its device.
    if (outcome || shared_->isCancelled() || device->lost()) order_->program.reset();
    if (device->lost() && device == model_.device()) model_.reportDeviceLoss();
    if (outcome) {
        bytes_ = QFileInfo(order_->path).size();
        model_.setExportState(ExportFinished{order_->path});
    } else if (shared_->isCancelled()) {
        model_.setExportState(ExportIdle{});
    } else {
        placeIsAtFault_ = outcome.error().isThePlaces;
        model_.setExportState(ExportFailed{outcome.error().message});
    }
    emit ended();
}

bool ExportJob::hasUsableProgram() const {
    return order_->program != nullptr && !order_->program->device()->lost();
}

bool ExportJob::canTryAgain() const {
    return order_ && !isRunning() && (hasUsableProgram() || canStart());
}

void ExportJob::tryAgain() {
    if (!canTryAgain()) return;
    ExportOrder order = *order_;
    if (!hasUsableProgram()) {
        order.program = model_.program();
        order.values = model_.values();
    }
    const QFileInfo place(order.path);
    if (placeIsAtFault_)
        choose(std::move(order), place.absolutePath(), place.fileName(), {});
    else
        start(std::move(order));
}

void ExportJob::cancel() {
    if (!isRunning()) return;
    model_.cancelFlag()->set(true);
    stop_.request_stop();
    emit model_.exportChanged();
}

void ExportJob::dismiss() {
    if (isRunning()) return;
    if (order_) order_->program.reset();
    model_.setExportState(ExportIdle{});
}

void ExportJob::abandon() {
    if (!isRunning()) return;
    const std::scoped_lock held(shared_->lock);
    if (!shared_->partial.empty()) std::remove(shared_->partial.c_str());
}

double ExportJob::secondsTaken() const {
    return isRunning() ? double(clock_.elapsed()) / 1000 : secondsTaken_;
}

std::optional<double> ExportJob::secondsLeft() const {
    const auto* running = std::get_if<ExportRunning>(&model_.exportState());
    if (!running) return std::nullopt;
    return pace_.secondsLeft(double(clock_.elapsed()) / 1000, running->total);
}

} // namespace glasshob
