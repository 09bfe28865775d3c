#include "GlassHob/ui/controls/ParameterSlider.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QAccessible>
#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr double knobRadius = 7;
constexpr double trackHeight = 4;
constexpr double knobEnd = ParameterSlider::haloRoom + knobRadius; // from the widget's end to the knob's last place
constexpr double haloHovered = 24, haloDragged = 28;
constexpr double snapDistance = 3;

bool isRedo(const QKeyEvent& key) {
    return key.key() == Qt::Key_Z && key.modifiers() == (Qt::ControlModifier | Qt::ShiftModifier);
}

} // namespace

ParameterSlider::ParameterSlider(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(&haloMotion_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        halo_ = value.toDouble();
        update();
    });
    connect(&knobMotion_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        shownFraction_ = value.toDouble();
        update();
    });
}

void ParameterSlider::setRange(float min, float max, float defaultValue) {
    min_ = min;
    max_ = max;
    default_ = defaultValue;
    moveKnob(fraction(value_), Motion::none);
    update();
}

double ParameterSlider::fraction(float value) const {
    const double part = (double(value) - min_) / (double(max_) - min_);
    return std::isfinite(part) ? std::clamp(part, 0.0, 1.0) : 0.0;
}

double ParameterSlider::knobX(double fraction) const {
    return knobEnd + fraction * (width() - 2 * knobEnd);
}

double ParameterSlider::valueAt(double x) const {
    const double part = std::clamp((x - knobEnd) / std::max(1.0, width() - 2 * knobEnd), 0.0, 1.0);
    return min_ + part * (double(max_) - min_);
}

void ParameterSlider::setValue(float value, Motion motion) {
    // A value that is there already leaves a knob that glides to it alone.
    if (value == value_ && knobMotion_.state() == QAbstractAnimation::Running) return;
    const bool isOther = value != value_;
    value_ = value;
    moveKnob(fraction(value), motion);
    update();
    if (isOther) tellScreenReaders();
}

void ParameterSlider::tellScreenReaders() {
    if (!QAccessible::isActive()) return;
    QAccessibleValueChangeEvent changed(this, double(value_));
    QAccessible::updateAccessibility(&changed);
}

void ParameterSlider::moveKnob(double fraction, Motion motion) {
    knobMotion_.stop();
    const int duration = motion == Motion::glide && isVisible() ? motionDuration(this, 160) : 0;
    if (duration == 0) {
        shownFraction_ = fraction;
        return;
    }
    knobMotion_.setDuration(duration);
    knobMotion_.setEasingCurve(QEasingCurve::OutCubic);
    knobMotion_.setStartValue(shownFraction_);
    knobMotion_.setEndValue(fraction);
    knobMotion_.start();
}

void ParameterSlider::edit(double value, Motion motion) {
    const float next = std::clamp(float(value), min_, max_);
    if (next == value_ || std::isnan(value)) return;
    value_ = next;
    moveKnob(fraction(next), motion);
    update();
    tellScreenReaders();
    emit valueEdited(next);
    emit stateChanged();
}

void ParameterSlider::haloTo(double diameter) {
    haloMotion_.stop();
    const int duration = isVisible() ? motionDuration(this, 120) : 0;
    if (duration == 0) {
        halo_ = diameter;
    } else {
        haloMotion_.setDuration(duration);
        haloMotion_.setEasingCurve(QEasingCurve::OutQuad);
        haloMotion_.setStartValue(halo_);
        haloMotion_.setEndValue(diameter);
        haloMotion_.start();
    }
    update();
    emit stateChanged();
}

void ParameterSlider::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled()) painter.setOpacity(0.4);
    const double middle = height() / 2.0, x = knobX(shownFraction_);
    painter.setPen(Qt::NoPen);

    auto bar = [&](double left, double right, Role role) {
        painter.setBrush(themed(role));
        painter.drawRoundedRect(QRectF(left, middle - trackHeight / 2, right - left, trackHeight), 2, 2);
    };
    bar(haloRoom, width() - haloRoom, Role::track);
    bar(haloRoom, x, isChanged() ? Role::accent : Role::trackFill);
    painter.setBrush(themed(Role::text3));
    painter.drawRoundedRect(QRectF(knobX(fraction(default_)) - 1, middle + trackHeight / 2 + 4.5, 2, 5), 1, 1);

    if (halo_ > 2 * knobRadius) {
        QColor halo = themed(Role::accent);
        halo.setAlphaF(0.28f);
        painter.setBrush(halo);
        painter.drawEllipse(QPointF(x, middle), halo_ / 2, halo_ / 2);
    }
    painter.setBrush(themed(Role::knob));
    painter.setPen(QPen(themed(Role::knobLine), 1));
    painter.drawEllipse(QPointF(x, middle), knobRadius - 0.5, knobRadius - 0.5);
    if (keyboardFocus_) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(themed(Role::accentText), 2));
        painter.drawEllipse(QPointF(x, middle), knobRadius + 3, knobRadius + 3);
    }
}

void ParameterSlider::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    emit editEnded();
    keyboardFocus_ = false;
    dragged_ = true;
    dragFrom_ = value_;
    dragX_ = event->position().x();
    // Taking the knob keeps its value; a press beside it jumps there.
    if (std::abs(dragX_ - knobX(fraction(value_))) <= knobRadius) {
        dragValue_ = value_;
    } else {
        dragValue_ = valueAt(dragX_);
        edit(dragValue_);
    }
    setCursor(Qt::BlankCursor);
    haloTo(haloDragged);
}

void ParameterSlider::mouseMoveEvent(QMouseEvent* event) {
    if (!dragged_) return;
    const double range = double(max_) - min_;
    const double perPixel = range / std::max(1.0, width() - 2 * knobEnd);
    const bool fine = event->modifiers() & Qt::ShiftModifier;
    dragValue_ += (event->position().x() - dragX_) * perPixel * (fine ? 0.1 : 1.0);
    dragX_ = event->position().x();
    // Back from beyond an end, the knob is under the pointer again.
    if (!fine && (dragX_ < haloRoom || dragX_ > width() - haloRoom)) dragValue_ = valueAt(dragX_);
    double value = std::clamp(dragValue_, double(min_), double(max_));
    const bool snaps = !fine && !(event->modifiers() & Qt::AltModifier);
    if (snaps && std::abs(value - default_) <= snapDistance * perPixel) value = default_;
    edit(value);
}

void ParameterSlider::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !dragged_) return;
    dragged_ = false;
    unsetCursor();
    haloTo(hovered_ ? haloHovered : 0);
    emit editEnded();
}

void ParameterSlider::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) edit(default_, Motion::glide);
}

void ParameterSlider::wheelEvent(QWheelEvent* event) {
    // Only with the focus: scrolling the list must not change values.
    if (!hasFocus()) {
        event->ignore();
        return;
    }
    const int notches = wheel_.take(*event);
    const double range = double(max_) - min_;
    if (notches) step(notches * range / (event->modifiers() & Qt::ShiftModifier ? 1000 : 100));
    event->accept();
}

bool ParameterSlider::event(QEvent* event) {
    // With the keyboard on a slider, undo is the sliders' and not the text's.
    if (event->type() == QEvent::ShortcutOverride) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->matches(QKeySequence::Undo) || isRedo(*key)) {
            event->accept();
            return true;
        }
    }
    return QWidget::event(event);
}

void ParameterSlider::keyReleaseEvent(QKeyEvent* event) {
    if (!event->isAutoRepeat()) emit editEnded();
    QWidget::keyReleaseEvent(event);
}

void ParameterSlider::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Undo)) {
        emit undoRequested();
        return;
    }
    if (isRedo(*event)) {
        emit redoRequested();
        return;
    }
    const double range = double(max_) - min_;
    const double small = range / (event->modifiers() & Qt::ShiftModifier ? 1000 : 100);
    switch (event->key()) {
    case Qt::Key_Left:
    case Qt::Key_Down: step(-small); break;
    case Qt::Key_Right:
    case Qt::Key_Up: step(small); break;
    case Qt::Key_PageDown: step(-range / 10); break;
    case Qt::Key_PageUp: step(range / 10); break;
    case Qt::Key_Home: edit(min_); break;
    case Qt::Key_End: edit(max_); break;
    case Qt::Key_Backspace: edit(default_, Motion::glide); break;
    case Qt::Key_Escape:
        // A drag is taken back; otherwise the key is the window's.
        if (dragged_) {
            dragged_ = false;
            unsetCursor();
            haloTo(hovered_ ? haloHovered : 0);
            edit(dragFrom_, Motion::glide);
            emit editEnded();
            return;
        }
        [[fallthrough]];
    default: QWidget::keyPressEvent(event); return;
    }
    keyboardFocus_ = true;
    update();
    emit stateChanged();
}

void ParameterSlider::enterEvent(QEnterEvent*) {
    hovered_ = true;
    if (!dragged_) haloTo(haloHovered);
}

void ParameterSlider::leaveEvent(QEvent*) {
    hovered_ = false;
    if (!dragged_) haloTo(0);
}

void ParameterSlider::focusInEvent(QFocusEvent* event) {
    keyboardFocus_ = event->reason() != Qt::MouseFocusReason && event->reason() != Qt::ActiveWindowFocusReason;
    update();
    emit stateChanged();
}

void ParameterSlider::focusOutEvent(QFocusEvent*) {
    emit editEnded();
    keyboardFocus_ = false;
    update();
    emit stateChanged();
}

} // namespace glasshob
