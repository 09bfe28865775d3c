#include "GlassHob/ui/controls/DesktopNotification.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/text/Text.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

namespace glasshob {

namespace {

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString pressedAction = QStringLiteral("default");
constexpr int desktopsOwnTime = -1;

} // namespace

DesktopNotification::DesktopNotification(QObject* parent, const QDBusConnection& bus) : QObject(parent), bus_(bus) {}

void DesktopNotification::show(const QString& summary, const QString& body) {
    if (!bus_.isConnected()) return;
    if (!listens_)
        listens_ = bus_.connect(service, path, service, QStringLiteral("ActionInvoked"), this,
                                SLOT(actionInvoked(uint, QString)));
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    const QString id = asQString(Identity::applicationId);
    // Desktops read the text as a kind of HTML.
    call << asQString(Identity::applicationName) << id_ << id << summary << body.toHtmlEscaped()
         << QStringList{pressedAction, tr("Show")} << QVariantMap{{QStringLiteral("desktop-entry"), id}}
         << desktopsOwnTime;
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* finished) {
        if (const QDBusPendingReply<uint> reply = *finished; reply.isValid()) id_ = reply.value();
        finished->deleteLater();
    });
}

void DesktopNotification::actionInvoked(uint id, const QString& action) {
    if (id != 0 && id == id_ && action == pressedAction) emit pressed();
}

} // namespace glasshob
