#include "GlassHob/ui/picture/PictureActions.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/SoundPlayer.h"
#include "GlassHob/ui/picture/Canvas.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QAction>
#include <QActionGroup>
#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMenu>
#include <QPointer>
#include <QSettings>
#include <QWidget>

#include <algorithm>
#include <utility>

namespace glasshob {

namespace {

constexpr double loopLength = 10; // seconds, of a loop with one end chosen
constexpr auto resolutionKey = "picture/resolution";

} // namespace

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
    loop = action(tr("&Loop"), tr("Ctrl+L"), [this](bool on) { setLoops(on); });
    loopFromHere = action(tr("Loop &from Here"), tr("Ctrl+Alt+["), [this] {
        const double now = model_.time();
        const auto& known = model_.loop();
        model_.setLoop(TimeStretch{now, known && known->end > now ? known->end : now + loopLength});
    });
    loopToHere = action(tr("Loop &up to Here"), tr("Ctrl+Alt+]"), [this] {
        const double now = model_.time();
        const auto& known = model_.loop();
        model_.setLoop(TimeStretch{known && known->start < now ? known->start : std::max(0.0, now - loopLength), now});
    });
    loop->setCheckable(true);
    makeTime();
    makeResolutions();
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

PictureActions::~PictureActions() = default;

void PictureActions::makeTime() {
    speedMenu_ = std::make_unique<QMenu>(tr("Spee&d"));
    auto* speeds = new QActionGroup(this);
    const std::pair<QString, double> rows[] = {{tr("&Half"), 0.5}, {tr("&Normal"), 1.0}, {tr("&Double"), 2.0}};
    for (const auto& [title, speed] : rows) {
        QAction* choice = speedMenu_->addAction(title, this, [this, speed] { model_.setSpeed(speed); });
        choice->setCheckable(true);
        speeds->addAction(choice);
        const auto mark = [this, choice, speed] { choice->setChecked(model_.clock().speed() == speed); };
        connect(&model_, &AppModel::clockChanged, choice, mark);
        mark();
    }
}

void PictureActions::setLoops(bool loops) {
    if (!loops)
        model_.setLoop(std::nullopt);
    else if (!model_.loop())
        model_.setLoop(lastLoop_.value_or(TimeStretch{model_.time(), model_.time() + loopLength}));
}

void PictureActions::makeResolutions() {
    resolutionMenu_ = std::make_unique<QMenu>(tr("Preview &Resolution"));
    auto* choices = new QActionGroup(this);
    for (const PreviewResolution resolution : previewResolutions) {
        QAction* choice = resolutionMenu_->addAction(u'&' + titleOf(resolution), this,
                                                     [this, resolution] { chooseResolution(resolution); });
        choice->setCheckable(true);
        choice->setData(rawValue(resolution));
        choices->addAction(choice);
    }
}

void PictureActions::chooseResolution(PreviewResolution resolution) {
    QSettings().setValue(resolutionKey, rawValue(resolution));
    for (QAction* choice : resolutionMenu_->actions())
        choice->setChecked(choice->data() == rawValue(resolution));
    if (canvas_) canvas_->setResolution(resolution);
}

void PictureActions::setCanvas(Canvas* canvas) {
    canvas_ = canvas;
    chooseResolution(previewResolution(QSettings().value(resolutionKey).toString()));
    connect(canvas, &Canvas::drawingChanged, sound_, &SoundPlayer::setPictureDrawn);
}

void PictureActions::follow() {
    const bool runs = model_.program() != nullptr && !model_.needsRun();
    for (QAction* action : {pauseOrPlay, backToStart, saveStill, copyPicture})
        action->setEnabled(runs);
    stepFrame->setEnabled(runs && model_.paused());
    for (QAction* action : {loop, loopFromHere, loopToHere})
        action->setEnabled(runs);
    loop->setChecked(model_.loop().has_value());
    if (model_.loop()) lastLoop_ = model_.loop();
    hearSound->setEnabled(runs && model_.program()->soundPipeline() != nullptr);
}

void PictureActions::addTransportTo(QMenu* menu) const {
    menu->addActions({pauseOrPlay, backToStart, stepFrame, hearSound});
    menu->addSeparator();
    menu->addActions({loop, loopFromHere, loopToHere});
    menu->addMenu(speedMenu_.get());
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
