#include "GlassHob/ui/controls/BoxShape.h"

#include "GlassHob/ui/controls/Theme.h"
#include "GlassHobRender/paint/PaintedImage.h"

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
    paintPanel(painter, box, {.fill = themed(Role::panel), .edge = themed(Role::lineStrong), .radius = boxRadius});
}

} // namespace glasshob
