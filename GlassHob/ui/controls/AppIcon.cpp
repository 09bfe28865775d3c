#include "GlassHob/ui/controls/AppIcon.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace glasshob {

namespace {

struct Rgb {
    double r, g, b;
};

Rgb mix(Rgb a, Rgb b, double t) {
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

double smoothstep(double from, double to, double x) {
    const double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

// Near-black, ember, gold, white-hot: the ramp of the first shader.
Rgb ramp(double x) {
    x = std::clamp(x, 0.0, 1.0);
    Rgb c = mix({0.035, 0.027, 0.030}, {0.88, 0.26, 0.05}, smoothstep(0.05, 0.45, x));
    c = mix(c, {1.0, 0.69, 0.38}, smoothstep(0.4, 0.8, x));
    return mix(c, {1.0, 0.95, 0.87}, smoothstep(0.8, 1.0, x));
}

// An arch with straight walls from y = -7 to 2 and a half disc above, on the grid of 24 with y up.
QPainterPath arch(double halfWidth) {
    QPainterPath path;
    path.moveTo(-halfWidth, -7);
    path.lineTo(-halfWidth, 2);
    path.arcTo(QRectF(-halfWidth, 2 - halfWidth, 2 * halfWidth, 2 * halfWidth), 180, 180);
    path.lineTo(halfWidth, -7);
    path.closeSubpath();
    return path;
}

double fire(double x, double y, int side) {
    const double distance = std::hypot(x, y + 7) / 12; // from the hearth, the half size as 1
    double wave = 0.55;
    if (side > 24) {
        const double length = side > 48 ? 0.235 : 0.30;
        const double w = 0.5 + 0.5 * std::cos(2 * std::numbers::pi * distance / length);
        wave = side > 48 ? 0.5 + 0.5 * w : 0.58 + 0.42 * w;
    } else {
        wave = 0.8;
    }
    return 1.12 * std::exp(-1.75 * distance) * wave;
}

} // namespace

QImage applicationIconImage(int side) {
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);

    // The opening's fire, painted over its whole box and clipped by the path.
    QImage glow(side, side, QImage::Format_RGB32);
    for (int py = 0; py < side; ++py) {
        auto* line = reinterpret_cast<QRgb*>(glow.scanLine(py));
        for (int px = 0; px < side; ++px) {
            const double x = (px + 0.5) * 24 / side - 12, y = 12 - (py + 0.5) * 24 / side;
            const Rgb c = ramp(fire(x, y, side));
            line[px] = qRgb(int(c.r * 255 + 0.5), int(c.g * 255 + 0.5), int(c.b * 255 + 0.5));
        }
    }

    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const double unit = side / 24.0;
    const QTransform grid(unit, 0, 0, -unit, side / 2.0, side / 2.0);
    painter.setTransform(grid);
    painter.setPen(Qt::NoPen);
    QLinearGradient wall(0, -10, 0, 10);
    wall.setColorAt(0, QColor(0x26, 0x1E, 0x1F));
    wall.setColorAt(1, QColor(0x54, 0x47, 0x46));
    painter.setBrush(wall);
    painter.drawPath(arch(8));
    painter.drawRoundedRect(QRectF(-10, -10, 20, 3), 0.7, 0.7);
    // A light rim along the upper edge, and the ember's light on the inner one.
    QLinearGradient rim(0, 2, 0, 10);
    rim.setColorAt(0, QColor(0x8A, 0x7A, 0x76, 0));
    rim.setColorAt(1, QColor(0x8A, 0x7A, 0x76, 220));
    if (side > 24) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(QBrush(rim), 0.35));
        painter.drawPath(arch(7.82));
    }

    const QPainterPath opening = grid.map(arch(6));
    painter.resetTransform();
    painter.setPen(Qt::NoPen);
    painter.setBrush(QBrush(glow));
    painter.drawPath(opening);
    if (side > 24) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(QColor(0xE0, 0x42, 0x0D, 150), 0.3 * unit));
        painter.drawPath(opening);
    }
    return image;
}

QIcon applicationIcon() {
    QIcon icon;
    for (const int side : {16, 24, 32, 48, 64, 96, 128, 256, 512})
        icon.addPixmap(QPixmap::fromImage(applicationIconImage(side)));
    return icon;
}

} // namespace glasshob
