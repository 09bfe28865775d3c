// The commands that export a video, an episode or the sound and save a still: open the one window of each, and tell
// when an export has ended, by bringing that window forward, or with a message of the desktop where another application
// is in front. Main thread; owned by the main window.
#pragma once

#include "GlassHob/model/StartStill.h"

#include <QObject>
#include <QPointer>

class QAction;
class QWidget;

namespace glasshob {

class AppModel;
class DesktopNotification;
class EpisodeWindow;
class ExportWindow;
class StillWindow;

class ExportActions : public QObject {
    Q_OBJECT
  public:
    ExportActions(AppModel& model, QWidget* mainWindow);
    ~ExportActions() override;

    QAction *exportVideo, *exportEpisode, *saveSound;
    // This action opens the window for stills.
    void openStillBy(QAction* saveStill);
    // Null while they are closed.
    ExportWindow* window() const;
    EpisodeWindow* episodeWindow() const;
    StillWindow* stillWindow() const;
    // Tells through this one instead of the desktop's.
    void setNotification(DesktopNotification* notification);

  signals:
    // In the window of episodes: to page through the walkthrough, to choose variations.
    void previewAsked();
    void variationsAsked();
    // The person wants to see the windows.
    void wanted();

  private:
    void open();
    void openEpisode();
    bool isEpisodeExport() const;
    // The window of the export that runs, or ran last.
    QWidget* windowOfExport();
    void openStill();
    void follow();
    void tellEnd();

    AppModel& model_;
    QWidget* mainWindow_;
    StartStill still_;
    QPointer<ExportWindow> window_;
    QPointer<EpisodeWindow> episodeWindow_;
    QPointer<StillWindow> stillWindow_;
    DesktopNotification* notification_ = nullptr;
};

} // namespace glasshob
