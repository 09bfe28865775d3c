#include "GlassHob/ui/controls/DialogPicture.h"

#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QPainter>

namespace glasshob {

DialogPicture::DialogPicture(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFixedSize(dialogWidth, wholeHeight);
}

void DialogPicture::setImage(const QImage& image) {
    if (image.isNull()) return;
    image_ = image;
    scaled_ = {};
    update();
}

void DialogPicture::clear() {
    image_ = scaled_ = {};
    update();
}

void DialogPicture::setCropped(bool cropped) {
    cropped_ = cropped;
    update();
}

// Every pixel of the frame counts, so that small text stays readable.
const QImage& DialogPicture::scaledTo(QSize pixels) {
    if (scaled_.size() != pixels) scaled_ = image_.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return scaled_;
}

void DialogPicture::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), themed(Role::canvas));
    if (image_.isNull()) return;
    const bool fillsWidth = cropped_ && image_.width() > image_.height();
    const QSizeF shown =
        QSizeF(image_.size()).scaled(fillsWidth ? QSizeF(width(), 1e6) : QSizeF(size()), Qt::KeepAspectRatio);
    const QRectF place(QPointF((width() - shown.width()) / 2, (height() - shown.height()) / 2), shown);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(place, scaledTo((shown * devicePixelRatioF()).toSize().expandedTo({1, 1})));
}

} // namespace glasshob
