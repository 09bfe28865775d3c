#include "GlassHob/ui/controls/Segments.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QAccessible>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QPainter>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int fieldHeight = 28, inset = 2, padding = 12;

} // namespace

Segments::Segments(const QString& name, QStringList choices, QWidget* parent)
    : QWidget(parent), choices_(std::move(choices)) {
    setFont(fonts::label());
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAccessibleName(name);
    setAccessibleDescription(choices_.value(current_));
    connect(&Theme::instance(), &Theme::changed, this, QOverload<>::of(&QWidget::update));
}

QSize Segments::sizeHint() const {
    int wide = 2 * inset;
    for (const QString& choice : choices_)
        wide += QFontMetrics(font()).horizontalAdvance(choice) + 2 * padding;
    return {wide, fieldHeight};
}

QRect Segments::box(int index) const {
    int left = inset;
    for (int i = 0; i < index; ++i)
        left += QFontMetrics(font()).horizontalAdvance(choices_[i]) + 2 * padding;
    return {left, inset, QFontMetrics(font()).horizontalAdvance(choices_[index]) + 2 * padding, height() - 2 * inset};
}

void Segments::setCurrent(int current) {
    current = std::clamp(current, 0, int(choices_.size()) - 1);
    if (current == current_) return;
    current_ = current;
    setAccessibleDescription(choices_[current]);
    QAccessibleEvent changed(this, QAccessible::DescriptionChanged);
    QAccessible::updateAccessibility(&changed);
    update();
    emit chosen(current);
}

bool Segments::event(QEvent* event) {
    // These keys are its own while it has the keyboard, whatever else they do in the window.
    if (event->type() == QEvent::ShortcutOverride) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->modifiers() == Qt::NoModifier && (key->key() == Qt::Key_Left || key->key() == Qt::Key_Right))
            event->accept();
    }
    return QWidget::event(event);
}

void Segments::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Left)
        setCurrent(current_ - 1);
    else if (event->key() == Qt::Key_Right)
        setCurrent(current_ + 1);
    else
        QWidget::keyPressEvent(event);
}

void Segments::mousePressEvent(QMouseEvent* event) {
    for (int i = 0; i < choices_.size(); ++i)
        if (event->button() == Qt::LeftButton && box(i).contains(event->position().toPoint())) setCurrent(i);
}

void Segments::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(themed(Role::lineStrong));
    painter.setBrush(themed(Role::field));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    for (int i = 0; i < choices_.size(); ++i) {
        if (i == current_) {
            painter.setPen(themed(Role::lineStrong));
            painter.setBrush(themed(Role::control));
            painter.drawRoundedRect(QRectF(box(i)).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
        }
        painter.setPen(themed(!isEnabled() ? Role::disabled : i == current_ ? Role::text : Role::text2));
        painter.drawText(box(i), Qt::AlignCenter, choices_[i]);
    }
}

} // namespace glasshob
