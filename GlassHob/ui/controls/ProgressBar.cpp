#include "GlassHob/ui/controls/ProgressBar.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QPainter>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int longestMove = 200; // milliseconds

} // namespace

ProgressBar::ProgressBar(const QString& name, QWidget* parent) : QProgressBar(parent) {
    setAccessibleName(name);
    setTextVisible(false);
    setRange(0, 100);
    setFixedHeight(8);
    move_.setEasingCurve(QEasingCurve::Linear);
    connect(&move_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        shown_ = value.toDouble();
        update();
    });
}

void ProgressBar::setShare(double share, const QString& spoken) {
    const int tenth = int(share * 10) * 10;
    if (tenth != value()) {
        setAccessibleDescription(spoken);
        setValue(tenth);
    }
    if (move_.endValue().isValid() && move_.endValue().toDouble() == share) return;
    const bool isBack = share < shown_;
    move_.stop();
    move_.setStartValue(isBack ? share : shown_);
    move_.setEndValue(share);
    move_.setDuration(isBack ? 0 : motionDuration(this, longestMove));
    move_.start();
}

void ProgressBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const double radius = height() / 2.0;
    painter.setBrush(themed(Role::track));
    painter.drawRoundedRect(rect(), radius, radius);
    if (shown_ <= 0) return;
    painter.setBrush(themed(Role::accent));
    painter.drawRoundedRect(QRectF(0, 0, std::max(double(height()), width() * shown_), height()), radius, radius);
}

} // namespace glasshob
