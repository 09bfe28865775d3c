// A line of shader time from 0 on, with the moment of the picture as its knob and the stretch that is repeated between
// two flags above it. Knob and flags are dragged; a click beside them takes the picture there. The line grows as time
// passes its end. Main thread; owned by its parent.
#pragma once

#include "GlassHob/model/PreviewClock.h"

#include <QWidget>

#include <optional>

namespace glasshob {

class TimeTrack : public QWidget {
    Q_OBJECT
  public:
    explicit TimeTrack(QWidget* parent);
    void setTime(double seconds);
    void setLoop(std::optional<TimeStretch> loop);
    // Seconds at its right end: the least of a row of round figures that holds the time and the loop.
    double length() const { return length_; }
    static double lengthFor(double seconds);

    QSize sizeHint() const override { return {160, 28}; }
    QSize minimumSizeHint() const override { return {60, 28}; }

  signals:
    void timeEdited(double seconds);
    void loopEdited(const TimeStretch& loop);
    // The knob is held, or released.
    void held(bool isHeld);
    void lengthChanged();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    enum class Part { none, knob, loopStart, loopEnd };
    double xOf(double seconds) const;
    double timeAt(double x) const;
    Part partAt(const QPointF& place) const;
    void fitLength();
    void dragTo(double x);

    double time_ = 0;
    std::optional<TimeStretch> loop_;
    double length_;
    Part dragged_ = Part::none;
    Part hovered_ = Part::none;
    bool keyboardFocus_ = false;
};

} // namespace glasshob
