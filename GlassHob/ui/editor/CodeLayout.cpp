#include "GlassHob/ui/editor/CodeLayout.h"

#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace glasshob {

void CodeLayout::setCodeLineHeight(int pixels) {
    lineHeight_ = pixels;
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

QRectF CodeLayout::blockBoundingRect(const QTextBlock& block) const {
    QRectF rect = QPlainTextDocumentLayout::blockBoundingRect(block);
    if (!block.isValid() || !block.isVisible()) return rect;
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
