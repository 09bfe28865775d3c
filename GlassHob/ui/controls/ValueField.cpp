#include "GlassHob/ui/controls/ValueField.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QKeyEvent>
#include <QLocale>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace glasshob {

QString valueText(float value, float min, float max) {
    if (!std::isfinite(value)) return QString::number(double(value));
    // The digits that a step of the slider can move: four of the range, never more than a float has.
    const double range = double(max) - min;
    int decimals = 6;
    if (std::isfinite(range) && range > 0) decimals = std::clamp(3 - int(std::floor(std::log10(range))), 0, 6);
    QString text = QLocale::c().toString(double(value), 'f', decimals);
    if (text.contains(u'.')) {
        while (text.endsWith(u'0'))
            text.chop(1);
        if (text.endsWith(u'.')) text.chop(1);
    }
    if (text == QLatin1String("-0")) text = QStringLiteral("0");
    text.remove(QLocale::c().groupSeparator());
    // Too wide for the field, or rounded away to nothing: the short scientific form.
    if (text.size() > 8 || (value != 0 && text == QLatin1String("0")))
        text = QLocale::c().toString(double(value), 'g', 4);
    return text;
}

std::optional<float> typedValue(const QString& text) {
    QString plain = text.trimmed();
    plain.replace(u',', u'.');
    bool ok = false;
    const float value = QLocale::c().toFloat(plain, &ok);
    if (!ok || !std::isfinite(value)) return std::nullopt;
    return value;
}

ValueField::ValueField(QWidget* parent) : QLineEdit(parent) {
    setFont(fonts::value());
    setAlignment(Qt::AlignRight);
    setFrame(false);
    setTextMargins(6, 0, 6, 0);
    setFixedSize(64, 24);
    setContextMenuPolicy(Qt::NoContextMenu);
    followTheme();
    connect(&Theme::instance(), &Theme::changed, this, &ValueField::followTheme);
}

void ValueField::followTheme() {
    QPalette palette = this->palette();
    // The box is painted here; the base class paints only the text over it.
    palette.setColor(QPalette::Base, Qt::transparent);
    palette.setColor(QPalette::Text, themed(Role::text));
    setPalette(palette);
}

void ValueField::setEdge(Edge edge) {
    if (edge == edge_) return;
    edge_ = edge;
    update();
}

void ValueField::showText(const QString& text) {
    shown_ = text + unit_;
    if (!hasFocus() || !isModified()) setText(shown_);
}

void ValueField::setUnit(const QString& unit) {
    unit_ = unit;
}

QString ValueField::withoutUnit() const {
    const QString written = text().trimmed(), sign = unit_.trimmed();
    return !sign.isEmpty() && written.endsWith(sign) ? written.chopped(sign.size()) : written;
}

void ValueField::paintEvent(QPaintEvent* event) {
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        if (!isEnabled()) painter.setOpacity(0.4);
        const bool typing = hasFocus();
        const bool refused = typing && isModified() && !text().isEmpty() && !typedValue(withoutUnit());
        painter.setBrush(themed(Role::field));
        painter.setPen(QPen(themed(refused                            ? Role::error
                                   : typing || edge_ == Edge::focused ? Role::accentText
                                   : edge_ == Edge::strong            ? Role::lineStrong
                                                                      : Role::line),
                            typing ? 2 : 1));
        const double inset = typing ? 1 : 0.5;
        painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), 4, 4);
    }
    QLineEdit::paintEvent(event);
}

void ValueField::finishTyping() {
    if (isModified()) {
        setModified(false);
        emit committed(withoutUnit());
    }
    setText(shown_);
}

void ValueField::keyPressEvent(QKeyEvent* event) {
    const double step = event->modifiers() & Qt::ShiftModifier ? 0.1 : 1;
    switch (event->key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
        finishTyping();
        emit stepped(event->key() == Qt::Key_Up ? step : -step);
        selectAll();
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        finishTyping();
        selectAll();
        return;
    case Qt::Key_Escape:
        setModified(false);
        setText(shown_);
        selectAll();
        return;
    default: QLineEdit::keyPressEvent(event);
    }
}

void ValueField::focusInEvent(QFocusEvent* event) {
    QLineEdit::focusInEvent(event);
    selectAll();
    update();
}

void ValueField::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    finishTyping(); // leaving the field takes what was typed, as a form does
    update();
}

void ValueField::wheelEvent(QWheelEvent* event) {
    // Only with the focus, as on the slider.
    if (!hasFocus()) {
        event->ignore();
        return;
    }
    const int notches = wheel_.take(*event);
    if (notches) {
        finishTyping();
        emit stepped(notches * (event->modifiers() & Qt::ShiftModifier ? 0.1 : 1));
        selectAll();
    }
    event->accept();
}

} // namespace glasshob
