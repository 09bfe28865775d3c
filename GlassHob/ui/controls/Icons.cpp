#include "GlassHob/ui/controls/Icons.h"

#include <QPainter>

#include <array>
#include <cctype>
#include <cmath>
#include <numbers>

namespace glasshob {

namespace {

enum class Ink : bool { stroke, fill };

struct IconData {
    Ink ink;
    const char* path;
};

// One row for each icon, in the order of the enumeration.
constexpr std::array<IconData, std::size_t(Icon::count)> iconData{{
    // new
    {Ink::stroke, "M11.5 3.25H6.25a1.5 1.5 0 0 0-1.5 1.5v10.5a1.5 1.5 0 0 0 1.5 1.5h7.5a1.5 1.5 0 0 0 1.5-1.5V7z M11.5 "
                  "3.25V7h3.75 M10 9.5v4.5 M7.75 11.75h4.5"},
    {Ink::stroke, "M3.25 15.25V5.75a1 1 0 0 1 1-1h3.5l1.75 2h6a1 1 0 0 1 1 1v1.5 M3.25 15.25l2-6h12.5l-2 6z"}, // open
    // save
    {Ink::stroke, "M4.75 3.75h8.5l3 3v8.5a1 1 0 0 1-1 1H4.75a1 1 0 0 1-1-1V4.75a1 1 0 0 1 1-1z M6.75 3.75v3.5h5.5v-3.5 "
                  "M6.75 16.25v-5h6.5v5"},
    // editor
    {Ink::stroke, "M3.75 4.25h12.5a1 1 0 0 1 1 1v9.5a1 1 0 0 1-1 1H3.75a1 1 0 0 1-1-1v-9.5a1 1 0 0 1 1-1z M9 4.25v11.5 "
                  "M5 7.25h1.75 M5 10h1.75 M5 12.75h1.75"},
    // inspector
    {Ink::stroke, "M3.75 4.25h12.5a1 1 0 0 1 1 1v9.5a1 1 0 0 1-1 1H3.75a1 1 0 0 1-1-1v-9.5a1 1 0 0 1 1-1z M2.75 "
                  "10.5h14.5 M5.5 13.1h2.2 M10.4 13.1h4.1"},
    {Ink::stroke, "M5.25 4.75v10.5 M15 4.9v10.2L7.75 10z"},                                           // start
    {Ink::fill, "M6.25 4.1v11.8a.6.6 0 0 0 .92.5l9.1-5.9a.6.6 0 0 0 0-1L7.17 3.6a.6.6 0 0 0-.92.5z"}, // play
    {Ink::fill, "M6 4h2.5v12H6z M11.5 4H14v12h-2.5z"},                                                // pause
    // still
    {Ink::stroke, "M4.25 6.25h2.4l1.1-1.75h4.5l1.1 1.75h2.4a1 1 0 0 1 1 1v7.25a1 1 0 0 1-1 1H4.25a1 1 0 0 1-1-1V7.25a1 "
                  "1 0 0 1 1-1z M10 8.1a2.65 2.65 0 1 0 0 5.3 2.65 2.65 0 0 0 0-5.3z"},
    // film
    {Ink::stroke, "M4.25 4.25h11.5a1 1 0 0 1 1 1v9.5a1 1 0 0 1-1 1H4.25a1 1 0 0 1-1-1v-9.5a1 1 0 0 1 1-1z M8.4 "
                  "7.4v5.2l4.3-2.6z"},
    {Ink::stroke, "M10 12.25V3.5 M6.9 6.4L10 3.3l3.1 3.1 M6.25 9H4.75v7.25h10.5V9h-1.5"}, // share
    // account
    {Ink::stroke, "M10 3.25a3 3 0 1 0 0 6 3 3 0 0 0 0-6z M4.25 16.75c.4-3 2.7-4.75 5.75-4.75s5.35 1.75 5.75 4.75"},
    {Ink::stroke, "M3.75 7.5V3.75H7.5 M12.5 3.75h3.75V7.5 M16.25 12.5v3.75H12.5 M7.5 16.25H3.75V12.5"}, // full
    {Ink::stroke, "M10 4.5v11 M4.5 10h11"},                                                             // plus
    {Ink::stroke, "M5.5 5.5l9 9 M14.5 5.5l-9 9"},                                                       // close
    {Ink::stroke, "M5.1 7.6A5.5 5.5 0 1 1 4.5 10 M4.6 4.2v3.6h3.6"},                                    // reset
    {Ink::stroke, "M4.5 10.5l3.6 3.6 7.4-8"},                                                           // check
    {Ink::stroke, "M6 8l4 4 4-4"},                                                                      // chev
    // error
    {Ink::stroke, "M10 2.75a7.25 7.25 0 1 0 0 14.5 7.25 7.25 0 0 0 0-14.5z M7.4 7.4l5.2 5.2 M12.6 7.4l-5.2 5.2"},
    {Ink::stroke, "M10 3.2l7.3 12.9H2.7z M10 8v3.9 M10 13.9v.2"},                                    // warning
    {Ink::stroke, "M10 2.75a7.25 7.25 0 1 0 0 14.5 7.25 7.25 0 0 0 0-14.5z M10 9.2v4.4 M10 6.4v.2"}, // note
    // folder
    {Ink::stroke, "M3.25 14.75v-9a1 1 0 0 1 1-1h3.5l1.75 2h6.25a1 1 0 0 1 1 1v7a1 1 0 0 1-1 1H4.25a1 1 0 0 1-1-1z"},
    // ext
    {Ink::stroke, "M8.5 4.75H5a1 1 0 0 0-1 1V15a1 1 0 0 0 1 1h9.25a1 1 0 0 0 1-1v-3.5 M11.5 3.75h4.75V8.5 M16 4L9.5 "
                  "10.5"},
    {Ink::stroke, "M7.25 7.25h8.5v9h-8.5z M12.75 7.25v-3.5h-8.5v9h3"},                                      // copy
    {Ink::stroke, "M10 3.5v8.75 M6.9 9.35L10 12.45l3.1-3.1 M4.25 13v3.25h11.5V13"},                         // download
    {Ink::stroke, "M3.5 8v4h2.6l3.9 3V5L6.1 8z M12.6 7.6a3.4 3.4 0 0 1 0 4.8 M14.7 5.5a6.4 6.4 0 0 1 0 9"}, // sound
    {Ink::stroke, "M5.75 3.75h8.5v12.5L10 13l-4.25 3.25z"},                                                 // bookmark
    {Ink::stroke, "M8 6l4 4-4 4"},                                                                          // chevr
    {Ink::stroke, "M12 6l-4 4 4 4"},                                                                        // chevl
    // more
    {Ink::fill, "M5 8.75a1.25 1.25 0 1 0 0 2.5 1.25 1.25 0 0 0 0-2.5z M10 8.75a1.25 1.25 0 1 0 0 2.5 1.25 1.25 0 0 0 "
                "0-2.5z M15 8.75a1.25 1.25 0 1 0 0 2.5 1.25 1.25 0 0 0 0-2.5z"},
    {Ink::stroke, "M5.25 16V9.75a4.75 4.75 0 0 1 9.5 0V16z"},          // arch
    {Ink::stroke, "M5.25 4.9v10.2L12.5 10z M15 4.75v10.5"},            // step
    {Ink::stroke, "M3.5 8v4h2.6l3.9 3V5L6.1 8z M13 8l4 4 M17 8l-4 4"}, // muted
    // loop
    {Ink::stroke, "M4.25 9.25V8.5a3 3 0 0 1 3-3h8 M12.75 3l2.5 2.5-2.5 2.5 M15.75 10.75v.75a3 3 0 0 1-3 3h-8 M7.25 "
                  "12l-2.5 2.5 2.5 2.5"},
}};

// Walks through path data: commands and numbers, separated by blanks, commas, signs or a second point.
class PathReader {
  public:
    explicit PathReader(const char* data) : at_(data) {}

    QPainterPath read() {
        while (skipBlanks(), *at_) {
            if (std::isalpha(static_cast<unsigned char>(*at_))) command_ = *at_++;
            if (!step()) break;
        }
        return path_;
    }

  private:
    void skipBlanks() {
        while (*at_ == ' ' || *at_ == ',')
            ++at_;
    }

    double number() {
        skipBlanks();
        const char* start = at_;
        double sign = 1, value = 0, scale = 0;
        if (*at_ == '-' || *at_ == '+') sign = *at_++ == '-' ? -1 : 1;
        for (; std::isdigit(static_cast<unsigned char>(*at_)) || (*at_ == '.' && scale == 0); ++at_) {
            if (*at_ == '.') {
                scale = 1;
                continue;
            }
            value = value * 10 + (*at_ - '0');
            scale *= 10;
        }
        if (at_ == start) broken_ = true;
        return sign * (scale > 1 ? value / scale : value);
    }

    bool flag() {
        skipBlanks();
        if (*at_ != '0' && *at_ != '1') broken_ = true;
        return !broken_ && *at_++ == '1';
    }

    QPointF point(bool relative) {
        const double x = number(), y = number();
        return relative ? current_ + QPointF(x, y) : QPointF(x, y);
    }

    bool step() {
        const bool relative = std::islower(static_cast<unsigned char>(command_));
        switch (std::toupper(static_cast<unsigned char>(command_))) {
        case 'M':
            current_ = point(relative);
            path_.moveTo(current_);
            lastControl_ = current_;
            command_ = relative ? 'l' : 'L'; // further pairs are lines
            break;
        case 'L': lineTo(point(relative)); break;
        case 'H': lineTo({relative ? current_.x() + number() : number(), current_.y()}); break;
        case 'V': lineTo({current_.x(), relative ? current_.y() + number() : number()}); break;
        case 'C': {
            const QPointF first = point(relative), second = point(relative), end = point(relative);
            curveTo(first, second, end);
            break;
        }
        case 'S': {
            const QPointF first = 2 * current_ - lastControl_, second = point(relative), end = point(relative);
            curveTo(first, second, end);
            break;
        }
        case 'A': {
            const double rx = number(), ry = number();
            number(); // the rotation: every arc here is of a circle
            const bool large = flag(), sweep = flag();
            arcTo(rx, ry, large, sweep, point(relative));
            break;
        }
        case 'Z':
            path_.closeSubpath();
            current_ = path_.currentPosition();
            break;
        default: return false;
        }
        return !broken_;
    }

    void lineTo(QPointF end) {
        path_.lineTo(end);
        current_ = lastControl_ = end;
    }

    void curveTo(QPointF first, QPointF second, QPointF end) {
        path_.cubicTo(first, second, end);
        lastControl_ = second;
        current_ = end;
    }

    // From the two ends of an arc to its centre, then as cubic pieces of at most a quarter turn.
    void arcTo(double rx, double ry, bool large, bool sweep, QPointF end) {
        using std::numbers::pi;
        const QPointF half = (current_ - end) / 2;
        const double grow = (half.x() * half.x()) / (rx * rx) + (half.y() * half.y()) / (ry * ry);
        if (grow > 1) rx *= std::sqrt(grow), ry *= std::sqrt(grow);
        const double a = rx * rx * half.y() * half.y() + ry * ry * half.x() * half.x();
        double k = a > 0 ? std::sqrt(std::max(0.0, rx * rx * ry * ry - a) / a) : 0;
        if (large == sweep) k = -k;
        const QPointF offset(k * rx * half.y() / ry, -k * ry * half.x() / rx);
        const QPointF centre = offset + (current_ + end) / 2;
        double from = std::atan2((half.y() - offset.y()) / ry, (half.x() - offset.x()) / rx);
        double turn = std::atan2((-half.y() - offset.y()) / ry, (-half.x() - offset.x()) / rx) - from;
        if (sweep && turn < 0) turn += 2 * pi;
        if (!sweep && turn > 0) turn -= 2 * pi;
        const int pieces = std::max(1, int(std::ceil(std::abs(turn) / (pi / 2) - 1e-9)));
        const double part = turn / pieces, handle = 4.0 / 3.0 * std::tan(part / 4);
        for (int i = 0; i < pieces; ++i, from += part) {
            const double to = from + part;
            auto on = [&](double x, double y) { return centre + QPointF(rx * x, ry * y); };
            const QPointF last = i + 1 == pieces ? end : on(std::cos(to), std::sin(to));
            path_.cubicTo(on(std::cos(from) - handle * std::sin(from), std::sin(from) + handle * std::cos(from)),
                          on(std::cos(to) + handle * std::sin(to), std::sin(to) - handle * std::cos(to)), last);
        }
        current_ = lastControl_ = end;
    }

    const char* at_;
    char command_ = 'M';
    bool broken_ = false;
    QPointF current_;
    QPointF lastControl_;
    QPainterPath path_;
};

const QPainterPath& iconPath(Icon icon) {
    static const auto paths = [] {
        std::array<QPainterPath, std::size_t(Icon::count)> all;
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i] = pathFromSvg(iconData[i].path);
        return all;
    }();
    return paths[std::size_t(icon)];
}

} // namespace

QPainterPath pathFromSvg(const char* data) {
    return PathReader(data).read();
}

void paintIcon(QPainter& painter, Icon icon, const QRectF& square, const QColor& color, double strokeWidth) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(square.topLeft());
    painter.scale(square.width() / 20.0, square.height() / 20.0);
    if (iconData[std::size_t(icon)].ink == Ink::fill) {
        painter.fillPath(iconPath(icon), color);
    } else {
        painter.strokePath(iconPath(icon), QPen(color, strokeWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    }
    painter.restore();
}

QPixmap iconPixmap(Icon icon, int size, const QColor& color, double devicePixelRatio) {
    QPixmap pixmap(QSize(size, size) * devicePixelRatio);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    paintIcon(painter, icon, QRectF(0, 0, size, size), color);
    return pixmap;
}

} // namespace glasshob
