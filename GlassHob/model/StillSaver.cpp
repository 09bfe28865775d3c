#include "GlassHob/model/StillSaver.h"

#include "GlassHobRender/formats/StillFile.h"
#include "GlassHobRender/output/StillRenderer.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QPointer>
#include <QThread>

namespace glasshob {

void saveStill(StillRequest request, QObject* context, std::function<void(std::expected<void, QString>)> done) {
    auto work = [request = std::move(request), guard = QPointer(context), done = std::move(done)] {
        std::expected<void, QString> result;
        const auto image = StillRenderer::render(request.program, request.program->device(), request.width,
                                                 request.height, request.frame, request.values, request.time);
        if (!image) {
            result = std::unexpected(QCoreApplication::translate("AppModel", "The still could not be drawn."));
        } else if (const auto written = StillFile::write(*image, QFile::encodeName(request.path).toStdString());
                   !written) {
            result = std::unexpected(QString::fromStdString(written.error()));
        }
        QMetaObject::invokeMethod(
            qApp,
            [guard, done, result] {
                if (guard) done(result);
            },
            Qt::QueuedConnection);
    };
    QThread* thread = QThread::create(std::move(work));
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

} // namespace glasshob
