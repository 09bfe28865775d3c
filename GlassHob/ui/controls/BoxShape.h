// The shape that the boxes over the picture share: a panel with round corners and a thin edge. Main thread.
#pragma once

#include <QPainter>
#include <QRegion>

namespace glasshob {

inline constexpr double boxRadius = 10;

// What a mask of that size leaves.
QRegion roundedRegion(const QSize& size, double radius);
// The panel and its edge.
void paintBox(QPainter& painter, const QRect& box);

} // namespace glasshob
