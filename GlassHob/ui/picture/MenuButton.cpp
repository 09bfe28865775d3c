#include "GlassHob/ui/picture/MenuButton.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QFontMetrics>
#include <QMenu>
#include <QPainter>
#include <QScreen>

namespace glasshob {

namespace {

constexpr int padding = 6, arrow = 12, gap = 3, buttonHeight = 24;

} // namespace

MenuButton::MenuButton(QMenu* menu, QWidget* parent) : HoverButton(parent), menu_(menu) {
    setFont(fonts::small());
    connect(this, &QAbstractButton::clicked, this, &MenuButton::open);
}

void MenuButton::open() {
    // Right edges in line; above the button where there is no room below.
    const QSize size = menu_->sizeHint();
    QPoint place = mapToGlobal(QPoint(width() - size.width(), height() + 2));
    if (place.y() + size.height() > screen()->availableGeometry().bottom())
        place = mapToGlobal(QPoint(width() - size.width(), -size.height() - 2));
    menu_->popup(place);
}

void MenuButton::show(const QString& text, const QString& name) {
    if (text == this->text()) return;
    setText(text);
    setAccessibleName(tr("%1, %2").arg(name, text));
    updateGeometry();
    update();
}

QSize MenuButton::sizeHint() const {
    return {QFontMetrics(font()).horizontalAdvance(text()) + gap + arrow + 2 * padding, buttonHeight};
}

void MenuButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (hover() > 0) {
        QColor ground = themed(Role::control);
        ground.setAlphaF(float(ground.alphaF() * hover()));
        painter.setPen(Qt::NoPen);
        painter.setBrush(ground);
        painter.drawRoundedRect(rect(), 4, 4);
    }
    const QColor ink = themed(hover() > 0 ? Role::text2 : Role::text3);
    painter.setPen(ink);
    painter.drawText(QRect(padding, 0, width(), height()), Qt::AlignLeft | Qt::AlignVCenter, text());
    paintIcon(painter, Icon::chev, QRectF(width() - padding - arrow, (height() - arrow) / 2.0 + 1, arrow, arrow), ink,
              2);
}

} // namespace glasshob
