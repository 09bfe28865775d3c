#include "GlassHobRender/episode/ContactSheet.h"

#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/episode/EpisodeLook.h"
#include "GlassHobRender/paint/PaintFonts.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int columns = 6;
constexpr int margin = 48, head = 132, gap = 24, caption = 48;
constexpr int radius = 8;

void write(QPainter& painter, const QRectF& box, const QString& text, const QFont& font, Role role) {
    painter.setFont(font);
    painter.setPen(episodeLook::colour(role));
    painter.drawText(box, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     QFontMetricsF(font).elidedText(text, Qt::ElideRight, box.width()));
}

void paintTile(QPainter& painter, const QRectF& box, const ContactTile& tile) {
    const QRectF picture(box.x(), box.y(), contactWidth, contactHeight);
    QPainterPath shape;
    shape.addRoundedRect(picture, radius, radius);
    painter.fillPath(shape, Qt::black);
    painter.save();
    painter.setClipPath(shape);
    if (!tile.still.isNull()) painter.drawImage(picture, tile.still);
    painter.restore();
    if (tile.isChosen) {
        painter.setPen(QPen(episodeLook::colour(Role::accent), 3));
        painter.drawRoundedRect(picture.adjusted(-3, -3, 3, 3), radius + 2, radius + 2);
    }
    const QString number = QString::number(tile.number);
    const QFont numbers = paintFonts::code(20, QFont::Medium);
    const QRectF line(box.x(), picture.bottom(), contactWidth, caption);
    write(painter, line, number, numbers, tile.isChosen ? Role::text : Role::text3);
    const double after = QFontMetricsF(numbers).horizontalAdvance(number) + 14;
    write(painter, line.adjusted(after, 0, 0, 0),
          tile.text.empty() ? QStringLiteral("Default settings") : asQString(tile.text), paintFonts::code(20),
          tile.isChosen ? Role::text : Role::text2);
}

} // namespace

QImage paintContactSheet(const std::string& title, const std::string& subtitle, const std::vector<ContactTile>& tiles) {
    const int across = std::clamp(int(tiles.size()), 1, columns);
    const int down = std::max(1, (int(tiles.size()) + columns - 1) / columns);
    const int width = 2 * margin + across * contactWidth + (across - 1) * gap;
    const int height = head + down * (contactHeight + caption) + (down - 1) * gap / 2 + margin;
    QImage sheet(width, height, QImage::Format_RGB32);
    if (sheet.isNull()) return sheet;
    sheet.fill(episodeLook::colour(Role::canvas));
    QPainter painter(&sheet);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
    write(painter, QRectF(margin, 30, width - 2 * margin, 48), asQString(title),
          paintFonts::words(36, QFont::ExtraBold), Role::text);
    write(painter, QRectF(margin, 78, width - 2 * margin, 34), asQString(subtitle), paintFonts::words(22), Role::text2);
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        const int column = int(i) % columns, row = int(i) / columns;
        paintTile(painter,
                  QRectF(margin + column * (contactWidth + gap), head + row * (contactHeight + caption + gap / 2),
                         contactWidth, contactHeight + caption),
                  tiles[i]);
    }
    painter.end();
    return sheet;
}

} // namespace glasshob
