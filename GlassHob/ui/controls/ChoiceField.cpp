#include "GlassHob/ui/controls/ChoiceField.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QKeyEvent>
#include <QMenu>
#include <QPainter>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int padding = 10;
constexpr int iconSide = 16;

} // namespace

ChoiceField::ChoiceField(const QString& name, const QStringList& choices, const QStringList& details, QWidget* parent)
    : HoverButton(parent), choices_(choices), details_(details) {
    setAccessibleName(name);
    setFont(fonts::body());
    setFixedHeight(32);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(this, &QAbstractButton::clicked, this, &ChoiceField::open);
    setCurrent(0);
}

void ChoiceField::setCurrent(int current, const QString& text) {
    current_ = current;
    setText(current >= 0 && current < choices_.size() ? choices_[current] : text);
    setAccessibleDescription(this->text());
    update();
}

void ChoiceField::choose(int index) {
    if (index == current_) return;
    setCurrent(index);
    emit chosen(index);
}

void ChoiceField::open() {
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setMinimumWidth(width());
    for (int i = 0; i < choices_.size(); ++i) {
        const QString detail = details_.value(i);
        QAction* action =
            menu->addAction(detail.isEmpty() ? choices_[i] : QStringLiteral("%1 · %2").arg(choices_[i], detail));
        action->setCheckable(true);
        action->setChecked(i == current_);
        connect(action, &QAction::triggered, this, [this, i] { choose(i); });
        if (i == current_) menu->setActiveAction(action);
    }
    menu->popup(mapToGlobal(QPoint(0, height() + 4)));
}

void ChoiceField::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Up: choose(std::max(current_ - 1, 0)); return;
    case Qt::Key_Down: choose(std::min(current_ + 1, int(choices_.size()) - 1)); return;
    default: HoverButton::keyPressEvent(event);
    }
}

void ChoiceField::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(themed(!isEnabled()    ? Role::field
                            : isDown()      ? Role::controlPressed
                            : hover() > 0.5 ? Role::controlHover
                                            : Role::control));
    painter.setPen(QPen(themed(Role::lineStrong), 1));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    painter.setPen(themed(isEnabled() ? Role::text : Role::disabled));
    const QRect box(padding, 0, width() - 2 * padding - iconSide, height());
    painter.drawText(box, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), Qt::ElideRight, box.width()));
    paintIcon(painter, Icon::chev,
              QRectF(width() - padding - iconSide, (height() - iconSide) / 2.0, iconSide, iconSide),
              themed(isEnabled() ? Role::text2 : Role::disabled));
}

} // namespace glasshob
