#include "GlassHob/ui/controls/BoxShape.h"

#include "GlassHob/ui/controls/Theme.h"

#include <QBitmap>

namespace glasshob {

QRegion roundedRegion(const QSize& size, double radius) {
    QBitmap bits(size);
    bits.clear();
    QPainter painter(&bits);
    painter.setBrush(Qt::color1);
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(QRectF(QPointF(0, 0), size), radius, radius);
    painter.end();
    return QRegion(bits);
}

void paintBox(QPainter& painter, const QRect& box) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(themed(Role::panel));
    painter.setPen(QPen(themed(Role::lineStrong), 1));
    painter.drawRoundedRect(QRectF(box).adjusted(0.5, 0.5, -0.5, -0.5), boxRadius, boxRadius);
}

} // namespace glasshob
