#include "GlassHob/ui/MessageTip.h"

#include "GlassHob/ui/Fonts.h"
#include "GlassHob/ui/RoundedPopup.h"
#include "GlassHob/ui/SeverityLook.h"
#include "GlassHob/ui/Theme.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

namespace glasshob {

namespace {

constexpr int paddingX = 12, paddingY = 8, iconSize = 16, iconGap = 8, entryGap = 8, widest = 420;

} // namespace

MessageTip::MessageTip(QWidget* owner) : QWidget(owner, Qt::ToolTip | Qt::FramelessWindowHint) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    new RoundedPopup(this, 6);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFont(fonts::tooltip());
}

void MessageTip::showFor(const std::vector<Diagnostic>& messages, const QRect& line, int x) {
    entries_.clear();
    if (messages.empty()) {
        hide();
        return;
    }
    const int textLeft = paddingX + iconSize + iconGap;
    const int room = widest - textLeft - paddingX;
    int y = paddingY, width = 0;
    for (const Diagnostic& message : messages) {
        const QString text = QString::fromStdString(message.message);
        QRect place = fontMetrics().boundingRect(QRect(0, 0, room, 4000), Qt::AlignLeft | Qt::TextWordWrap, text);
        place.moveTopLeft(QPoint(textLeft, y));
        place.setHeight(std::max(place.height(), 18));
        width = std::max(width, place.width());
        y += place.height() + entryGap;
        entries_.push_back({message.severity, text, place});
    }
    resize(textLeft + width + paddingX + 1, y - entryGap + paddingY);
    for (Entry& entry : entries_)
        entry.place.setWidth(width + 1);

    QPoint corner(x, line.bottom() + 4);
    if (const QScreen* screen = QGuiApplication::screenAt(line.center())) {
        const QRect area = screen->availableGeometry();
        if (corner.y() + height() > area.bottom()) corner.setY(line.top() - 4 - height());
        corner.setX(std::clamp(corner.x(), area.left(), std::max(area.left(), area.right() - this->width())));
    }
    move(corner);
    show();
    raise();
    update();
}

void MessageTip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(themed(Role::tooltip));
    painter.setPen(themed(Role::lineStrong));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    for (const Entry& entry : entries_) {
        paintIcon(painter, severityIcon(entry.severity), QRectF(paddingX, entry.place.top() + 1, iconSize, iconSize),
                  themed(severityRole(entry.severity)));
        painter.setPen(themed(Role::text));
        painter.drawText(entry.place, Qt::AlignLeft | Qt::TextWordWrap, entry.text);
    }
}

} // namespace glasshob
