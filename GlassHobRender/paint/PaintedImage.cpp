#include "GlassHobRender/paint/PaintedImage.h"

#include "GPU/Device.h"
#include "GPU/Texture.h"

#include <QPainter>

#include <algorithm>
#include <memory>

#include <sys/mman.h>

namespace glasshob {

namespace {

// Pages of memory of an image's own, which are zero at first and go back when it does.
struct OwnPages {
    void* bytes;
    std::size_t size;
};

void giveBack(void* own) {
    const std::unique_ptr<OwnPages> pages(static_cast<OwnPages*>(own));
    munmap(pages->bytes, pages->size);
}

} // namespace

QImage overlayImage(int width, int height) {
    constexpr auto format = QImage::Format_ARGB32_Premultiplied;
    const std::size_t stride = std::size_t(std::max(width, 0)) * sizeof(QRgb);
    const std::size_t size = stride * std::size_t(std::max(height, 0));
    if (size == 0) return {};
    void* bytes = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (bytes == MAP_FAILED) return {};
    return {static_cast<uchar*>(bytes), width, height, qsizetype(stride), format, giveBack, new OwnPages{bytes, size}};
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

QRect paintedBounds(const QImage& image, const QRect& within) {
    const QRect box = within & image.rect();
    int left = image.width(), right = -1, top = -1, bottom = -1;
    const auto isPainted = [](QRgb pixel) { return pixel != 0; };
    for (int y = box.top(); y <= box.bottom(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        const auto *row = line + box.left(), *end = row + box.width();
        const auto* first = std::find_if(row, end, isPainted);
        if (first == end) continue;
        if (top < 0) top = y;
        bottom = y;
        left = std::min(left, int(first - line));
        // What is left of the right edge is inside already.
        const auto* last = end;
        while (last - line - 1 > right && !isPainted(last[-1]))
            --last;
        right = std::max(right, int(last - line) - 1);
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
