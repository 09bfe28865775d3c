// The box in which a colour of the code is picked: a field of saturation and brightness, a strip of hues, and the
// numbers. The code follows at once. Arrows move in the field (Shift: further), Page Up and Page Down along the hues;
// Return closes, Escape gives the old colour back. Owned by the editor's pane; main thread.
#pragma once

#include "GlassHob/ui/editor/EditorBox.h"

#include <vector>

namespace glasshob {

class ColourPicker : public EditorBox {
    Q_OBJECT
  public:
    explicit ColourPicker(QAbstractScrollArea* editor);

    // Red, green, blue and perhaps alpha, which it leaves as it is; below `place` in the editor's viewport.
    void open(const std::vector<double>& values, const QRect& place);
    const std::vector<double>& values() const { return values_; }

  signals:
    void picked(const std::vector<double>& values);
    void closed();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    void pickAt(const QPoint& place);
    void setColour(double hue, double saturation, double value);
    void close();

    std::vector<double> values_, before_;
    double hue_ = 0, saturation_ = 0, value_ = 0; // each from 0 to 1
    bool isOnHues_ = false;                       // what is being dragged
};

} // namespace glasshob
