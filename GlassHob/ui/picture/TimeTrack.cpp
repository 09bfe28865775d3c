#include "GlassHob/ui/picture/TimeTrack.h"

#include "GlassHob/ui/controls/Theme.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <utility>

namespace glasshob {

namespace {

constexpr double trackHeight = 4, knobRadius = 6, haloRadius = 10;
constexpr double flagWidth = 6, flagHeight = 7, flagReach = 7;
constexpr double hour = 3600;

} // namespace

TimeTrack::TimeTrack(QWidget* parent) : QWidget(parent), length_(lengthFor(0)) {
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(tr("Time line"));
}

double TimeTrack::lengthFor(double seconds) {
    for (const double length : {10.0, 20.0, 30.0, 60.0, 120.0, 300.0, 600.0, 1200.0, 1800.0, hour})
        if (seconds <= length) return length;
    return std::ceil(seconds / hour) * hour;
}

void TimeTrack::setTime(double seconds) {
    if (seconds == time_) return;
    time_ = seconds;
    fitLength();
    update();
}

void TimeTrack::setLoop(std::optional<TimeStretch> loop) {
    if (loop == loop_) return;
    loop_ = loop;
    fitLength();
    update();
}

void TimeTrack::fitLength() {
    if (dragged_ != Part::none) return; // the ground under the hand stays
    const double length = lengthFor(std::max(time_, loop_ ? loop_->end : 0.0));
    if (std::exchange(length_, length) != length) emit lengthChanged();
}

double TimeTrack::xOf(double seconds) const {
    return knobRadius + std::clamp(seconds / length_, 0.0, 1.0) * (width() - 2 * knobRadius);
}

double TimeTrack::timeAt(double x) const {
    return std::clamp((x - knobRadius) / std::max(1.0, width() - 2 * knobRadius), 0.0, 1.0) * length_;
}

TimeTrack::Part TimeTrack::partAt(const QPointF& place) const {
    if (loop_ && place.y() < height() / 2.0 - 3) {
        const double toStart = std::abs(place.x() - xOf(loop_->start) + flagWidth / 2);
        const double toEnd = std::abs(place.x() - xOf(loop_->end) - flagWidth / 2);
        if (std::min(toStart, toEnd) <= flagReach) return toStart < toEnd ? Part::loopStart : Part::loopEnd;
    }
    return Part::knob;
}

void TimeTrack::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled()) painter.setOpacity(0.4);
    const double middle = height() / 2.0, knob = xOf(time_);
    painter.setPen(Qt::NoPen);
    const auto bar = [&](double left, double right, Role role) {
        if (right <= left) return;
        painter.setBrush(themed(role));
        painter.drawRoundedRect(QRectF(left, middle - trackHeight / 2, right - left, trackHeight), 2, 2);
    };
    bar(0, width(), Role::track);
    if (loop_) {
        const double start = xOf(loop_->start), end = xOf(loop_->end);
        bar(start, end, Role::accent);
        // Flags that point into the stretch.
        const double top = middle - trackHeight / 2 - 3 - flagHeight;
        const auto flag = [&](double x, double way, Part part) {
            QPainterPath path(QPointF(x, top));
            path.lineTo(x - way * flagWidth, top);
            path.lineTo(x, top + flagHeight);
            path.closeSubpath();
            painter.setBrush(themed(hovered_ == part || dragged_ == part ? Role::accentText : Role::text2));
            painter.drawPath(path);
        };
        flag(start, 1, Part::loopStart);
        flag(end, -1, Part::loopEnd);
    } else {
        bar(0, knob, Role::trackFill);
    }
    if (hovered_ == Part::knob || dragged_ == Part::knob) {
        QColor halo = themed(Role::accent);
        halo.setAlphaF(0.28F);
        painter.setBrush(halo);
        painter.drawEllipse(QPointF(knob, middle), haloRadius, haloRadius);
    }
    painter.setBrush(themed(Role::knob));
    painter.setPen(QPen(themed(Role::knobLine), 1));
    painter.drawEllipse(QPointF(knob, middle), knobRadius - 0.5, knobRadius - 0.5);
    if (keyboardFocus_) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(themed(Role::accentText), 2));
        painter.drawEllipse(QPointF(knob, middle), knobRadius + 3, knobRadius + 3);
    }
}

void TimeTrack::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    keyboardFocus_ = false;
    dragged_ = partAt(event->position());
    if (dragged_ == Part::knob) emit held(true);
    // Taking a part leaves it where it is.
    const bool isOnKnob = std::abs(event->position().x() - xOf(time_)) <= knobRadius;
    if (dragged_ == Part::knob && !isOnKnob) dragTo(event->position().x());
    update();
}

void TimeTrack::dragTo(double x) {
    const double seconds = timeAt(x);
    switch (dragged_) {
    case Part::knob: emit timeEdited(seconds); break;
    case Part::loopStart:
        emit loopEdited({std::min(seconds, loop_->end - PreviewClock::shortestLoop), loop_->end});
        break;
    case Part::loopEnd:
        emit loopEdited({loop_->start, std::max(seconds, loop_->start + PreviewClock::shortestLoop)});
        break;
    case Part::none: break;
    }
}

void TimeTrack::mouseMoveEvent(QMouseEvent* event) {
    if (dragged_ != Part::none && (dragged_ == Part::knob || loop_)) {
        dragTo(event->position().x());
        return;
    }
    const Part over = partAt(event->position());
    if (std::exchange(hovered_, over) != over) update();
}

void TimeTrack::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const Part was = std::exchange(dragged_, Part::none);
    if (was == Part::knob) emit held(false);
    fitLength();
    update();
}

void TimeTrack::leaveEvent(QEvent* event) {
    hovered_ = Part::none;
    update();
    QWidget::leaveEvent(event);
}

void TimeTrack::keyPressEvent(QKeyEvent* event) {
    const double step = event->modifiers() & Qt::ShiftModifier ? 1.0 / 60 : 0.1;
    switch (event->key()) {
    case Qt::Key_Left: emit timeEdited(time_ - step); break;
    case Qt::Key_Right: emit timeEdited(time_ + step); break;
    case Qt::Key_PageDown: emit timeEdited(time_ - 1); break;
    case Qt::Key_PageUp: emit timeEdited(time_ + 1); break;
    case Qt::Key_Home: emit timeEdited(loop_ ? loop_->start : 0); break;
    case Qt::Key_End: emit timeEdited(loop_ ? loop_->end : length_); break;
    default: QWidget::keyPressEvent(event); return;
    }
}

void TimeTrack::focusInEvent(QFocusEvent* event) {
    keyboardFocus_ = event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason ||
                     event->reason() == Qt::ShortcutFocusReason;
    setAccessibleDescription(tr("%1 seconds").arg(QString::number(time_, 'f', 1)));
    update();
    QWidget::focusInEvent(event);
}

void TimeTrack::focusOutEvent(QFocusEvent* event) {
    keyboardFocus_ = false;
    update();
    QWidget::focusOutEvent(event);
}

} // namespace glasshob
