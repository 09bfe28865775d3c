// The time of the picture as a figure that can be changed: dragged sideways it scrubs, clicked it is typed. It looks
// like text until the pointer or the keyboard is on it. Main thread; owned by its parent.
#pragma once

#include <QLineEdit>

namespace glasshob {

class AppModel;

class TimeField : public QLineEdit {
    Q_OBJECT
  public:
    TimeField(AppModel& model, QWidget* parent);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    void follow();
    void followTheme();
    void finishTyping();
    void endScrub();

    AppModel& model_;
    bool pressed_ = false, scrubs_ = false, wasRunning_ = false;
    double pressedX_ = 0, pressedTime_ = 0;
};

} // namespace glasshob
