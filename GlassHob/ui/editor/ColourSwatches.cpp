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

QRectF rectOf(std::size_t colour, const QTextBlock& block, const QPointF& offset, int lineHeight) {
    const QTextLayout* layout = block.layout();
    const int rows = layout->lineCount();
    if (rows == 0) return {};
    const QTextLine last = layout->lineAt(rows - 1);
    const double left = offset.x() + last.x() + last.naturalTextWidth() + before + double(colour) * (side + gap);
    return {std::round(left), offset.y() + (rows - 1) * lineHeight + (lineHeight - side) / 2, side, side};
}

} // namespace

std::vector<CodeColour> coloursOf(const QTextBlock& block) {
    if (!block.isValid() || block.length() > longestLine) return {};
    return coloursIn(block.text());
}

void paint(QPainter& painter, const QTextBlock& block, const QPointF& offset, int lineHeight) {
    const std::vector<CodeColour> colours = coloursOf(block);
    if (colours.empty()) return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    for (std::size_t i = 0; i < colours.size(); ++i) {
        const auto& parts = colours[i].parts;
        painter.setPen(QPen(themed(Role::lineStrong), 1));
        painter.setBrush(QColor::fromRgbF(float(parts[0].value), float(parts[1].value), float(parts[2].value)));
        painter.drawRoundedRect(rectOf(i, block, offset, lineHeight).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
    }
    painter.restore();
}

std::vector<Swatch> swatchesOf(const CodeEditor& editor, int blockNumber) {
    std::vector<Swatch> swatches;
    for (const CodeEditor::VisibleLine& line : editor.visibleLines()) {
        if (line.blockNumber != blockNumber) continue;
        const QTextBlock block = editor.document()->findBlockByNumber(blockNumber);
        const std::size_t count = coloursOf(block).size();
        for (std::size_t i = 0; i < count; ++i)
            swatches.push_back(
                {blockNumber, i, rectOf(i, block, QPointF(editor.textLeft(), line.top), editor.codeLineHeight())});
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
