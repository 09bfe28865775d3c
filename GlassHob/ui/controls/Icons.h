// The icons of the window: vector paths on a 20 x 20 grid, painted in any colour and size.
// Stateless; main thread, since it paints. Paths are parsed once, on first use.
#pragma once

#include <QColor>
#include <QPainterPath>
#include <QPixmap>
#include <QRectF>

#include <cstdint>

class QPainter;

namespace glasshob {

enum class Icon : std::uint8_t {
    new_,
    open,
    save,
    editor,
    inspector,
    start,
    play,
    pause,
    still,
    film,
    share,
    account,
    full,
    plus,
    close,
    reset,
    check,
    chev,
    error,
    warning,
    note,
    folder,
    ext,
    copy,
    download,
    sound,
    bookmark,
    chevr,
    chevl,
    more,
    arch,
    step,
    muted,
    loop,
    count
};

// Paints the icon into the square, its stroke 1.5 grid units wide (or as given).
void paintIcon(QPainter& painter, Icon icon, const QRectF& square, const QColor& color, double strokeWidth = 1.5);

// The same as a pixmap, for the few places that take only pixmaps.
QPixmap iconPixmap(Icon icon, int size, const QColor& color, double devicePixelRatio);

// Reads SVG path data (M L H V C S A Z and their relative forms). What follows a command it does not know is left out.
QPainterPath pathFromSvg(const char* data);

} // namespace glasshob
