// Decides which banner shows, from the model: at most one across the window (a shader that waits to be read, trouble
// with the graphics device), and a line over the editor for edits that were found at the start.
// Owned by the window; main thread.
#pragma once

#include <QObject>

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

  private:
    void follow();

    AppModel& model_;
    Banner* tall_;
    Banner* line_;
    QString dismissed_; // the trouble whose message was closed
};

} // namespace glasshob
