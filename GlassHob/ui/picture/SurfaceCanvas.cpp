#include "GlassHob/ui/picture/SurfaceCanvas.h"

#include "GPU/Device.h"
#include "GPU/Presenter.h"
#include "GPU/Texture.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/BoxShape.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/picture/LivePicture.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPlatformSurfaceEvent>
#include <QPointer>
#include <QScreen>
#include <QVulkanInstance>

#include <cmath>
#include <map>
#include <memory>

namespace glasshob {

namespace {

// How long before its time a frame must be done for another to be kept in reserve.
constexpr std::chrono::milliseconds earlyEnough{2};
// Milliseconds after which a frame in flight is no longer waited for.
constexpr qint64 lostAfter = 60;

bool isWayland() {
    return QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

// Qt's view of the Vulkan instance of a device; null where the platform cannot make surfaces. Lives to the end.
QVulkanInstance* instanceOf(const gpu::Device& device) {
    static std::map<void*, QVulkanInstance*> known;
    if (QGuiApplication::platformName() != QLatin1String("xcb") && !isWayland()) return nullptr;
    void* const native = gpu::nativeInstance(device);
    QVulkanInstance*& instance = known[native];
    if (instance) return instance;
    auto made = std::make_unique<QVulkanInstance>();
    made->setVkInstance(static_cast<VkInstance>(native));
    if (made->create()) instance = made.release();
    return instance;
}

} // namespace

PictureWindow::PictureWindow(QVulkanInstance* instance) {
    setSurfaceType(QSurface::VulkanSurface);
    setVulkanInstance(instance);
    setFlag(Qt::WindowDoesNotAcceptFocus);
    // Under Wayland a window that is hidden has no surface. This comes before that is taken away.
    connect(this, &QWindow::visibleChanged, this, [this](bool isVisible) {
        if (!isVisible && isWayland()) emit surfaceGoing();
    });
}

bool PictureWindow::event(QEvent* event) {
    switch (event->type()) {
    case QEvent::PlatformSurface:
        if (static_cast<QPlatformSurfaceEvent*>(event)->surfaceEventType() ==
            QPlatformSurfaceEvent::SurfaceAboutToBeDestroyed)
            emit surfaceGoing();
        break;
    case QEvent::Hide:
        // What was made for the surface that has gone would be used for the next one: all begins anew when it is shown.
        if (isWayland()) destroy();
        break;
    case QEvent::MouseMove: emit pointerMoved(static_cast<QMouseEvent*>(event)->position()); break;
    case QEvent::MouseButtonPress:
        emit pointerMoved(static_cast<QMouseEvent*>(event)->position());
        emit pressed();
        break;
    default: break;
    }
    return QWindow::event(event);
}

void PictureWindow::exposeEvent(QExposeEvent*) {
    emit exposedChanged();
}

SurfaceCanvas* SurfaceCanvas::make(AppModel& model, QWidget* parent) {
    if (!instanceOf(*model.device())) return nullptr;
    auto* canvas = new SurfaceCanvas(model, parent);
    // A display may have an instance and yet no surface for this device: find out now, while there is another way.
    canvas->window_->create();
    if (canvas->ensurePresenter()) return canvas;
    delete canvas;
    return nullptr;
}

SurfaceCanvas::SurfaceCanvas(AppModel& model, QWidget* parent) : Canvas(model, parent) {
    makeWindow();
    connect(&picture(), &LivePicture::hasProgramChanged, this, &SurfaceCanvas::showPictureOrPlaceholder);
    connect(&picture(), &LivePicture::deviceReplaced, this, &SurfaceCanvas::moveToNewWindow);
    showPictureOrPlaceholder();
}

SurfaceCanvas::~SurfaceCanvas() {
    disconnect(window_, nullptr, this, nullptr);
    closePresenter();
    for (const auto& closing : closing_)
        if (closing->joinable()) closing->join();
}

void SurfaceCanvas::makeWindow() {
    window_ = new PictureWindow(instanceOf(*picture().model().device()));
    container_ = QWidget::createWindowContainer(window_, this);
    container_->setFocusPolicy(Qt::NoFocus);
    container_->setGeometry(rect());
    container_->hide();
    connect(window_, &PictureWindow::exposedChanged, this, [this] {
        updatePacing();
        redraw();
    });
    connect(window_, &QWindow::visibleChanged, this, &SurfaceCanvas::cutOut, Qt::QueuedConnection);
    connect(window_, &PictureWindow::surfaceGoing, this, &SurfaceCanvas::closePresenter);
    connect(window_, &PictureWindow::pointerMoved, this, [this](const QPointF& place) { pointerAt(place); });
    connect(window_, &PictureWindow::pressed, this, &Canvas::pressed);
}

// A surface belongs to one device until its presenter is closed, which waits for the frames in flight. So the old
// window stays, out of sight, until that is done elsewhere, and the new device gets a window of its own.
void SurfaceCanvas::moveToNewWindow() {
    disconnect(window_, nullptr, this, nullptr);
    if (!isWayland()) container_->hide(); // where its surface would go with it, the new one covers it
    auto closing = std::make_shared<std::jthread>(
        [this, presenter = std::exchange(presenter_, nullptr), old = container_]() mutable {
            if (presenter) presenter->close();
            presenter.reset();
            QMetaObject::invokeMethod(this, [old] { old->deleteLater(); }, Qt::QueuedConnection);
        });
    closing_.push_back(closing);
    // The whole window may go sooner, and its surfaces with it: then this is waited for after all.
    connect(window_, &PictureWindow::surfaceGoing, this, [closing] {
        if (closing->joinable()) closing->join();
    });
    ++generation_;
    inFlight_ = 0;
    makeWindow();
    window_->create();
    cutOut();
    showPictureOrPlaceholder();
}

void SurfaceCanvas::showPictureOrPlaceholder() {
    // The placeholder is this widget's own paint; the native window would hide it.
    container_->setVisible(picture().hasProgram());
    updatePacing();
    update();
}

bool SurfaceCanvas::canDraw() const {
    // Under Wayland a child of a window that comes on the screen later is not told that it is there, too.
    return container_->isVisible() && (isWayland() ? window_->isVisible() : window_->isExposed());
}

bool SurfaceCanvas::ensurePresenter() {
    if (presenter_ && !presenter_->surfaceLost()) return true;
    presenter_.reset();
    const VkSurfaceKHR surface = QVulkanInstance::surfaceForWindow(window_);
    if (!surface) return false;
    // Under Wayland the display's turn never comes while the window cannot be seen, and waiting for it has no end. Our
    // own pace holds there, and frames do not tear.
    const auto mode = isWayland() ? gpu::PresentMode::immediate : gpu::PresentMode::vsync;
    auto made = gpu::Presenter::make(picture().model().device(), {std::uint64_t(surface)}, mode);
    if (!made) return false;
    presenter_ = *made;
    presenter_->setPace(frameInterval());
    inFlight_ = 0;
    presenter_->setPresentedHandler(
        [count = frames(), self = QPointer(this), generation = generation_](const gpu::PresentedFrame& frame) {
            count->add(frame.presented);
            const bool wasEarly = frame.presented - frame.drawn > earlyEnough;
            QMetaObject::invokeMethod(
                qApp,
                [self, wasEarly, generation] {
                    if (self && self->generation_ == generation) self->framePresented(wasEarly);
                },
                Qt::QueuedConnection);
        });
    // The presenter may not have had an image yet when the last frame asked for the next.
    presenter_->setAvailableHandler([self = QPointer(this)] {
        QMetaObject::invokeMethod(
            qApp,
            [self] {
                if (self && self->isDrawing() && self->inFlight_ < 2) self->drawOneFrame();
            },
            Qt::QueuedConnection);
    });
    return true;
}

void SurfaceCanvas::moveToScreen() {
    if (presenter_) presenter_->setPace(frameInterval());
    Canvas::moveToScreen();
}

void SurfaceCanvas::closePresenter() {
    if (presenter_) presenter_->close();
    presenter_.reset();
}

void SurfaceCanvas::framePresented(bool wasEarly) {
    inFlight_ = std::max(0, inFlight_ - 1);
    if (!isDrawing()) return;
    const int wanted = wasEarly ? 2 : 1;
    while (inFlight_ < wanted && drawOneFrame()) {
    }
}

void SurfaceCanvas::drawFrame() {
    // A frame in flight calls for the next one when it is shown. One that a resize has thrown away never is.
    if (inFlight_ > 0 && (sinceFrame_.elapsed() < lostAfter || picture().isAtWork())) return;
    if (inFlight_ > 0) picture().redraw();
    if (drawOneFrame()) inFlight_ = 1;
}

bool SurfaceCanvas::drawOneFrame() {
    const QSize size = pixelSize();
    if (size.isEmpty() || picture().isSettled(size) || !canDraw() || !ensurePresenter()) return false;
    const std::shared_ptr<gpu::Drawable> drawable =
        presenter_->nextDrawable(std::uint32_t(size.width()), std::uint32_t(size.height()));
    if (!drawable) return false;
    const std::shared_ptr<gpu::CommandBuffer> commandBuffer = picture().beginFrame();
    if (!commandBuffer || !picture().encode(*commandBuffer, drawable->texture())) return false;
    commandBuffer->presentDrawable(drawable);
    picture().commit(commandBuffer);
    ++inFlight_;
    sinceFrame_.start();
    return true;
}

void SurfaceCanvas::setPointerHidden(bool hidden) {
    Canvas::setPointerHidden(hidden);
    if (hidden)
        window_->setCursor(Qt::BlankCursor);
    else
        window_->unsetCursor();
}

void SurfaceCanvas::setOverlay(const QObject* of, const Overlay& overlay) {
    const double ratio = devicePixelRatioF();
    picture().overlays().set(of,
                             {overlay.image, (QPointF(overlay.place.topLeft()) * ratio).toPoint(), overlay.opacity});
    const bool isOpaque = overlay.opacity == 1 && !overlay.image.isNull();
    const Hole hole{isOpaque ? overlay.place : QRect(), overlay.radius};
    if (std::exchange(holes_[of], hole) != hole) cutOut();
    wake();
}

void SurfaceCanvas::removeOverlay(const QObject* of) {
    picture().overlays().remove(of);
    if (holes_.erase(of) > 0) cutOut();
    wake();
}

void SurfaceCanvas::cutOut() {
    const QRegion whole(QRect(QPoint(0, 0), window_->size()));
    QRegion rest = whole;
    for (const auto& [_, hole] : holes_) {
        // A box's outermost pixels, smooth at the corners, are the frame's.
        const QRect inside = hole.place.adjusted(1, 1, -1, -1);
        if (inside.isEmpty()) continue;
        rest -= roundedRegion(inside.size(), std::max(0.0, hole.radius - 1)).translated(inside.topLeft());
    }
    window_->setMask(rest == whole ? QRegion() : rest);
}

void SurfaceCanvas::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    // Seen round the picture where its surface follows a new size a moment later.
    if (picture().hasProgram())
        painter.fillRect(rect(), themed(Role::canvas));
    else
        paintPlaceholder(painter);
}

void SurfaceCanvas::resizeEvent(QResizeEvent* event) {
    container_->setGeometry(rect());
    cutOut();
    Canvas::resizeEvent(event);
}

} // namespace glasshob
