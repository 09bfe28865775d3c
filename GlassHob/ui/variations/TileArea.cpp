#include "GlassHob/ui/variations/TileArea.h"

#include "GlassHob/model/VariationPicker.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QAccessible>
#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>

namespace glasshob {

namespace {

constexpr double stillRadius = 4;
constexpr double staleOpacity = 0.35;

} // namespace

TileArea::TileArea(VariationPicker& picker, QWidget* parent) : QAbstractScrollArea(parent), picker_(picker) {
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setMouseTracking(true);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    viewport()->setAttribute(Qt::WA_Hover);
    const auto followTheme = [this] {
        QPalette palette = this->palette();
        palette.setColor(QPalette::Window, themed(Role::panel)); // behind the scroll bar
        palette.setColor(QPalette::Base, themed(Role::panel));
        setPalette(palette);
        viewport()->update();
    };
    followTheme();
    connect(&Theme::instance(), &Theme::changed, this, followTheme);
    connect(&picker, &VariationPicker::chosenChanged, this, [this] {
        if (!hasFocus() || current_ < 0 || current_ >= tileCount() || !QAccessible::isActive()) return;
        QAccessible::State state;
        state.selected = true;
        QAccessibleStateChangeEvent event(this, state);
        event.setChild(current_);
        QAccessible::updateAccessibility(&event);
    });
}

int TileArea::tileAt(const QPoint& place) const {
    for (int tile = 0; tile < tileCount(); ++tile)
        if (tileRect(tile).contains(place)) return tile;
    return -1;
}

void TileArea::tellFocus() {
    if (!hasFocus() || current_ < 0 || !QAccessible::isActive()) return;
    QAccessibleEvent event(this, QAccessible::Focus);
    event.setChild(current_);
    QAccessible::updateAccessibility(&event);
}

void TileArea::setCurrent(int tile) {
    tile = std::clamp(tile, -1, tileCount() - 1);
    if (tile == current_) return;
    current_ = tile;
    viewport()->update();
    tellFocus();
    emit currentChanged(tile);
    emit stateChanged();
}

void TileArea::keepCurrent() {
    const int wanted = tileCount() == 0 ? -1 : std::clamp(current_, 0, tileCount() - 1);
    if (wanted != current_) setCurrent(wanted);
    if (hovered_ >= tileCount()) hovered_ = -1;
}

void TileArea::setRing(bool shows) {
    if (shows == showsRing_) return;
    showsRing_ = shows;
    viewport()->update();
    emit stateChanged();
}

void TileArea::toggle(int tile) {
    if (tile < 0 || tile >= tileCount()) return;
    ChosenVariations chosen = picker_.chosen();
    chosen.toggle(indexAt(tile));
    picker_.setChosen(std::move(chosen));
}

void TileArea::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    const bool isPlain = modifiers == Qt::NoModifier;
    if (current_ < 0 || (!isPlain && modifiers != Qt::ControlModifier)) {
        event->ignore();
        return;
    }
    if (!isPlain) {
        if (key != Qt::Key_Left && key != Qt::Key_Right) {
            event->ignore();
            return;
        }
        setRing(true);
        moveChosen(current_, key == Qt::Key_Left ? -1 : 1);
        return;
    }
    ChosenVariations chosen = picker_.chosen();
    if (const auto next = target(key)) {
        setRing(true);
        setCurrent(*next);
        reveal(current_);
    } else if (key == Qt::Key_Space) {
        setRing(true);
        if (!event->isAutoRepeat()) toggle(current_);
    } else if (key >= Qt::Key_1 && key <= Qt::Key_9) {
        setRing(true);
        if (chosen.put(indexAt(current_), key - Qt::Key_1)) picker_.setChosen(std::move(chosen));
    } else if (key == Qt::Key_Delete) {
        setRing(true);
        if (chosen.giveBack(indexAt(current_))) picker_.setChosen(std::move(chosen));
    } else {
        event->ignore();
    }
}

void TileArea::focusInEvent(QFocusEvent* event) {
    const Qt::FocusReason reason = event->reason();
    const bool isByKey =
        reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason;
    // The window comes back with what it had.
    // A dialog that opens tells its first control of a Tab that nobody has pressed.
    const bool isPretended = QApplication::focusWidget() != this;
    if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason) showsRing_ = isByKey && !isPretended;
    if (current_ < 0 && tileCount() > 0) current_ = 0;
    viewport()->update();
    tellFocus();
    emit stateChanged();
}

void TileArea::focusOutEvent(QFocusEvent*) {
    viewport()->update();
    emit stateChanged();
}

void TileArea::hoverAt(const QPoint& place) {
    const int tile = tileAt(place);
    if (tile == hovered_) return;
    hovered_ = tile;
    viewport()->update();
    emit stateChanged();
}

bool TileArea::viewportEvent(QEvent* event) {
    if (event->type() == QEvent::HoverMove || event->type() == QEvent::HoverEnter)
        hoverAt(static_cast<QHoverEvent*>(event)->position().toPoint());
    else if (event->type() == QEvent::HoverLeave || event->type() == QEvent::Leave)
        hoverAt(QPoint(-1, -1));
    return QAbstractScrollArea::viewportEvent(event);
}

void TileArea::paintStill(QPainter& painter, const QRectF& box, const QImage& image, bool isStale) const {
    painter.setPen(Qt::NoPen);
    painter.setBrush(themed(Role::canvas));
    painter.drawRoundedRect(box, stillRadius, stillRadius);
    if (image.isNull()) return;
    QBrush brush(image);
    brush.setTransform(
        QTransform::fromTranslate(box.x(), box.y()).scale(box.width() / image.width(), box.height() / image.height()));
    painter.setBrush(brush);
    painter.setOpacity(isStale ? staleOpacity : 1);
    painter.drawRoundedRect(box, stillRadius, stillRadius);
    painter.setOpacity(1);
}

void TileArea::paintDisc(QPainter& painter, const QPointF& centre, double diameter, int number) {
    const QString text = QString::number(number);
    painter.setPen(Qt::NoPen);
    painter.setBrush(themed(Role::accentFill));
    painter.drawEllipse(centre, diameter / 2, diameter / 2);
    const double size = text.size() > 2 ? 9 : diameter > 22 ? 13 : 11;
    painter.setFont(fonts::ui(size, QFont::Bold));
    painter.setPen(themed(Role::onAccent));
    painter.drawText(QRectF(centre.x() - diameter, centre.y() - diameter, 2 * diameter, 2 * diameter), Qt::AlignCenter,
                     text);
}

void TileArea::paintRing(QPainter& painter, const QRect& box, double radius) const {
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(themed(Role::accentText), 2));
    painter.drawRoundedRect(QRectF(box).adjusted(-3, -3, 3, 3), radius + 3, radius + 3);
}

} // namespace glasshob
