// The transport over the picture while it fills the screen: back to start, play, one frame, the time and the frame
// rate, sound, still, sliders, leave. It lies in the lower left corner of the picture, or the right one while something
// else lies there. Main thread; owned by the window.
#pragma once

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/picture/Canvas.h"

#include <QPointer>

class QAction;

namespace glasshob {

class AppModel;
class OverPicture;
class PictureActions;

class TransportBox : public QWidget {
    Q_OBJECT
  public:
    TransportBox(AppModel& model, const PictureActions& actions, QAction* showSliders, Canvas* picture);
    // The lower right corner instead of the left one.
    void setRight(bool right);
    void fit();
    void focusFirst();
    // How it comes and goes.
    OverPicture* over() const { return over_; }

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    void followClock();

    AppModel& model_;
    OverPicture* over_;
    QPointer<QWidget> picture_;
    ToolButton *start_, *play_;
    TextLine *time_, *rate_;
    bool right_ = false;
};

} // namespace glasshob
