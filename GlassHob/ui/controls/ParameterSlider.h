// The track and knob of one slider, painted and driven as a whole: dragging, fine dragging with Shift, snapping to the
// default, the wheel (only with the focus), arrow keys, and the way back by double click or Backspace (or by Escape,
// while it is dragged). It holds a value in [min, max] and tells of changes by the user alone. Main thread.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

#include <QVariantAnimation>
#include <QWidget>

#include <functional>

namespace glasshob {

class ParameterSlider : public QWidget {
    Q_OBJECT
  public:
    explicit ParameterSlider(QWidget* parent);

    void setRange(float min, float max, float defaultValue);
    float minimum() const { return min_; }
    float maximum() const { return max_; }
    float defaultValue() const { return default_; }
    // The widget is this much wider than its track at either end: room for the halo of the knob.
    static constexpr int haloRoom = 8;

    float value() const { return value_; }
    bool isChanged() const { return value_ != default_; }
    // What screen readers say of a value, in place of the number with its range.
    void setSpeech(std::function<QString(float)> speech) { speech_ = std::move(speech); }
    const std::function<QString(float)>& speech() const { return speech_; }
    // Shows a value; does not emit valueEdited(). The knob may glide there, the value is set at once.
    enum class Motion { none, glide };
    void setValue(float value, Motion motion = Motion::none);
    // As the user does: tells of the change.
    void enter(double value) { edit(value); }

    QSize sizeHint() const override { return QSize(240, 28); }
    QSize minimumSizeHint() const override { return QSize(72 + 2 * haloRoom, 28); }

  signals:
    void valueEdited(float value);
    // A drag or a run of keys has ended: what follows is another change.
    void editEnded();
    void undoRequested();
    void redoRequested();
    // Pointer, drag or focus state changed: neighbours of the slider show it too.
    void stateChanged();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  public:
    bool isHovered() const { return hovered_; }
    bool isDragged() const { return dragged_; }
    bool showsKeyboardFocus() const { return keyboardFocus_; }

  private:
    double fraction(float value) const;
    double knobX(double fraction) const;
    double valueAt(double x) const;
    void edit(double value, Motion motion = Motion::none);
    void step(double amount) { edit(double(value_) + amount); }
    void haloTo(double diameter);
    void tellScreenReaders();
    void moveKnob(double fraction, Motion motion);

    float min_ = 0, max_ = 1, default_ = 0, value_ = 0;
    double shownFraction_ = 0; // where the knob is painted; glides while value_ is already there
    double halo_ = 0;
    double dragValue_ = 0; // the unsnapped value under the pointer
    double dragX_ = 0;
    std::function<QString(float)> speech_;
    float dragFrom_ = 0; // where Escape goes back to
    bool dragged_ = false;
    bool hovered_ = false;
    bool keyboardFocus_ = false;
    WheelNotches wheel_;
    QVariantAnimation haloMotion_;
    QVariantAnimation knobMotion_;
};

} // namespace glasshob
