#include "GlassHobRender/paint/PaintedImage.h"

#include "GPU/Device.h"
#include "GPU/Texture.h"

#include <QPainter>

#include <algorithm>

namespace glasshob {

QImage overlayImage(int width, int height) {
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

std::shared_ptr<gpu::Texture> textureOf(const QImage& image, gpu::Device& device) {
    const QImage premultiplied = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (premultiplied.isNull()) return nullptr;
    const auto width = std::uint32_t(premultiplied.width()), height = std::uint32_t(premultiplied.height());
    const auto made = device.makeTexture(
        {.width = width, .height = height, .storage = gpu::StorageMode::shared, .usage = {.shaderRead = true}});
    if (!made) return nullptr;
    const auto filled =
        (*made)->replace({0, 0, width, height}, premultiplied.constBits(), std::size_t(premultiplied.bytesPerLine()));
    return filled ? *made : nullptr;
}

QRect paintedBounds(const QImage& image) {
    int left = image.width(), right = -1, top = -1, bottom = -1;
    const auto isPainted = [](QRgb pixel) { return pixel != 0; };
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        const auto* end = row + image.width();
        const auto* first = std::find_if(row, end, isPainted);
        if (first == end) continue;
        if (top < 0) top = y;
        bottom = y;
        left = std::min(left, int(first - row));
        // What is left of the right edge is inside already.
        const auto* last = end;
        while (last - row - 1 > right && !isPainted(last[-1]))
            --last;
        right = std::max(right, int(last - row) - 1);
    }
    return top < 0 ? QRect() : QRect(QPoint(left, top), QPoint(right, bottom));
}

void paintPanel(QPainter& painter, const QRectF& box, const PanelLook& look) {
    const double inset = look.edgeWidth / 2;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(look.fill);
    painter.setPen(QPen(look.edge, look.edgeWidth));
    painter.drawRoundedRect(box.adjusted(inset, inset, -inset, -inset), look.radius, look.radius);
}

} // namespace glasshob
