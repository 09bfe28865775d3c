#include "GlassHob/ui/picture/TimeField.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/picture/TimeText.h"

#include <QApplication>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include <cmath>

namespace glasshob {

namespace {

constexpr int margin = 6, fieldHeight = 24;
constexpr double secondsPerPixel = 0.05, finePart = 0.1;

} // namespace

TimeField::TimeField(AppModel& model, QWidget* parent) : QLineEdit(parent), model_(model) {
    setFont(fonts::time());
    setFrame(false);
    setTextMargins(margin - 2, 0, margin - 2, 0);
    setContextMenuPolicy(Qt::NoContextMenu);
    setFocusPolicy(Qt::TabFocus); // a click decides itself
    setCursor(Qt::SizeHorCursor);
    setAccessibleName(tr("Shader time"));
    setToolTip(plainToolTip(tr("Shader time: drag to move through it, click to type it")));
    followTheme();
    connect(&Theme::instance(), &Theme::changed, this, &TimeField::followTheme);
    connect(&model_, &AppModel::clockChanged, this, &TimeField::follow);
    follow();
}

QSize TimeField::sizeHint() const {
    const QFontMetrics metrics(font());
    return {std::max(metrics.horizontalAdvance(timeText(88.8)), metrics.horizontalAdvance(timeText(model_.time()))) +
                2 * margin,
            fieldHeight};
}

void TimeField::followTheme() {
    QPalette palette = this->palette();
    palette.setColor(QPalette::Base, Qt::transparent); // the box is painted here
    palette.setColor(QPalette::Text, themed(Role::text));
    setPalette(palette);
    update();
}

void TimeField::follow() {
    setAccessibleDescription(tr("%1 seconds").arg(QString::number(model_.time(), 'f', 1)));
    if (hasFocus()) return;
    setText(timeText(model_.time()));
    setCursorPosition(0);
}

void TimeField::paintEvent(QPaintEvent* event) {
    const bool typing = hasFocus();
    if (typing || underMouse()) {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const bool refused = typing && isModified() && !typedTime(text());
        painter.setBrush(themed(typing ? Role::field : Role::control));
        painter.setPen(QPen(themed(refused ? Role::error : typing ? Role::accentText : Role::line), typing ? 2 : 1));
        const double inset = typing ? 1 : 0.5;
        painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), 4, 4);
    }
    QLineEdit::paintEvent(event);
}

void TimeField::enterEvent(QEnterEvent* event) {
    update();
    QLineEdit::enterEvent(event);
}

void TimeField::leaveEvent(QEvent* event) {
    update();
    QLineEdit::leaveEvent(event);
}

void TimeField::mousePressEvent(QMouseEvent* event) {
    if (hasFocus() || event->button() != Qt::LeftButton) {
        QLineEdit::mousePressEvent(event);
        return;
    }
    pressed_ = true;
    pressedX_ = event->globalPosition().x();
    pressedTime_ = model_.time();
}

void TimeField::mouseMoveEvent(QMouseEvent* event) {
    if (!pressed_) {
        QLineEdit::mouseMoveEvent(event);
        return;
    }
    const double way = event->globalPosition().x() - pressedX_;
    if (!scrubs_ && std::abs(way) < QApplication::startDragDistance() / 2.0) return;
    if (!scrubs_) {
        scrubs_ = true;
        wasRunning_ = !model_.paused();
        model_.setPaused(true);
    }
    const double part = event->modifiers() & Qt::ShiftModifier ? finePart : 1;
    model_.setTime(pressedTime_ + way * secondsPerPixel * part);
}

void TimeField::mouseReleaseEvent(QMouseEvent* event) {
    if (!pressed_) {
        QLineEdit::mouseReleaseEvent(event);
        return;
    }
    pressed_ = false;
    if (scrubs_)
        endScrub();
    else
        setFocus(Qt::MouseFocusReason);
}

void TimeField::endScrub() {
    scrubs_ = false;
    if (wasRunning_) model_.setPaused(false);
}

void TimeField::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        finishTyping();
        setText(timeText(model_.time()));
        selectAll();
        return;
    case Qt::Key_Escape:
        setModified(false);
        setText(timeText(model_.time()));
        clearFocus();
        return;
    default: QLineEdit::keyPressEvent(event); update();
    }
}

void TimeField::finishTyping() {
    if (!isModified()) return;
    setModified(false);
    if (const auto seconds = typedTime(text())) model_.setTime(*seconds);
}

void TimeField::focusInEvent(QFocusEvent* event) {
    QLineEdit::focusInEvent(event);
    setCursor(Qt::IBeamCursor);
    setModified(false);
    selectAll();
    update();
}

void TimeField::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    setCursor(Qt::SizeHorCursor);
    finishTyping(); // leaving the field takes what was typed, as a form does
    follow();
    update();
}

} // namespace glasshob
