#include "GlassHob/ui/variations/VariationGrid.h"

#include "GlassHob/model/VariationPicker.h"
#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHobCore/text/Text.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>

namespace glasshob {

namespace {

constexpr QSize tileSize{224, 157};
constexpr int gap = 8, padding = 8, sideMargin = 16, topMargin = 10, bottomMargin = 12;
constexpr int tileRadius = 6;
constexpr int discSize = 24, discInset = 8;
constexpr int numberGap = 8;
constexpr int ringRoom = 6;
// More than anybody looks through.
constexpr int mostTiles = 24 * 500;

} // namespace

VariationGrid::VariationGrid(VariationPicker& picker, QWidget* parent) : TileArea(picker, parent) {
    setAccessibleName(tr("Variations"));
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    verticalScrollBar()->setSingleStep(40);
    connect(&picker, &VariationPicker::changed, this, &VariationGrid::follow);
    connect(&picker, &VariationPicker::chosenChanged, viewport(), qOverload<>(&QWidget::update));
    connect(&picker, &VariationPicker::stillDrawn, this, [this](qint64 index) {
        if (index >= 1 && index <= tileCount()) viewport()->update(tileRect(int(index) - 1));
    });
    connect(&picker, &VariationPicker::ran, this, [this](qint64 index, const QImage& frame) {
        if (running_ != index) return;
        frame_ = frame;
        viewport()->update(tileRect(int(index) - 1));
    });
    connect(this, &TileArea::stateChanged, this, &VariationGrid::followRunning);
}

int VariationGrid::tileCount() const {
    return picker().count();
}

std::int64_t VariationGrid::indexAt(int tile) const {
    return picker().indexOf(tile);
}

int VariationGrid::columns() const {
    return std::max(1, (viewport()->width() - sideMargin + gap) / (tileSize.width() + gap));
}

int VariationGrid::contentHeight() const {
    const int rows = (tileCount() + columns() - 1) / columns();
    return topMargin + rows * (tileSize.height() + gap) - gap + bottomMargin;
}

QRect VariationGrid::tileRect(int tile) const {
    const int row = tile / columns(), column = tile % columns();
    return {QPoint(sideMargin + column * (tileSize.width() + gap),
                   topMargin + row * (tileSize.height() + gap) - verticalScrollBar()->value()),
            tileSize};
}

TileArea::Speech VariationGrid::speech(int tile) const {
    const std::int64_t index = indexAt(tile);
    const Variation& variation = picker().variation(index);
    const auto place = picker().chosen().placeOf(index);
    return {tr("Variation %1").arg(index), asQString(variation.title()),
            place ? tr("chosen as %1").arg(*place + 1) : tr("not chosen"), place.has_value()};
}

std::vector<std::int64_t> VariationGrid::indices(bool areSeen) const {
    std::vector<std::int64_t> indices;
    for (int tile = 0; tile < tileCount(); ++tile)
        if (tileRect(tile).intersects(viewport()->rect()) == areSeen) indices.push_back(indexAt(tile));
    return indices;
}

void VariationGrid::reveal(int tile) {
    if (tile < 0) return;
    QScrollBar* bar = verticalScrollBar();
    const int row = tile / columns(), lastRow = (tileCount() - 1) / columns();
    // With the margin above the first row and under the last one.
    const int below = tileRect(tile).bottom() + 1 + (row == lastRow ? bottomMargin : ringRoom);
    if (below > viewport()->height()) bar->setValue(bar->value() + below - viewport()->height());
    // Where there is no room for a whole tile, its still is seen.
    const int above = tileRect(tile).top() - (row == 0 ? topMargin : ringRoom);
    if (above < 0) bar->setValue(bar->value() + above);
}

void VariationGrid::follow() {
    QScrollBar* bar = verticalScrollBar();
    bar->setPageStep(std::max(1, viewport()->height()));
    bar->setRange(0, std::max(0, contentHeight() - viewport()->height()));
    keepCurrent();
    viewport()->update();
    // There is always something further down.
    if (bar->value() == bar->maximum() && tileCount() < mostTiles && isVisible()) {
        picker().more(); // which comes back here
        return;
    }
    followRunning();
    emit seenChanged();
}

void VariationGrid::followRunning() {
    std::optional<std::int64_t> wanted;
    const int tile = hovered() >= 0 ? hovered() : showsRing() ? current() : -1;
    if (tile >= 0 && isVisible() && !window()->isMinimized() && motionDuration(this, 1) > 0) wanted = indexAt(tile);
    if (wanted == running_) return;
    running_ = wanted;
    frame_ = {};
    viewport()->update();
    picker().setRunning(wanted);
}

void VariationGrid::scrollContentsBy(int, int) {
    viewport()->update();
    hoverAt(viewport()->underMouse() ? viewport()->mapFromGlobal(QCursor::pos()) : QPoint(-1, -1));
    const QScrollBar* bar = verticalScrollBar();
    if (bar->value() == bar->maximum() && bar->maximum() > 0 && tileCount() < mostTiles)
        picker().more();
    else
        emit seenChanged();
}

void VariationGrid::resizeEvent(QResizeEvent* event) {
    TileArea::resizeEvent(event);
    follow();
    if (hasFocus()) reveal(current());
}

void VariationGrid::showEvent(QShowEvent* event) {
    TileArea::showEvent(event);
    follow();
}

void VariationGrid::hideEvent(QHideEvent* event) {
    TileArea::hideEvent(event);
    followRunning();
}

std::optional<int> VariationGrid::target(int key) const {
    const int across = columns(), last = tileCount() - 1;
    const int page = std::max(1, viewport()->height() / (tileSize.height() + gap)) * across;
    const auto within = [&](int tile) { return std::clamp(tile, 0, last); };
    // Up and down stay in their column.
    const auto inColumn = [&](int tile) {
        while (tile < 0)
            tile += across;
        while (tile > last)
            tile -= across;
        return tile;
    };
    switch (key) {
    case Qt::Key_Left: return within(current() - 1);
    case Qt::Key_Right: return within(current() + 1);
    case Qt::Key_Up: return current() < across ? current() : current() - across;
    case Qt::Key_Down: return current() + across > last ? current() : current() + across;
    case Qt::Key_PageUp: return inColumn(current() - page);
    case Qt::Key_PageDown: return inColumn(current() + page);
    case Qt::Key_Home: return 0;
    case Qt::Key_End: return last;
    default: return std::nullopt;
    }
}

void VariationGrid::moveChosen(int tile, int by) {
    ChosenVariations chosen = picker().chosen();
    const auto place = chosen.placeOf(indexAt(tile));
    if (place && chosen.move(*place, *place + by)) picker().setChosen(std::move(chosen));
}

void VariationGrid::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    pressed_ = tileAt(event->position().toPoint());
    if (pressed_ >= 0) setCurrent(pressed_);
}

void VariationGrid::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    if (const int tile = std::exchange(pressed_, -1); tile >= 0 && tile == tileAt(event->position().toPoint()))
        toggle(tile);
}

void VariationGrid::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.fillRect(event->rect(), themed(Role::panel));
    const int digits = std::max(2, int(QString::number(tileCount()).size()));
    const int numberWidth = QFontMetrics(fonts::value()).horizontalAdvance(QString(digits, u'0')) + 2;
    for (int tile = 0; tile < tileCount(); ++tile)
        if (tileRect(tile).adjusted(-ringRoom, -ringRoom, ringRoom, ringRoom).intersects(event->rect()))
            paintTile(painter, tile, numberWidth);
}

void VariationGrid::paintTile(QPainter& painter, int tile, int numberWidth) const {
    const QRect box = tileRect(tile);
    const std::int64_t index = indexAt(tile);
    const auto place = picker().chosen().placeOf(index);
    const bool isOver = tile == hovered();
    painter.setPen(Qt::NoPen);
    if (place || isOver) {
        painter.setBrush(themed(place ? Role::accentTint : Role::controlHover));
        painter.drawRoundedRect(box, tileRadius, tileRadius);
    }
    const QRect still(box.topLeft() + QPoint(padding, padding), stillSize);
    const bool runs = running_ == index && !frame_.isNull();
    paintStill(painter, still, runs ? frame_ : picker().still(index), !runs && picker().isStale(index));

    const QPointF centre = still.topLeft() + QPointF(discInset + discSize / 2.0, discInset + discSize / 2.0);
    if (place) {
        paintDisc(painter, centre, discSize, *place + 1);
    } else if (isOver) {
        QColor ground = themed(Role::canvas);
        ground.setAlphaF(0.55F);
        painter.setBrush(ground);
        painter.setPen(QPen(QColor(0xFF, 0xF2, 0xDE), 2));
        painter.drawEllipse(centre, discSize / 2.0 - 1, discSize / 2.0 - 1);
    }

    const QRect line(still.left(), still.bottom() + 4, still.width(), 20);
    painter.setFont(fonts::value());
    painter.setPen(themed(place || isOver ? Role::text2 : Role::text3));
    painter.drawText(line.adjusted(0, 0, numberWidth - line.width(), 0), Qt::AlignRight | Qt::AlignVCenter,
                     QString::number(index));
    const Variation& variation = picker().variation(index);
    const QString text = asQString(variation.title());
    const QRect rest = line.adjusted(numberWidth + numberGap, 0, 0, 0);
    painter.setPen(themed(place ? Role::text : Role::text2));
    painter.drawText(rest, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     QFontMetrics(fonts::value()).elidedText(text, Qt::ElideRight, rest.width()));
    if (tile == current() && showsRing()) paintRing(painter, box, tileRadius);
}

} // namespace glasshob
