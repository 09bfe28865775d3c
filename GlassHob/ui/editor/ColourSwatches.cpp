#include "GlassHob/ui/editor/ColourSwatches.h"

#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeEditor.h"

#include <QPainter>
#include <QTextBlock>
#include <QTextLayout>

namespace glasshob::colourSwatches {

namespace {

constexpr int longestLine = 400;
constexpr double side = 12, gap = 6, before = 14;

// Where the first of them lies.
QPointF placeOf(std::size_t count, const QTextBlock& block, const QPointF& offset, int lineHeight, double width) {
    const QTextLayout* layout = block.layout();
    const int rows = layout->lineCount();
    if (rows == 0) return offset;
    const QTextLine first = layout->lineAt(0), last = layout->lineAt(rows - 1);
    const double wide = double(count) * (side + gap) - gap;
    const double behind = offset.x() + last.x() + last.naturalTextWidth() + before;
    const double inRow = (lineHeight - side) / 2;
    if (behind + wide <= width) return {std::round(behind), offset.y() + (rows - 1) * lineHeight + inRow};
    const QString text = block.text();
    int blanks = 0;
    while (blanks < text.size() && text[blanks].isSpace())
        ++blanks;
    const double code = offset.x() + first.cursorToX(blanks) - gap;
    const bool fits = code - wide >= offset.x() + first.x();
    if (!fits) return {std::round(behind), offset.y() + (rows - 1) * lineHeight + inRow};
    return {std::round(code - wide), offset.y() + inRow};
}

QRectF rectOf(std::size_t colour, const QPointF& first) {
    return {first.x() + double(colour) * (side + gap), first.y(), side, side};
}

} // namespace

std::vector<CodeColour> coloursOf(const QTextBlock& block) {
    if (!block.isValid() || block.length() > longestLine) return {};
    return coloursIn(block.text());
}

double roomBehind(const QTextBlock& block) {
    const std::size_t count = coloursOf(block).size();
    return count == 0 ? 0 : before + double(count) * (side + gap);
}

void paint(QPainter& painter, const QTextBlock& block, const QPointF& offset, int lineHeight, double width) {
    const std::vector<CodeColour> colours = coloursOf(block);
    if (colours.empty()) return;
    const QPointF place = placeOf(colours.size(), block, offset, lineHeight, width);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    for (std::size_t i = 0; i < colours.size(); ++i) {
        const auto& parts = colours[i].parts;
        painter.setPen(QPen(themed(Role::lineStrong), 1));
        painter.setBrush(QColor::fromRgbF(float(parts[0].value), float(parts[1].value), float(parts[2].value)));
        painter.drawRoundedRect(rectOf(i, place).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
    }
    painter.restore();
}

std::vector<Swatch> swatchesOf(const CodeEditor& editor, int blockNumber) {
    std::vector<Swatch> swatches;
    for (const CodeEditor::VisibleLine& line : editor.visibleLines()) {
        if (line.blockNumber != blockNumber) continue;
        const QTextBlock block = editor.document()->findBlockByNumber(blockNumber);
        const std::size_t count = coloursOf(block).size();
        const QPointF place = placeOf(count, block, QPointF(editor.textLeft(), line.top), editor.codeLineHeight(),
                                      editor.viewport()->width());
        for (std::size_t i = 0; i < count; ++i)
            swatches.push_back({blockNumber, i, rectOf(i, place)});
    }
    return swatches;
}

std::optional<Swatch> swatchAt(const CodeEditor& editor, const QPoint& place) {
    for (const CodeEditor::VisibleLine& line : editor.visibleLines()) {
        if (place.y() < line.top || place.y() >= line.top + line.height) continue;
        for (const Swatch& swatch : swatchesOf(editor, line.blockNumber))
            if (swatch.rect.adjusted(-gap / 2, -4, gap / 2, 4).contains(place)) return swatch;
    }
    return std::nullopt;
}

} // namespace glasshob::colourSwatches
