#include "GlassHob/ui/controls/WindowWatch.h"

#include <QEvent>
#include <QGuiApplication>
#include <QWindow>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace glasshob {

namespace {

// Asks the X server to tell when the window is covered, beside what Qt asks for.
bool askForVisibility(WId window) {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection) return false;
    const auto id = xcb_window_t(window);
    const std::unique_ptr<xcb_get_window_attributes_reply_t, decltype(&std::free)> present(
        xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, id), nullptr), &std::free);
    if (!present) return false;
    const std::uint32_t mask = present->your_event_mask | XCB_EVENT_MASK_VISIBILITY_CHANGE;
    xcb_change_window_attributes(connection, id, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(connection);
    return true;
}

} // namespace

WindowWatch::WindowWatch(QObject* parent) : QObject(parent) {}

WindowWatch::~WindowWatch() = default; // the filter takes itself out

void WindowWatch::setWindow(QWindow* window) {
    if (window == window_) return;
    if (window_) window_->removeEventFilter(this);
    window_ = window;
    setCovered(false);
    if (!window_) return;
    window_->installEventFilter(this);
    if (askForVisibility(window_->winId()) && !filters_) {
        filters_ = true;
        qGuiApp->installNativeEventFilter(this);
    }
}

bool WindowWatch::isSeen() const {
    return window_ && window_->isExposed() && !covered_;
}

void WindowWatch::setCovered(bool covered) {
    if (covered == covered_) return;
    covered_ = covered;
    emit changed();
}

bool WindowWatch::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
    if (type != "xcb_generic_event_t" || !window_ || !window_->handle()) return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != XCB_VISIBILITY_NOTIFY) return false;
    const auto* told = static_cast<const xcb_visibility_notify_event_t*>(message);
    if (told->window == window_->winId()) setCovered(told->state == XCB_VISIBILITY_FULLY_OBSCURED);
    return false;
}

bool WindowWatch::eventFilter(QObject*, QEvent* event) {
    if (event->type() == QEvent::Expose) {
        // A window that was taken off the screen is told nothing more; it comes back uncovered or is told.
        if (window_ && !window_->isExposed()) covered_ = false;
        // The window itself hears of it after this filter.
        QMetaObject::invokeMethod(this, &WindowWatch::changed, Qt::QueuedConnection);
    }
    return false;
}

} // namespace glasshob
