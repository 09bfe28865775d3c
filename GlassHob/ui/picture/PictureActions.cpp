#include "GlassHob/ui/picture/PictureActions.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/SoundPlayer.h"
#include "GlassHob/ui/picture/Canvas.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMenu>
#include <QPointer>
#include <QWidget>

namespace glasshob {

PictureActions::PictureActions(AppModel& model, QWidget* window)
    : QObject(window), model_(model), sound_(new SoundPlayer(model, openDesktopSound, this)) {
    auto action = [this, window](const QString& text, const QString& keys, auto&& run) {
        auto* made = new QAction(text, this);
        made->setShortcut(QKeySequence(keys));
        connect(made, &QAction::triggered, this, std::forward<decltype(run)>(run));
        window->addAction(made);
        return made;
    };
    pauseOrPlay = action(tr("&Pause or Play"), tr("Ctrl+."), [this] { model_.setPaused(!model_.paused()); });
    backToStart = action(tr("&Back to Start"), tr("Ctrl+Shift+."), [this] { model_.backToStart(); });
    stepFrame = action(tr("&One Frame Further"), tr("Ctrl+Alt+."), [this] { model_.stepFrame(); });
    hearSound = action(tr("&Hear the Sound"), tr("Ctrl+M"), [this](bool on) { sound_->setOn(on); });
    fullScreen = action(tr("&Full Screen"), tr("F11"), [] {});
    saveStill = action(tr("Save S&till…"), tr("Ctrl+Shift+I"), [this] { model_.saveStill(); });
    copyPicture = action(tr("&Copy Picture"), tr("Ctrl+Shift+C"), [this] { copy(); });
    hearSound->setCheckable(true);
    fullScreen->setCheckable(true);
    connect(sound_, &SoundPlayer::onChanged, hearSound, &QAction::setChecked);
    connect(sound_, &SoundPlayer::failed, this,
            [this](const QString& sentence) { model_.questions().warn(tr("The sound can't be played"), sentence); });
    connect(&model_, &AppModel::compiled, this, &PictureActions::follow);
    connect(&model_, &AppModel::documentChanged, this, &PictureActions::follow);
    connect(&model_, &AppModel::clockChanged, this, &PictureActions::follow);
    connect(&model_, &AppModel::deviceTroubleChanged, this, &PictureActions::follow);
    follow();
}

void PictureActions::setCanvas(Canvas* canvas) {
    canvas_ = canvas;
    connect(canvas, &Canvas::drawingChanged, sound_, &SoundPlayer::setPictureDrawn);
}

void PictureActions::follow() {
    const bool runs = model_.program() != nullptr && !model_.needsRun();
    for (QAction* action : {pauseOrPlay, backToStart, saveStill, copyPicture})
        action->setEnabled(runs);
    stepFrame->setEnabled(runs && model_.paused());
    hearSound->setEnabled(runs && model_.program()->soundPipeline() != nullptr);
}

void PictureActions::addTransportTo(QMenu* menu) const {
    menu->addActions({pauseOrPlay, backToStart, stepFrame, hearSound});
}

void PictureActions::addPicturesTo(QMenu* menu) const {
    menu->addActions({saveStill, copyPicture});
}

void PictureActions::copy() {
    if (!canvas_) return;
    canvas_->capture([self = QPointer(this)](std::optional<QImage> image) {
        if (image) QGuiApplication::clipboard()->setImage(*image);
        if (self)
            emit self->told(
                image ? tr("The picture is on the clipboard, %1 × %2 pixels.").arg(image->width()).arg(image->height())
                      : tr("The picture could not be copied. Try again when it is running."));
    });
}

} // namespace glasshob
