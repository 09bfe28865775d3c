#include "GlassHob/ui/OverPicture.h"

#include <QEvent>
#include <QPainter>

#include <cmath>

namespace glasshob {

namespace {

constexpr int fadeInTime = 180, fadeOutTime = 240; // milliseconds

} // namespace

OverPicture::OverPicture(QWidget* box, Canvas* picture, double radius) : box_(box), picture_(picture), radius_(radius) {
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
    if (picture->hidesWidgets()) {
        // The picture's window may have another place or another scale afterwards.
        picture->installEventFilter(this);
        tell();
    }
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
    if (picture_ && picture_->hidesWidgets())
        tell();
    else
        update();
}

void OverPicture::draw(QPainter* painter) {
    QPoint offset;
    const QPixmap pixmap = sourcePixmap(Qt::LogicalCoordinates, &offset, QGraphicsEffect::NoPad);
    if (picture_ && picture_->hidesWidgets()) {
        painter->drawPixmap(offset, pixmap);
        image_ = pixmap.toImage();
        tell();
        return;
    }
    painter->save();
    painter->setOpacity(opacity_);
    painter->drawPixmap(offset, pixmap);
    painter->restore();
}

void OverPicture::tell() {
    if (!picture_) return;
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
    if (picture_ && picture_->hidesWidgets()) tell();
    return false;
}

} // namespace glasshob
