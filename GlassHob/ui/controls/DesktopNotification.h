// A message that the desktop shows over whatever is in front, through org.freedesktop.Notifications. Where no desktop
// listens nothing happens. A newer message takes the place of the one before. Main thread.
#pragma once

#include <QDBusConnection>
#include <QObject>

namespace glasshob {

class DesktopNotification : public QObject {
    Q_OBJECT
  public:
    explicit DesktopNotification(QObject* parent, const QDBusConnection& bus = QDBusConnection::sessionBus());

    void show(const QString& summary, const QString& body);

  signals:
    // The person has pressed the message.
    void pressed();

  private slots:
    void actionInvoked(uint id, const QString& action);

  private:
    QDBusConnection bus_;
    uint id_ = 0; // that of the last message; 0 before the first
    bool listens_ = false;
};

} // namespace glasshob
