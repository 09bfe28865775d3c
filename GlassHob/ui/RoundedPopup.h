// Round corners for a small window of its own, such as a list under the caret. Where windows are composited it is
// translucent, and its corners are smooth; elsewhere translucent pixels would be black, so its corners are cut off.
// Owned by the window, whose size it follows. Main thread.
#pragma once

#include <QObject>

class QWidget;

namespace glasshob {

class RoundedPopup : public QObject {
  public:
    RoundedPopup(QWidget* window, int radius);

    // Whether the desktop composites windows; an answer serves for five seconds.
    static bool isComposited();

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    QWidget* window_;
    int radius_;
};

} // namespace glasshob
