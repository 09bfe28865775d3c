#include "GlassHob/ui/picture/OverPicture.h"

#include <QEvent>
#include <QPainter>

#include <cmath>

namespace glasshob {

namespace {

constexpr int fadeInTime = 180, fadeOutTime = 240; // milliseconds

} // namespace

OverPicture::OverPicture(QWidget* box, Canvas* picture, double radius)
    : box_(box), picture_(picture), isDrawnWithFrames_(picture->hidesWidgets()), radius_(radius) {
    box->setGraphicsEffect(this);
    box->installEventFilter(this);
    fade_.setStartValue(0.0);
    fade_.setEndValue(1.0);
    fade_.setEasingCurve(QEasingCurve::OutCubic);
    connect(&fade_, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& way) { setOpacity(from_ + (to_ - from_) * way.toDouble()); });
    connect(&fade_, &QVariantAnimation::finished, this, [this] {
        if (opacity_ == 0) box_->hide();
    });
    picture->installEventFilter(this); // its window may move under the box
}

OverPicture::~OverPicture() {
    if (picture_) picture_->removeOverlay(this);
}

void OverPicture::fadeIn() {
    if (!box_->isVisible()) setOpacity(0);
    fadeTo(1, fadeInTime);
    box_->show();
    box_->raise();
}

void OverPicture::fadeOut() {
    if (box_->isVisible()) fadeTo(0, fadeOutTime);
}

void OverPicture::fadeTo(double opacity, int duration) {
    if (fade_.state() == QAbstractAnimation::Running && to_ == opacity) return;
    fade_.stop();
    from_ = opacity_;
    to_ = opacity;
    fade_.setDuration(int(std::lround(duration * std::abs(to_ - from_))));
    fade_.start();
}

void OverPicture::setOpacity(double opacity) {
    opacity_ = opacity;
    if (isDrawnWithFrames_)
        tell(); // with the image that there is
    else
        update();
}

void OverPicture::draw(QPainter* painter) {
    QPoint offset;
    const QPixmap pixmap = sourcePixmap(Qt::LogicalCoordinates, &offset, QGraphicsEffect::NoPad);
    painter->save();
    painter->setOpacity(isDrawnWithFrames_ ? 1 : opacity_);
    painter->drawPixmap(offset, pixmap);
    painter->restore();
    if (!isDrawnWithFrames_) return;
    image_ = pixmap.toImage();
    tell();
}

void OverPicture::tell() {
    if (!picture_ || !isDrawnWithFrames_) return;
    if (!box_->isVisible()) {
        picture_->removeOverlay(this);
        return;
    }
    const QRect place(picture_->mapFromGlobal(box_->mapToGlobal(QPoint(0, 0))), box_->size());
    picture_->setOverlay(this, {image_, place, opacity_, radius_});
}

bool OverPicture::eventFilter(QObject* object, QEvent* event) {
    switch (event->type()) {
    case QEvent::Show:
        // Without a fade it is there at once.
        if (object == box_ && fade_.state() != QAbstractAnimation::Running) setOpacity(1);
        break;
    case QEvent::Hide:
        if (object == box_) fade_.stop();
        break;
    case QEvent::Move:
    case QEvent::Resize: break;
    default: return false;
    }
    tell();
    return false;
}

} // namespace glasshob
