// The command that opens the one window for paging through the walkthrough; enabled for shaders with an episode's
// header. Main thread; owned by the main window.
#pragma once

#include <QObject>
#include <QPointer>

class QAction;
class QWidget;

namespace glasshob {

class AppModel;
class WalkthroughWindow;

class WalkthroughActions : public QObject {
    Q_OBJECT
  public:
    WalkthroughActions(AppModel& model, QWidget* mainWindow);
    ~WalkthroughActions() override;

    QAction* preview;
    // Null while it is closed.
    WalkthroughWindow* window() const;
    void open();
    // What the window's button for exporting does; it has none before.
    void exportBy(QAction* exportEpisode) { exportEpisode_ = exportEpisode; }

  private:
    void follow();

    AppModel& model_;
    QWidget* mainWindow_;
    QAction* exportEpisode_ = nullptr;
    QPointer<WalkthroughWindow> window_;
};

} // namespace glasshob
