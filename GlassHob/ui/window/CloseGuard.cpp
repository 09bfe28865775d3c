#include "GlassHob/ui/window/CloseGuard.h"

#include "GlassHob/model/AppModel.h"

#include <QFileInfo>
#include <QTimer>
#include <QWidget>

namespace glasshob {

namespace {

// A frame may be in work that takes long, or has no end.
constexpr double longestWait = 5; // seconds

} // namespace

CloseGuard::CloseGuard(AppModel& model, QWidget* window, std::unique_ptr<Delay> patience)
    : QObject(window), model_(model), window_(window), patience_(std::move(patience)) {
    connect(&model_.exports(), &ExportJob::ended, this, [this] {
        if (!patience_->isWaiting()) return;
        patience_->cancel();
        goOn();
    });
}

bool CloseGuard::mayClose() {
    if (isAsking_ || patience_->isWaiting()) return false;
    ExportJob& exports = model_.exports();
    if (exports.isRunning() && !exports.isCancelling() && !exportMayStop_) {
        askAboutExport();
        return false;
    }
    if (model_.isDirty() && !editsMayGo_) {
        askAboutEdits();
        return false;
    }
    if (!exports.isRunning() || hasWaited_) return true;
    exports.cancel();
    patience_->start(longestWait, [this] {
        hasWaited_ = true;
        goOn();
    });
    return false;
}

void CloseGuard::askAboutExport() {
    isAsking_ = true;
    Question question;
    question.message = tr("Quit while %1 is being exported?").arg(QFileInfo(model_.exports().order()->path).fileName());
    question.informativeText = tr("The video is not finished. Quitting stops the export, and what is written so far "
                                  "will be removed.");
    question.buttons = {tr("Stop and Quit"), tr("Keep Exporting")};
    question.escapeButton = 1;
    model_.questions().ask(question, [this](int button) {
        isAsking_ = false;
        exportMayStop_ = button == 0;
        if (exportMayStop_) goOn();
    });
}

void CloseGuard::askAboutEdits() {
    isAsking_ = true;
    model_.confirmDiscard([this](bool mayGo) {
        isAsking_ = false;
        editsMayGo_ = mayGo;
        if (mayGo)
            goOn();
        else
            exportMayStop_ = false;
    });
}

// Out of the question's own event first.
void CloseGuard::goOn() {
    QTimer::singleShot(0, window_, &QWidget::close);
}

} // namespace glasshob
