#include "GlassHob/ui/account/Spinner.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QPainter>

namespace glasshob {

Spinner::Spinner(QWidget* parent) : QWidget(parent) {
    setFixedSize(16, 16);
    turn_.setStartValue(0.0);
    turn_.setEndValue(360.0);
    turn_.setLoopCount(-1);
    connect(&turn_, &QVariantAnimation::valueChanged, this, qOverload<>(&QWidget::update));
}

void Spinner::showEvent(QShowEvent*) {
    const int turn = motionDuration(this, 1000);
    if (turn == 0) return;
    turn_.setDuration(turn);
    turn_.start();
}

void Spinner::hideEvent(QHideEvent*) {
    turn_.stop();
}

void Spinner::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF ring = QRectF(rect()).adjusted(2, 2, -2, -2);
    painter.setPen(QPen(themed(Role::track), 2));
    painter.drawEllipse(ring);
    painter.setPen(QPen(themed(Role::accent), 2, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(ring, int((90 - turn_.currentValue().toDouble()) * 16), -90 * 16);
}

} // namespace glasshob
