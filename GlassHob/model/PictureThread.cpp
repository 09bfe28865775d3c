#include "GlassHob/model/PictureThread.h"

#include <QCoreApplication>
#include <QPointer>

#include <utility>

namespace glasshob {

PictureThread::~PictureThread() {
    stop();
    if (thread_.joinable()) thread_.join();
}

void PictureThread::start(std::function<QImage(const std::stop_token&)> draw) {
    stop_ = std::stop_source();
    thread_ = std::thread([draw = std::move(draw), stop = stop_.get_token(), guard = QPointer(this)]() mutable {
        const QImage picture = draw(stop);
        draw = {};
        QMetaObject::invokeMethod(
            qApp,
            [guard, picture] {
                if (!guard) return;
                guard->thread_.join();
                emit guard->ended(picture, guard->stop_.stop_requested());
            },
            Qt::QueuedConnection);
    });
}

} // namespace glasshob
