#include "GlassHob/ui/editor/ColourPicker.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QColor>
#include <QKeyEvent>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>

namespace glasshob {

namespace {

constexpr QRect fieldRect(12, 12, 200, 140);
constexpr QRect hueRect(12, 164, 200, 14);
constexpr QRect textRect(12, 186, 200, 20);
constexpr QSize boxSize(224, 214);
constexpr double smallStep = 0.01, bigStep = 0.1;

} // namespace

ColourPicker::ColourPicker(QAbstractScrollArea* editor) : EditorBox(editor) {
    setFixedSize(boxSize);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(tr("Colour"));
    setCursor(Qt::ArrowCursor);
}

void ColourPicker::open(const std::vector<double>& values, const QRect& place) {
    values_ = before_ = values;
    const QColor color = QColor::fromRgbF(float(values[0]), float(values[1]), float(values[2]));
    hue_ = std::max(0.0F, color.hsvHueF()); // a grey has none
    saturation_ = color.hsvSaturationF();
    value_ = color.valueF();
    const QRect at = inPane(place);
    const int below = at.bottom() + 4, above = at.top() - 4 - height();
    showAt(at.left(), below + height() > room().bottom() && above >= room().top() ? above : below);
    setFocus(Qt::PopupFocusReason);
}

void ColourPicker::setColour(double hue, double saturation, double value) {
    hue_ = std::clamp(hue, 0.0, 1.0);
    saturation_ = std::clamp(saturation, 0.0, 1.0);
    value_ = std::clamp(value, 0.0, 1.0);
    const QColor color = QColor::fromHsvF(float(hue_), float(saturation_), float(value_)).toRgb();
    values_[0] = color.redF();
    values_[1] = color.greenF();
    values_[2] = color.blueF();
    update();
    emit picked(values_);
}

void ColourPicker::pickAt(const QPoint& place) {
    if (isOnHues_)
        setColour((place.x() - hueRect.left()) / double(hueRect.width()), saturation_, value_);
    else
        setColour(hue_, (place.x() - fieldRect.left()) / double(fieldRect.width()),
                  1 - (place.y() - fieldRect.top()) / double(fieldRect.height()));
}

void ColourPicker::close() {
    hide();
    emit closed();
}

void ColourPicker::mousePressEvent(QMouseEvent* event) {
    isOnHues_ = event->pos().y() > fieldRect.bottom() + 4;
    if (event->pos().y() < textRect.top()) pickAt(event->pos());
}

void ColourPicker::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton) pickAt(event->pos());
}

void ColourPicker::keyPressEvent(QKeyEvent* event) {
    const double step = event->modifiers() & Qt::ShiftModifier ? bigStep : smallStep;
    switch (event->key()) {
    case Qt::Key_Left: setColour(hue_, saturation_ - step, value_); return;
    case Qt::Key_Right: setColour(hue_, saturation_ + step, value_); return;
    case Qt::Key_Up: setColour(hue_, saturation_, value_ + step); return;
    case Qt::Key_Down: setColour(hue_, saturation_, value_ - step); return;
    case Qt::Key_PageUp: setColour(hue_ + step, saturation_, value_); return;
    case Qt::Key_PageDown: setColour(hue_ - step, saturation_, value_); return;
    case Qt::Key_Escape:
        if (values_ != before_) emit picked(before_);
        close();
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter: close(); return;
    default: QWidget::keyPressEvent(event);
    }
}

void ColourPicker::focusOutEvent(QFocusEvent*) {
    hide();
}

void ColourPicker::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintGround(painter);
    painter.setPen(Qt::NoPen);

    QLinearGradient across(fieldRect.topLeft(), fieldRect.topRight());
    across.setColorAt(0, Qt::white);
    across.setColorAt(1, QColor::fromHsvF(float(hue_), 1, 1));
    painter.setBrush(across);
    painter.drawRoundedRect(fieldRect, 4, 4);
    QLinearGradient down(fieldRect.topLeft(), fieldRect.bottomLeft());
    down.setColorAt(0, QColor(0, 0, 0, 0));
    down.setColorAt(1, Qt::black);
    painter.setBrush(down);
    painter.drawRoundedRect(fieldRect, 4, 4);

    QLinearGradient hues(hueRect.topLeft(), hueRect.topRight());
    for (int i = 0; i <= 6; ++i)
        hues.setColorAt(i / 6.0, QColor::fromHsvF(float(i % 6) / 6, 1, 1));
    painter.setBrush(hues);
    painter.drawRoundedRect(hueRect, 4, 4);

    auto knob = [&](QPointF at) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(QColor(0, 0, 0, 160), 3));
        painter.drawEllipse(at, 5.5, 5.5);
        painter.setPen(QPen(Qt::white, 1.5));
        painter.drawEllipse(at, 5.5, 5.5);
    };
    knob({fieldRect.left() + saturation_ * fieldRect.width(), fieldRect.top() + (1 - value_) * fieldRect.height()});
    knob({hueRect.left() + hue_ * hueRect.width(), hueRect.center().y() + 0.5});

    const QColor color = QColor::fromRgbF(float(values_[0]), float(values_[1]), float(values_[2]));
    painter.setPen(QPen(themed(Role::lineStrong), 1));
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(textRect.left() + 0.5, textRect.top() + 2.5, 27, 15), 3, 3);
    painter.setFont(fonts::value());
    painter.setPen(themed(Role::text));
    painter.drawText(textRect.adjusted(38, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, color.name());
    if (!hasFocus()) return;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(themed(Role::accentText), 1));
    painter.drawRoundedRect(QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5), 5, 5);
}

} // namespace glasshob
