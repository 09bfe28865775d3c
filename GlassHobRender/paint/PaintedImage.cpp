#include "GlassHobRender/paint/PaintedImage.h"

#include "GPU/Device.h"
#include "GPU/Texture.h"

#include <QPainter>

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

void paintPanel(QPainter& painter, const QRectF& box, const PanelLook& look) {
    const double inset = look.edgeWidth / 2;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(look.fill);
    painter.setPen(QPen(look.edge, look.edgeWidth));
    painter.drawRoundedRect(box.adjusted(inset, inset, -inset, -inset), look.radius, look.radius);
}

} // namespace glasshob
