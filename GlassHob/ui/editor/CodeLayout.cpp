#include "GlassHob/ui/editor/CodeLayout.h"

#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace glasshob {

void CodeLayout::setCodeLine(int height, double hanging) {
    lineHeight_ = height;
    hanging_ = hanging;
    requestUpdate();
}

void CodeLayout::documentChanged(int from, int removed, int added) {
    const QTextBlock block = document()->findBlock(from);
    const int count = document()->blockCount();
    const bool isInOneLine =
        count == blockCount_ && block.isValid() && block == document()->findBlock(std::max(0, from + added - 1));
    blockCount_ = count;
    // The layout itself has been emptied by the edit; the block remembers how many rows it had.
    const int rows = block.isValid() ? block.lineCount() : 0;
    if (!isInOneLine) {
        QPlainTextDocumentLayout::documentChanged(from, removed, added);
        return;
    }
    block.layout()->clearLayout();
    blockBoundingRect(block); // lays it out anew
    if (block.layout()->lineCount() == rows)
        emit updateBlock(block);
    else
        emit update(); // everything below has moved
}

void CodeLayout::hangRows(const QTextBlock& block) const {
    constexpr int longestHanging = 2000; // what is no line of code is laid out once
    constexpr double mostBehind = 200;   // pixels; a row with more room than that has enough
    QTextLayout* layout = block.layout();
    if (layout->lineCount() == 0 || block.length() > longestHanging ||
        layout->textOption().wrapMode() == QTextOption::NoWrap)
        return;
    const double margin = document()->documentMargin();
    const bool isOneRow = layout->lineCount() == 1;
    const double free = layout->lineAt(0).width() - layout->lineAt(0).naturalTextWidth();
    if (isOneRow ? free >= mostBehind : layout->lineAt(1).x() != margin) return; // they hang already
    const double behind = roomBehind_ ? std::min({roomBehind_(block), mostBehind, layout->lineAt(0).width() / 2}) : 0;
    if (isOneRow && free >= behind) return;
    const QString text = block.text();
    int blanks = 0;
    while (blanks < text.size() && (text[blanks] == u' ' || text[blanks] == u'\t'))
        ++blanks;
    const QTextLine first = layout->lineAt(0);
    const double width = first.width();
    if (blanks >= first.textLength()) return;
    // In a narrow pane the indentation gives way to the text.
    const double hang = std::min(first.cursorToX(blanks) - margin + hanging_, width / 3);
    layout->beginLayout();
    for (QTextLine line = layout->createLine(); line.isValid(); line = layout->createLine()) {
        const double indent = line.textStart() == 0 ? 0 : hang;
        line.setLeadingIncluded(true);
        line.setLineWidth(width - indent - behind);
        line.setPosition(QPointF(margin + indent, 0));
    }
    layout->endLayout();
    const_cast<QTextBlock&>(block).setLineCount(layout->lineCount());
}

QRectF CodeLayout::blockBoundingRect(const QTextBlock& block) const {
    QRectF rect = QPlainTextDocumentLayout::blockBoundingRect(block);
    if (!block.isValid() || !block.isVisible()) return rect;
    hangRows(block);
    // The base has just laid the lines out with the font's height; move them onto our grid, centred in their rows.
    const QTextLayout* layout = block.layout();
    const int lines = layout->lineCount();
    for (int i = 0; i < lines; ++i) {
        QTextLine line = layout->lineAt(i);
        const double y = i * lineHeight_ + std::floor((lineHeight_ - line.height()) / 2);
        if (line.y() != y) line.setPosition(QPointF(line.x(), y));
    }
    const double below = block.next().isValid() ? 0 : document()->documentMargin();
    rect.setHeight(std::max(1, lines) * lineHeight_ + below);
    return rect;
}

} // namespace glasshob
