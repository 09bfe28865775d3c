#include "GlassHob/ui/window/FullScreen.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/picture/Canvas.h"
#include "GlassHob/ui/picture/OverPicture.h"
#include "GlassHob/ui/picture/PictureActions.h"
#include "GlassHob/ui/picture/TransportBox.h"
#include "GlassHob/ui/window/SliderBox.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QAction>
#include <QApplication>
#include <QKeyEvent>
#include <QMainWindow>

#include <utility>

namespace glasshob {

namespace {

constexpr double stillSeconds = 2;
constexpr int lowerLeft = 2; // a corner of the sliders' box

} // namespace

FullScreen::FullScreen(AppModel& model, PictureActions& actions, Canvas* picture, InspectorHost* sliders,
                       QMainWindow* window)
    : QObject(window), model_(model), actions_(actions), picture_(picture), sliders_(sliders), window_(window) {
    connect(actions_.fullScreen, &QAction::triggered, this, [this] { active_ ? leave() : enter(); });
    escape_ = new QAction(tr("Leave Full Screen"), this);
    escape_->setShortcut(QKeySequence(Qt::Key_Escape));
    escape_->setEnabled(false); // the key means other things elsewhere
    connect(escape_, &QAction::triggered, this, &FullScreen::leave);
    window_->addAction(escape_);
    showSliders_ = new QAction(tr("Show sliders"), this);
    showSliders_->setCheckable(true);
    connect(showSliders_, &QAction::triggered, this, [this](bool shows) {
        sliders_->setShows(shows);
        watchSliders();
    });
    connect(sliders_, &InspectorHost::showsChanged, showSliders_, &QAction::setChecked);
    connect(picture_, &Canvas::pointerActivity, this, &FullScreen::touched);
    // A slider that was dragged would keep the boxes; a click beside them gives the keyboard back.
    connect(picture_, &Canvas::pressed, this, [this] {
        if (active_) picture_->setFocus();
    });
    connect(&model_, &AppModel::showsEditorChanged, this, &FullScreen::leave);
    connect(&model_, &AppModel::compiled, this, [this] {
        if (active_) placeSliders();
    });
    connect(&model_, &AppModel::documentChanged, this, [this] {
        if (model_.needsRun()) leave();
    });
    connect(&model_, &AppModel::deviceTroubleChanged, this, [this] {
        if (!model_.deviceTrouble().isEmpty() && !model_.shownProgram()) leave();
    });
    picture_->installEventFilter(this);
    window_->installEventFilter(this);
}

FullScreen::~FullScreen() = default;

TransportBox* FullScreen::transport() const {
    return transport_;
}

QWidget* FullScreen::showTransport() {
    touched();
    return transport_;
}

void FullScreen::enter() {
    if (active_) return;
    active_ = true;
    emit changed(true);
    window_->setWindowState(window_->windowState() | Qt::WindowFullScreen);
    showSliders_->setChecked(sliders_->shows());
    transport_ = new TransportBox(model_, actions_, showSliders_, picture_);
    transport_->installEventFilter(this);
    watchSliders();
    escape_->setEnabled(true);
    actions_.fullScreen->setChecked(true);
    picture_->setFocus();
    controlsShown_ = false;
    touched();
}

void FullScreen::leave() {
    if (!active_) return;
    stillness_->cancel();
    showControls();
    active_ = false;
    delete transport_;
    watchSliders();
    escape_->setEnabled(false);
    actions_.fullScreen->setChecked(false);
    window_->setWindowState(window_->windowState() & ~Qt::WindowFullScreen);
    emit changed(false);
}

void FullScreen::watchSliders() {
    QWidget* box = sliders_->box();
    if (box && box != watched_) {
        watched_ = box;
        box->installEventFilter(this);
    }
    if (transport_ && sliders_->box())
        transport_->setRight(sliders_->shows() && sliders_->box()->corner() == lowerLeft);
    if (sliders_->box()) sliders_->box()->setBelow(transport_ ? transport_->geometry() : QRect());
}

void FullScreen::touched() {
    if (!active_) return;
    showControls();
    stillness_->start(stillSeconds, [this] { hideControls(); });
}

void FullScreen::showControls() {
    if (std::exchange(controlsShown_, true)) return;
    picture_->setPointerHidden(false);
    if (transport_) {
        transport_->fit();
        transport_->over()->fadeIn();
    }
    placeSliders();
    watchSliders();
}

void FullScreen::placeSliders() {
    // An empty box would only cover the picture.
    const bool any = model_.program() && !model_.program()->params().empty();
    showSliders_->setEnabled(any);
    SliderBox* box = sliders_->box();
    if (!box) return;
    if (any && controlsShown_ && sliders_->shows())
        box->over()->fadeIn();
    else
        box->hide();
}

bool FullScreen::isInUse(const QWidget* box) const {
    if (!box || !box->isVisible()) return false;
    const QWidget* focus = QApplication::focusWidget();
    return box->underMouse() || (focus && box->isAncestorOf(focus));
}

void FullScreen::hideControls() {
    if (!active_) return;
    // A menu or a question that is up belongs to the boxes as well.
    if (isInUse(transport_) || isInUse(sliders_->box()) || QApplication::activePopupWidget() ||
        QApplication::activeModalWidget()) {
        stillness_->start(stillSeconds, [this] { hideControls(); });
        return;
    }
    controlsShown_ = false;
    if (transport_) transport_->over()->fadeOut();
    if (sliders_->box()) sliders_->box()->over()->fadeOut();
    picture_->setPointerHidden(true);
}

bool FullScreen::keyPressed(int key, Qt::KeyboardModifiers modifiers) {
    if (modifiers & ~(Qt::ShiftModifier | Qt::KeypadModifier)) return false;
    switch (key) {
    case Qt::Key_Space: actions_.pauseOrPlay->trigger(); break;
    case Qt::Key_Home: actions_.backToStart->trigger(); break;
    case Qt::Key_Period: actions_.stepFrame->trigger(); break;
    case Qt::Key_M: actions_.hearSound->trigger(); break;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        showControls();
        if (transport_) transport_->focusFirst();
        break;
    default: return false;
    }
    touched(); // the transport shows what the key has done
    return true;
}

bool FullScreen::eventFilter(QObject* object, QEvent* event) {
    if (!active_) return false;
    switch (event->type()) {
    case QEvent::KeyPress: {
        auto* key = static_cast<QKeyEvent*>(event);
        return object == picture_ && keyPressed(key->key(), key->modifiers());
    }
    case QEvent::Enter:
    case QEvent::Leave:
        if (object == transport_ || object == watched_) touched();
        return false;
    case QEvent::Move:
    case QEvent::Resize:
        if (object == watched_ || object == transport_) watchSliders();
        return false;
    case QEvent::WindowStateChange:
        // Left by the desktop's own means.
        if (object == window_ && window_->isVisible() && !window_->isFullScreen() && !window_->isMinimized()) leave();
        return false;
    default: return false;
    }
}

} // namespace glasshob
