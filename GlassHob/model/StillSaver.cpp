#include "GlassHob/model/StillSaver.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHobRender/formats/StillFile.h"
#include "GlassHobRender/output/StillRenderer.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSettings>
#include <QStandardPaths>
#include <QThread>

#include <expected>

namespace glasshob {

namespace {

constexpr auto widthKey = "still/width";
constexpr auto heightKey = "still/height";
constexpr auto folderKey = "still/folder";

// On a thread of its own; the failure is a sentence to show.
std::expected<SavedStill, QString> draw(const StillRequest& request) {
    const std::string path = QFile::encodeName(request.path).toStdString();
    // The name is looked at before the work.
    if (const auto format = StillFormats::ofPath(path); !format)
        return std::unexpected(QString::fromStdString(format.error()));
    const auto image = StillRenderer::render(request.program, request.program->device(), request.width, request.height,
                                             request.frame, request.values, request.time);
    if (!image) return std::unexpected(QCoreApplication::translate("AppModel", "The still could not be drawn."));
    if (const auto written = StillFile::write(*image, path); !written)
        return std::unexpected(QString::fromStdString(written.error()));
    return SavedStill{request.path, request.width, request.height, QFileInfo(request.path).size()};
}

} // namespace

StillSaver::Size StillSaver::size() {
    const Size usual;
    const Size kept{QSettings().value(widthKey, qint64(usual.width)).toLongLong(),
                    QSettings().value(heightKey, qint64(usual.height)).toLongLong()};
    const std::int64_t most = StillFormats::entry(StillFormat::png).longestSide;
    const bool isSound = kept.width > 0 && kept.height > 0 && kept.width <= most && kept.height <= most;
    return isSound ? kept : usual;
}

void StillSaver::setSize(Size size) {
    QSettings().setValue(widthKey, qint64(size.width));
    QSettings().setValue(heightKey, qint64(size.height));
}

std::optional<StillRequest> StillSaver::now() const {
    if (!model_.program() || model_.needsRun()) return std::nullopt;
    const Size chosen = size();
    return StillRequest{.program = model_.program(),
                        .values = model_.values(),
                        .frame = model_.frame(),
                        .time = float(model_.time()),
                        .width = chosen.width,
                        .height = chosen.height};
}

QString StillSaver::suggestedName() const {
    return QStringLiteral("%1-t%2.png")
        .arg(QFileInfo(model_.displayName()).completeBaseName(), QString::number(model_.time(), 'f', 1));
}

void StillSaver::chooseAndSave(StillRequest request, std::function<void(bool)> answered) {
    QString folder = QSettings().value(folderKey).toString();
    if (!QFileInfo(folder).isDir()) folder = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    const QString name =
        QStringLiteral("%1-t%2.png")
            .arg(QFileInfo(model_.displayName()).completeBaseName(), QString::number(double(request.time), 'f', 1));
    model_.questions().chooseFileToSave(tr("Save the still"), folder, name,
                                        [self = QPointer(this), request = std::move(request),
                                         answered = std::move(answered)](std::optional<QString> path) mutable {
                                            if (self && path) {
                                                QSettings().setValue(folderKey, QFileInfo(*path).absolutePath());
                                                request.path = *path;
                                                self->save(std::move(request));
                                            }
                                            if (answered) answered(path.has_value());
                                        });
}

void StillSaver::save(StillRequest request) {
    emit began();
    auto work = [request = std::move(request), guard = QPointer(this)]() mutable {
        const auto outcome = draw(request);
        request.program.reset();
        QMetaObject::invokeMethod(
            qApp,
            [guard, outcome, path = request.path] {
                if (!guard) return;
                emit guard->ended();
                if (outcome)
                    emit guard->saved(*outcome);
                else
                    guard->model_.questions().warn(tr("Can't save %1").arg(QFileInfo(path).fileName()),
                                                   outcome.error());
            },
            Qt::QueuedConnection);
    };
    QThread* thread = QThread::create(std::move(work));
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

} // namespace glasshob
