#include "GlassHob/ui/export/ExportActions.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/ui/controls/DesktopNotification.h"
#include "GlassHob/ui/export/EpisodeWindow.h"
#include "GlassHob/ui/export/ExportTexts.h"
#include "GlassHob/ui/export/ExportWindow.h"
#include "GlassHob/ui/export/StillWindow.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QAction>
#include <QApplication>

namespace glasshob {

ExportActions::ExportActions(AppModel& model, QWidget* mainWindow)
    : QObject(mainWindow), exportVideo(new QAction(tr("Export &Video…"), this)),
      exportEpisode(new QAction(tr("Export E&pisode…"), this)), saveSound(new QAction(tr("Save S&ound…"), this)),
      model_(model), mainWindow_(mainWindow), still_(model) {
    exportVideo->setShortcut(QKeySequence(tr("Ctrl+Shift+E")));
    mainWindow->addAction(exportVideo);
    connect(exportVideo, &QAction::triggered, this, [this] {
        if (isEpisodeExport()) { // one at a time: the one there is
            openEpisode();
            return;
        }
        ExportChoices choices = model_.exportChoices();
        if (choices.format == ExportFormat::wav) choices.format = ExportFormat::mp4;
        model_.setExportChoices(choices);
        model_.setSheet(AppModel::Sheet::export_);
        open();
    });
    connect(exportEpisode, &QAction::triggered, this, &ExportActions::openEpisode);
    connect(saveSound, &QAction::triggered, this, [this] {
        ExportChoices choices = model_.exportChoices();
        choices.format = ExportFormat::wav;
        model_.setExportChoices(choices);
        model_.setSheet(AppModel::Sheet::export_);
        open();
    });
    connect(&model_, &AppModel::compiled, this, &ExportActions::follow);
    connect(&model_, &AppModel::documentChanged, this, &ExportActions::follow);
    connect(&model_, &AppModel::exportChanged, this, &ExportActions::follow);
    connect(&model_.episode(), &OpenEpisode::hasHeaderChanged, this, &ExportActions::follow);
    connect(&model_, &AppModel::sheetChanged, this, [this] {
        if (model_.sheet() == AppModel::Sheet::export_ && !window_) open();
    });
    connect(&model_.exports(), &ExportJob::ended, this, &ExportActions::tellEnd);
    setNotification(new DesktopNotification(this));
    follow();
}

ExportActions::~ExportActions() {
    delete window_; // before the still that it shows
    delete episodeWindow_;
}

ExportWindow* ExportActions::window() const {
    return window_;
}

EpisodeWindow* ExportActions::episodeWindow() const {
    return episodeWindow_;
}

StillWindow* ExportActions::stillWindow() const {
    return stillWindow_;
}

void ExportActions::openStillBy(QAction* saveStill) {
    disconnect(saveStill, &QAction::triggered, nullptr, nullptr);
    connect(saveStill, &QAction::triggered, this, &ExportActions::openStill);
}

// Always of this moment: one that is open for an earlier one goes.
void ExportActions::openStill() {
    auto moment = model_.stills().now();
    if (!moment) return;
    if (stillWindow_) stillWindow_->close();
    stillWindow_ = new StillWindow(model_, std::move(*moment), mainWindow_);
    stillWindow_->comeForward();
}

void ExportActions::setNotification(DesktopNotification* notification) {
    delete notification_;
    notification_ = notification;
    connect(notification_, &DesktopNotification::pressed, this, [this] {
        emit wanted();
        const auto& order = model_.exports().order();
        if (order && order->episode && episodeWindow_)
            episodeWindow_->comeForward();
        else if (window_)
            window_->comeForward();
    });
}

// Of the export that runs, or whose end has not been read.
bool ExportActions::isEpisodeExport() const {
    const auto& order = model_.exports().order();
    return !std::holds_alternative<ExportIdle>(model_.exportState()) && order && order->episode;
}

// An export that runs, or whose end has not been read, can be looked at whatever the document is.
void ExportActions::follow() {
    const auto& program = model_.program();
    const bool isBusy = !std::holds_alternative<ExportIdle>(model_.exportState());
    const bool hasPicture = program != nullptr && !model_.needsRun() && !model_.exports().isRunning();
    exportVideo->setEnabled(hasPicture || isBusy);
    exportEpisode->setEnabled(model_.episode().hasHeader() || isEpisodeExport());
    saveSound->setEnabled(hasPicture && !isBusy && program->soundPipeline() != nullptr);
}

void ExportActions::open() {
    if (!window_) {
        window_ = new ExportWindow(model_, still_, mainWindow_);
        connect(window_, &QDialog::finished, this, [this] {
            window_ = nullptr;
            if (model_.sheet() == AppModel::Sheet::export_) model_.setSheet(std::nullopt);
        });
    }
    window_->comeForward();
}

void ExportActions::openEpisode() {
    if (!episodeWindow_) {
        episodeWindow_ = new EpisodeWindow(model_, mainWindow_);
        connect(episodeWindow_, &QDialog::finished, this, [this] { episodeWindow_ = nullptr; });
        connect(episodeWindow_, &EpisodeWindow::previewAsked, this, &ExportActions::previewAsked);
        connect(episodeWindow_, &EpisodeWindow::variationsAsked, this, &ExportActions::variationsAsked);
    }
    episodeWindow_->comeForward();
}

QWidget* ExportActions::windowOfExport() {
    const auto& order = model_.exports().order();
    if (order && order->episode) {
        if (!episodeWindow_) openEpisode();
        return episodeWindow_;
    }
    if (!window_) open();
    return window_;
}

void ExportActions::tellEnd() {
    const ExportState& state = model_.exportState();
    const auto* finished = std::get_if<ExportFinished>(&state);
    const auto* failed = std::get_if<ExportFailed>(&state);
    if (!finished && !failed) return;
    QWidget* const window = windowOfExport();
    if (QGuiApplication::applicationState() == Qt::ApplicationActive) {
        // The keyboard stays where it is: a key meant for the code must not press a button here.
        window->raise();
        return;
    }
    QApplication::alert(window);
    const ExportOrder& order = *model_.exports().order();
    const QString name = exportTexts::nameOfResult(order.path);
    notification_->show(finished ? exportTexts::ready(order) : exportTexts::notMade(order),
                        finished ? name : tr("%1: %2").arg(name, failed->message));
}

} // namespace glasshob
