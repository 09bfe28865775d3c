#include "GlassHobRender/episode/CodeColumn.h"

#include "GlassHobRender/episode/TextBlock.h"
#include "GlassHobRender/paint/PaintFonts.h"

#include <QPainterPath>

#include <cmath>

namespace glasshob::codeColumn {

namespace {

using Kind = WalkthroughLine::Kind;

constexpr double barWidth = 6;

void paintGap(QPainter& painter, double size, double middle) {
    const double across = 0.18 * size, apart = 0.6 * size;
    painter.setPen(Qt::NoPen);
    painter.setBrush(episodeLook::colour(Role::text3));
    for (int i = 0; i < 3; ++i)
        painter.drawEllipse(QRectF(textLeft + i * apart, middle - across / 2, across, across));
}

// An arrow that turns down and right, on a grid of 20.
void paintHangingMark(QPainter& painter, double size, double left, double middle) {
    QPainterPath path;
    path.moveTo(3.5, 4);
    path.lineTo(3.5, 11.5);
    path.lineTo(15.5, 11.5);
    path.moveTo(12, 8);
    path.lineTo(15.5, 11.5);
    path.lineTo(12, 15);
    painter.save();
    painter.translate(left, middle - 0.45 * size);
    painter.scale(0.9 * size / 20, 0.9 * size / 20);
    painter.setPen(QPen(episodeLook::colour(Role::text3), 1.7, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(path);
    painter.restore();
}

} // namespace

double textWidth(const EpisodeFrame& frame) {
    return episodeLook::codeColumnWidth(frame) - 60;
}

double top(const CodeRows& rows) {
    return 3 * std::round((540 - rows.height() / 2) / 3);
}

void paint(Sheet& sheet, const CodeRows& rows, double width) {
    QPainter& painter = sheet.painter();
    const double first = top(rows), cell = columnWidth(rows.size);
    QFont font = paintFonts::code(rows.size);
    font.setStyleStrategy(QFont::StyleStrategy(QFont::PreferNoShaping | QFont::NoSubpixelAntialias));
    // Other scripts need their letters joined.
    QFont shaped = font;
    shaped.setStyleStrategy(QFont::NoSubpixelAntialias);
    const double down = baseline(font, rows.rowHeight);
    for (std::size_t i = 0; i < rows.rows.size(); ++i) {
        const CodeRow& row = rows.rows[i];
        const double y = first + double(i) * rows.rowHeight, middle = y + rows.rowHeight / 2.0;
        const bool isAdded = row.kind == Kind::added;
        if (isAdded) {
            sheet.fill({0, y, width, double(rows.rowHeight)}, episodeLook::colour(episodeLook::VideoRole::addedTint));
            sheet.fill({0, y, barWidth, double(rows.rowHeight)}, episodeLook::colour(Role::accent));
        }
        if (row.kind == Kind::gap && row.runs.empty()) paintGap(painter, rows.size, middle);
        if (row.hangingMark >= 0) paintHangingMark(painter, rows.size, textLeft + row.hangingMark * cell, middle);
        const auto tone = isAdded ? episodeLook::CodeTone::added : episodeLook::CodeTone::context;
        for (const CodeRow::Run& run : row.runs) {
            painter.setFont(run.text.front().unicode() < 0x80 ? font : shaped);
            painter.setPen(episodeLook::colour(run.kind ? codeRole(*run.kind) : CodeRole::plain, tone));
            painter.drawText(QPointF(textLeft + run.column * cell, y + down), run.text);
        }
    }
}

} // namespace glasshob::codeColumn
