#include "GlassHob/ui/variations/VariationStrip.h"

#include "GlassHob/model/VariationPicker.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Icons.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHobCore/text/Text.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QTimerEvent>
#include <QWheelEvent>

#include <algorithm>
#include <vector>

namespace glasshob {

namespace {

constexpr QSize stillSize{96, 54};
constexpr int gap = 8, room = 4; // for the ring round the first and the last
constexpr int discSize = 20, discInset = 6;
constexpr int crossSize = 24;
constexpr int scrollEdge = 24, scrollStep = 8, scrollInterval = 16; // pixels, milliseconds

} // namespace

VariationStrip::VariationStrip(VariationPicker& picker, QWidget* parent) : TileArea(picker, parent) {
    setAccessibleName(tr("In the episode"));
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(&picker, &VariationPicker::chosenChanged, this, &VariationStrip::follow);
    connect(&picker, &VariationPicker::changed, this, &VariationStrip::follow);
    connect(&picker, &VariationPicker::stillDrawn, viewport(), qOverload<>(&QWidget::update));
    follow();
}

QSize VariationStrip::sizeHint() const {
    return {616 + 2 * room, stillSize.height() + 2 * room + horizontalScrollBar()->sizeHint().height()};
}

QSize VariationStrip::minimumSizeHint() const {
    return {stillSize.width() + 2 * room, sizeHint().height()};
}

int VariationStrip::tileCount() const {
    return picker().chosen().count();
}

std::int64_t VariationStrip::indexAt(int tile) const {
    return picker().chosen().list()[std::size_t(tile)];
}

QRect VariationStrip::placeRect(int place) const {
    return {QPoint(room + place * (stillSize.width() + gap) - horizontalScrollBar()->value(), room), stillSize};
}

QRect VariationStrip::tileRect(int tile) const {
    if (dragged_ < 0) return placeRect(tile);
    if (tile == dragged_) return placeRect(tile).translated(pointer_.x() - pressedAt_.x(), 0);
    // The others make room.
    const int drop = dropPlace();
    int place = tile - (tile > dragged_ ? 1 : 0);
    if (place >= drop) ++place;
    return placeRect(place);
}

QRect VariationStrip::crossRect(int tile) const {
    const QRect box = tileRect(tile);
    return {box.right() + 1 - crossSize, box.top(), crossSize, crossSize};
}

TileArea::Speech VariationStrip::speech(int tile) const {
    const Variation& variation = picker().variation(indexAt(tile));
    const QString text = asQString(variation.title());
    return {
        tr("%1, %2 of %3").arg(text).arg(tile + 1).arg(tileCount()), tr("Variation %1").arg(indexAt(tile)), {}, true};
}

std::vector<std::int64_t> VariationStrip::indicesSeen() const {
    std::vector<std::int64_t> seen;
    for (int tile = 0; tile < tileCount(); ++tile)
        if (tileRect(tile).intersects(viewport()->rect())) seen.push_back(indexAt(tile));
    return seen;
}

void VariationStrip::reveal(int tile) {
    if (tile < 0) return;
    QScrollBar* bar = horizontalScrollBar();
    const QRect box = placeRect(tile).adjusted(-room, 0, room, 0);
    if (box.right() >= viewport()->width()) bar->setValue(bar->value() + box.right() + 1 - viewport()->width());
    if (box.left() < 0) bar->setValue(bar->value() + box.left());
}

void VariationStrip::follow() {
    if (dragged_ >= tileCount()) endDrag();
    QScrollBar* bar = horizontalScrollBar();
    const int width = 2 * room + tileCount() * (stillSize.width() + gap) - gap;
    bar->setPageStep(std::max(1, viewport()->width()));
    bar->setSingleStep(stillSize.width() + gap);
    bar->setRange(0, std::max(0, width - viewport()->width()));
    keepCurrent();
    viewport()->update();
    emit seenChanged();
}

void VariationStrip::resizeEvent(QResizeEvent* event) {
    TileArea::resizeEvent(event);
    follow();
}

void VariationStrip::scrollContentsBy(int, int) {
    viewport()->update();
    emit seenChanged();
}

std::optional<int> VariationStrip::target(int key) const {
    const int last = tileCount() - 1, page = std::max(1, viewport()->width() / (stillSize.width() + gap));
    switch (key) {
    case Qt::Key_Left:
    case Qt::Key_Up: return std::max(current() - 1, 0);
    case Qt::Key_Right:
    case Qt::Key_Down: return std::min(current() + 1, last);
    case Qt::Key_PageUp: return std::max(current() - page, 0);
    case Qt::Key_PageDown: return std::min(current() + page, last);
    case Qt::Key_Home: return 0;
    case Qt::Key_End: return last;
    default: return std::nullopt;
    }
}

// The keyboard goes with it.
void VariationStrip::moveChosen(int tile, int by) {
    const int to = std::clamp(tile + by, 0, tileCount() - 1);
    ChosenVariations chosen = picker().chosen();
    if (!chosen.move(tile, to)) return;
    setCurrent(to);
    picker().setChosen(std::move(chosen));
    reveal(to);
}

// ---- Dragging -------------------------------------------------------------------------------------------------------

int VariationStrip::dropPlace() const {
    const int middle =
        placeRect(dragged_).center().x() + pointer_.x() - pressedAt_.x() + horizontalScrollBar()->value();
    return std::clamp((middle - room) / (stillSize.width() + gap), 0, tileCount() - 1);
}

void VariationStrip::endDrag() {
    dragged_ = pressed_ = -1;
    scrolling_.stop();
    viewport()->unsetCursor();
    viewport()->update();
}

void VariationStrip::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const QPoint place = event->position().toPoint();
    const int tile = tileAt(place);
    if (tile < 0) return;
    if (crossRect(tile).contains(place)) {
        toggle(tile); // back
        return;
    }
    setCurrent(tile);
    pressed_ = tile;
    pressedAt_ = pointer_ = place;
}

void VariationStrip::mouseMoveEvent(QMouseEvent* event) {
    const QPoint place = event->position().toPoint();
    if (pressed_ < 0 || !(event->buttons() & Qt::LeftButton)) return;
    if (dragged_ < 0 && (place - pressedAt_).manhattanLength() < QApplication::startDragDistance()) return;
    if (dragged_ < 0) {
        dragged_ = pressed_;
        viewport()->setCursor(Qt::ClosedHandCursor);
    }
    pointer_ = place;
    const bool isAtEnd = place.x() < scrollEdge || place.x() > viewport()->width() - scrollEdge;
    if (!isAtEnd)
        scrolling_.stop();
    else if (!scrolling_.isActive())
        scrolling_.start(scrollInterval, this);
    viewport()->update();
}

void VariationStrip::timerEvent(QTimerEvent* event) {
    if (event->timerId() != scrolling_.timerId()) {
        TileArea::timerEvent(event);
        return;
    }
    QScrollBar* bar = horizontalScrollBar();
    const int before = bar->value();
    bar->setValue(before + (pointer_.x() < scrollEdge ? -scrollStep : scrollStep));
    // What is dragged stays under the pointer.
    pressedAt_.rx() -= bar->value() - before;
    viewport()->update();
}

void VariationStrip::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || pressed_ < 0) return;
    if (dragged_ < 0) {
        const std::int64_t index = indexAt(std::exchange(pressed_, -1));
        emit picked(index);
        return;
    }
    const int from = dragged_, to = dropPlace();
    endDrag();
    ChosenVariations chosen = picker().chosen();
    if (!chosen.move(from, to)) return;
    setCurrent(to);
    picker().setChosen(std::move(chosen));
}

void VariationStrip::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && dragged_ >= 0) {
        endDrag();
        return;
    }
    TileArea::keyPressEvent(event);
}

void VariationStrip::wheelEvent(QWheelEvent* event) {
    const QPoint turned = event->angleDelta();
    const int by = turned.x() != 0 ? turned.x() : turned.y();
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() - by * (stillSize.width() + gap) / 120);
    event->accept();
}

// ---- Painting -------------------------------------------------------------------------------------------------------

void VariationStrip::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.fillRect(event->rect(), themed(Role::panel));
    if (tileCount() == 0) {
        painter.setFont(fonts::small());
        painter.setPen(themed(Role::text3));
        painter.drawText(viewport()->rect().adjusted(room, room, -room, -room),
                         Qt::AlignLeft | Qt::AlignVCenter | Qt::TextWordWrap,
                         picker().state() == VariationPicker::State::ready
                             ? tr("Click a variation above, or press Space on it, to choose it.")
                             : QString());
        return;
    }
    const auto paint = [&](int tile) {
        const QRect box = tileRect(tile);
        if (!box.adjusted(-room, -room, room, room).intersects(viewport()->rect())) return;
        const std::int64_t index = indexAt(tile);
        paintStill(painter, box, picker().still(index), picker().isStale(index));
        const int shown = dragged_ < 0       ? tile
                          : tile == dragged_ ? dropPlace()
                                             : (box.left() - placeRect(0).left()) / (stillSize.width() + gap);
        paintDisc(painter, box.topLeft() + QPointF(discInset + discSize / 2.0, discInset + discSize / 2.0), discSize,
                  shown + 1);
        if (tile == dragged_) {
            painter.setBrush(Qt::NoBrush);
            painter.setPen(QPen(themed(Role::text), 1));
            painter.drawRoundedRect(QRectF(box).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
        } else if (tile == hovered() && dragged_ < 0) {
            const QRectF cross = QRectF(crossRect(tile)).adjusted(3, 3, -3, -3);
            QColor ground = themed(Role::canvas);
            ground.setAlphaF(0.7F);
            painter.setPen(Qt::NoPen);
            painter.setBrush(ground);
            painter.drawEllipse(cross);
            paintIcon(painter, Icon::close, cross.adjusted(3, 3, -3, -3), QColor(0xFF, 0xF2, 0xDE));
        }
        if (tile == current() && showsRing() && dragged_ < 0) paintRing(painter, box, 4);
    };
    for (int tile = 0; tile < tileCount(); ++tile)
        if (tile != dragged_) paint(tile);
    if (dragged_ >= 0) paint(dragged_);
}

} // namespace glasshob
