#include "GlassHobRender/episode/Sheet.h"

#include "GlassHobRender/paint/PaintedImage.h"

namespace glasshob {

Sheet::Sheet(const EpisodeFrame& frame) : frame_(frame), image_(overlayImage(frame.width, frame.height)) {
    if (image_.isNull()) return;
    painter_.begin(&image_);
    painter_.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing | QPainter::SmoothPixmapTransform);
    painter_.scale(frame.scale(), frame.scale());
}

void Sheet::fill(const QRectF& units, const QColor& colour) {
    if (image_.isNull()) return;
    painter_.save();
    painter_.resetTransform();
    painter_.fillRect(frame_.pixels(units), colour);
    painter_.restore();
}

void Sheet::layer(double opacity, const std::function<void(Sheet&)>& paint) {
    if (image_.isNull() || opacity <= 0) return;
    if (opacity >= 1) {
        paint(*this);
        return;
    }
    Sheet above(frame_);
    paint(above);
    const QImage image = above.take();
    painter_.save();
    painter_.resetTransform();
    painter_.setOpacity(opacity);
    painter_.drawImage(0, 0, image);
    painter_.restore();
}

QImage Sheet::take() {
    if (painter_.isActive()) painter_.end();
    return std::move(image_);
}

} // namespace glasshob
