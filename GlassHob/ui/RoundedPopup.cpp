#include "GlassHob/ui/RoundedPopup.h"

#include "GlassHob/ui/BoxShape.h"

#include <QDeadlineTimer>
#include <QEvent>
#include <QGuiApplication>
#include <QWidget>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string_view>

namespace glasshob {

namespace {

// Asks the display server, and waits for its answer.
bool desktopIsComposited() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection) return true; // other desktops always do
    // A compositing manager owns the selection that is named after its screen.
    constexpr std::string_view name = "_NET_WM_CM_S0";
    using Atom = std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)>;
    using Owner = std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(&std::free)>;
    static const xcb_atom_t selection = [&] {
        const auto asked = xcb_intern_atom(connection, 0, std::uint16_t(name.size()), name.data());
        const Atom atom(xcb_intern_atom_reply(connection, asked, nullptr), &std::free);
        return atom ? atom->atom : xcb_atom_t(XCB_NONE);
    }();
    if (selection == XCB_NONE) return true;
    const Owner owner(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, selection), nullptr), &std::free);
    return !owner || owner->owner != XCB_NONE;
}

} // namespace

RoundedPopup::RoundedPopup(QWidget* window, int radius) : QObject(window), window_(window), radius_(radius) {
    window->setAttribute(Qt::WA_TranslucentBackground);
    window->installEventFilter(this);
}

bool RoundedPopup::isComposited() {
    static bool answer = false;
    static QDeadlineTimer staysTrue(0);
    if (staysTrue.hasExpired()) {
        answer = desktopIsComposited();
        staysTrue.setRemainingTime(5000);
    }
    return answer;
}

bool RoundedPopup::eventFilter(QObject* object, QEvent* event) {
    if (object == window_ && (event->type() == QEvent::Resize || event->type() == QEvent::Show)) {
        if (isComposited())
            window_->clearMask();
        else
            window_->setMask(roundedRegion(window_->size(), radius_));
    }
    return false;
}

} // namespace glasshob
