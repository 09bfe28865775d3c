// Decides which banner shows, from the model. Across the window, while nothing runs: a shader that waits to be read, or
// a graphics device that was lost. In a line over the editor, since the picture keeps its size: a frame that takes very
// long, edits that were found at the start, or a newer release of the program.
// Owned by the window; main thread.
#pragma once

#include <QObject>
#include <QString>

class QAction;
class QWidget;

namespace glasshob {

class AppModel;
class Banner;

class Banners : public QObject {
    Q_OBJECT
  public:
    // The two banners are made without a place; the window lays them out.
    Banners(AppModel& model, QWidget* window);
    Banner* acrossWindow() const { return tall_; }
    Banner* overEditor() const { return line_; }
    // "Run", for the menu: there only while a shader waits.
    QAction* runAction() const { return run_; }
    // Tells of a newer release again, although its message was closed.
    void showUpdate();

  private:
    void follow();
    void followAcrossWindow();
    void followOverEditor();

    AppModel& model_;
    Banner* tall_;
    Banner* line_;
    QAction* run_;
    // What each tells now, so that it is told once.
    enum class Telling { nothing, waitsForRun, deviceLost, slowFrame, draft, update };
    Telling inTall_ = Telling::nothing, inLine_ = Telling::nothing;
    QString toldDraft_, toldUpdate_;
    bool closedTrouble_ = false, closedDraft_ = false, closedUpdate_ = false;
};

} // namespace glasshob
