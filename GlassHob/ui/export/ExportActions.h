// The commands that export a video or its sound and save a still: open the one window of each, and tell when an export
// has ended, by bringing that window forward, or with a message of the desktop where another application is in front.
// Main thread; owned by the main window.
#pragma once

#include "GlassHob/model/StartStill.h"

#include <QObject>
#include <QPointer>

class QAction;
class QWidget;

namespace glasshob {

class AppModel;
class DesktopNotification;
class ExportWindow;
class StillWindow;

class ExportActions : public QObject {
    Q_OBJECT
  public:
    ExportActions(AppModel& model, QWidget* mainWindow);
    ~ExportActions() override;

    QAction *exportVideo, *saveSound;
    // This action opens the window for stills.
    void openStillBy(QAction* saveStill);
    // Null while they are closed.
    ExportWindow* window() const;
    StillWindow* stillWindow() const;
    // Tells through this one instead of the desktop's.
    void setNotification(DesktopNotification* notification);

  signals:
    // The person wants to see the windows.
    void wanted();

  private:
    void open();
    void openStill();
    void follow();
    void tellEnd();

    AppModel& model_;
    QWidget* mainWindow_;
    StartStill still_;
    QPointer<ExportWindow> window_;
    QPointer<StillWindow> stillWindow_;
    DesktopNotification* notification_ = nullptr;
};

} // namespace glasshob
