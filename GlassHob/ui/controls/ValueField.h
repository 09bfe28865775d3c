// The small field with a slider's value, and how values are written and read. Main thread.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

#include <QLineEdit>

#include <optional>

namespace glasshob {

// A value as a person writes it: the shortest text, with at most four significant digits of a range under 100. The
// decimal sign is a point, whatever the desktop's language.
QString valueText(float value, float min, float max);

// What a person typed, with a point or a comma; nothing when it is no finite number.
std::optional<float> typedValue(const QString& text);

// The small field with the value; Return commits, Escape restores, the arrow keys step. What is no number is shown as
// refused while it stands there, and is never taken.
class ValueField : public QLineEdit {
    Q_OBJECT
  public:
    explicit ValueField(QWidget* parent);
    enum class Edge { quiet, strong, focused };
    void setEdge(Edge edge);
    void showText(const QString& text);
    // Stands behind the number, " %", and may be left away by who types; committed() has none.
    void setUnit(const QString& unit);

  signals:
    void committed(const QString& text);
    // An arrow key, up or down, or the wheel: so many steps of the slider.
    void stepped(double hundredths);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

  private:
    void followTheme();
    void finishTyping();
    QString withoutUnit() const;

    WheelNotches wheel_;
    Edge edge_ = Edge::quiet;
    QString unit_;
    QString shown_;
};

} // namespace glasshob
