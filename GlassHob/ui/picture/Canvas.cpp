#include "GlassHob/ui/picture/Canvas.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Icons.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/controls/WindowWatch.h"
#include "GlassHob/ui/picture/LivePicture.h"
#include "GlassHob/ui/picture/ReadBackCanvas.h"
#include "GlassHob/ui/picture/SurfaceCanvas.h"

#include <QDropEvent>
#include <QGuiApplication>
#include <QMimeData>
#include <QPainter>
#include <QScreen>
#include <QTimerEvent>
#include <QUrl>
#include <QWindow>

#include <utility>

namespace glasshob {

namespace {

constexpr QRgb placeholderStroke = 0xff5a4b47;
constexpr QRgb placeholderText = 0xffbdb2ad;

} // namespace

Canvas* Canvas::make(AppModel& model, QWidget* parent, Kind kind) {
    if (kind != Kind::readBack)
        if (Canvas* canvas = SurfaceCanvas::make(model, parent)) return canvas;
    return new ReadBackCanvas(model, parent);
}

Canvas::Canvas(AppModel& model, QWidget* parent)
    : QWidget(parent), picture_(new LivePicture(model, this)), watch_(new WindowWatch(this)) {
    setAcceptDrops(true);
    setAccessibleName(tr("Live preview"));
    connect(watch_, &WindowWatch::changed, this, &Canvas::updatePacing);
    connect(picture_, &LivePicture::hasProgramChanged, this, &Canvas::updatePacing);
    connect(picture_, &LivePicture::programSwitched, this, &Canvas::programSwitched);
    connect(picture_, &LivePicture::programSwitched, this, &Canvas::wake);
    connect(picture_, &LivePicture::drawnSizeChanged, this, &Canvas::wake);
    connect(picture_, &LivePicture::drawnSizeChanged, this, &Canvas::drawnSizeChanged);
    connect(this, &Canvas::pixelSizeChanged, this, &Canvas::drawnSizeChanged);
    connect(&model, &AppModel::clockChanged, this, &Canvas::wake);
    connect(&model, &AppModel::valueChanged, this, &Canvas::wake);
    connect(&model, &AppModel::valuesReset, this, &Canvas::wake);
    connect(&model, &AppModel::compiled, this, &Canvas::wake);
    auto describe = [this, &model] {
        switch (model.state()) {
        case AppModel::State::preparing:
            setAccessibleDescription(!model.shownProgram()              ? tr("Not running")
                                     : model.shownOwnerText().isEmpty() ? tr("Preparing")
                                                                        : model.shownOwnerText());
            break;
        case AppModel::State::live: setAccessibleDescription(model.paused() ? tr("Paused") : tr("Running")); break;
        case AppModel::State::errorWithOtherPicture: setAccessibleDescription(model.shownOwnerText()); break;
        case AppModel::State::errorWithPicture: setAccessibleDescription(tr("Showing the last good picture")); break;
        default: setAccessibleDescription(tr("Not running"));
        }
    };
    connect(&model, &AppModel::compiled, this, describe);
    connect(&model, &AppModel::preparingChanged, this, describe);
    connect(&model, &AppModel::documentChanged, this, describe);
    connect(&model, &AppModel::clockChanged, this, describe); // pause and play
    describe();
}

Canvas::~Canvas() = default;

QSize Canvas::pixelSize() const {
    const double ratio = devicePixelRatioF();
    return QSize(qRound(width() * ratio), qRound(height() * ratio));
}

void Canvas::setResolution(PreviewResolution resolution) {
    picture_->setResolution(resolution);
}

PreviewResolution Canvas::resolution() const {
    return picture_->resolution();
}

QSize Canvas::drawnSize() const {
    return picture_->drawnSize(pixelSize());
}

QSize Canvas::frameSize() const {
    return picture_->frameSize();
}

void Canvas::setActive(bool active) {
    active_ = active;
    updatePacing();
}

bool Canvas::finishes() const {
    return picture_->finishes();
}

void Canvas::updatePacing() {
    const bool draws = active_ && isVisible() && watch_->isSeen() && canDraw();
    if (draws == draws_) return;
    draws_ = draws;
    if (draws) {
        redraw();
    } else {
        turn_.stop();
        picture_->rest();
    }
    emit drawingChanged(draws);
}

std::chrono::nanoseconds Canvas::frameInterval() const {
    const QScreen* display = screen();
    return FramePace::onDisplay(display ? display->refreshRate() : 0);
}

void Canvas::redraw() {
    picture_->redraw();
    wake();
}

void Canvas::moveToScreen() {
    turn_.stop();
    redraw();
}

void Canvas::wake() {
    if (!draws_ || turn_.isActive()) return;
    pace_.begin(FramePace::Clock::now(), frameInterval());
    turn_.start(0, Qt::PreciseTimer, this); // after what has called this
}

void Canvas::timerEvent(QTimerEvent* event) {
    if (event->timerId() != turn_.timerId())
        QWidget::timerEvent(event);
    else
        takeTurn();
}

void Canvas::takeTurn() {
    turn_.start(pace_.next(FramePace::Clock::now()), Qt::PreciseTimer, this);
    announceSize(); // another screen may have another scale
    if (!picture_->hasDevice()) return;
    atRest_ = picture_->isSettled(pixelSize()) && hasShownAll();
    if (!atRest_)
        drawFrame();
    else if (picture_->model().paused())
        turn_.stop();
    else
        picture_->passTime();
}

void Canvas::announceSize() {
    if (const QSize size = pixelSize(); std::exchange(announcedSize_, size) != size) emit pixelSizeChanged();
}

void Canvas::setPointerHidden(bool hidden) {
    if (hidden)
        setCursor(Qt::BlankCursor);
    else
        unsetCursor();
}

void Canvas::capture(std::function<void(std::optional<QImage>)> done) {
    picture_->capture(pixelSize(), std::move(done));
}

void Canvas::pointerAt(const QPointF& place) {
    emit pointerActivity();
    const double ratio = devicePixelRatioF();
    picture_->setMouse(float(place.x() * ratio), float((height() - place.y()) * ratio));
    wake();
}

void Canvas::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    announceSize();
    wake();
}

void Canvas::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    QWindow* place = window()->windowHandle();
    watch_->setWindow(place);
    disconnect(screenChange_);
    // Another screen may have another scale and another rate.
    if (place) screenChange_ = connect(place, &QWindow::screenChanged, this, &Canvas::moveToScreen);
    updatePacing();
}

void Canvas::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    updatePacing();
}

void Canvas::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void Canvas::dropEvent(QDropEvent* event) {
    QStringList paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile()) paths << url.toLocalFile();
    if (!paths.isEmpty()) emit filesDropped(paths);
}

void Canvas::paintPlaceholder(QPainter& painter) const {
    painter.fillRect(rect(), themed(Role::canvas));
    // The arch over the words; a low picture has no room for it.
    constexpr double archSide = 88, words = 24, archAndWords = 120;
    const QPointF middle = QRectF(rect()).center();
    const bool hasArch = height() >= archAndWords;
    // The stroke of 2 px is measured on the screen, the path on a grid of 20.
    if (hasArch)
        paintIcon(painter, Icon::arch, QRectF(middle.x() - archSide / 2, middle.y() - 60, archSide, archSide),
                  QColor::fromRgb(placeholderStroke), 2.0 * 20 / archSide);
    painter.setFont(fonts::body());
    painter.setPen(QColor::fromRgb(placeholderText));
    painter.drawText(QRectF(0, middle.y() + (hasArch ? 36 : -words / 2), width(), words), Qt::AlignCenter,
                     tr("Nothing is running"));
}

} // namespace glasshob
