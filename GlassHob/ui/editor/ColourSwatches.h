// The colours that stand in the code as constants: a small square for each behind its line, in their order. Lines that
// wrap leave room for them; one that does not, and ends outside of the pane, has them in its indentation.
// Stateless; main thread.
#pragma once

#include "GlassHobCore/code/CodeNumbers.h"

#include <QPointF>
#include <QRectF>

#include <optional>
#include <vector>

class QPainter;
class QPoint;
class QTextBlock;

namespace glasshob {

class CodeEditor;

namespace colourSwatches {

// None of a very long line.
std::vector<CodeColour> coloursOf(const QTextBlock& block);
// What they take behind the line's text, in pixels.
double roomBehind(const QTextBlock& block);
// `offset` is the block's place, as its text is painted; rows are `lineHeight` high; `width` is the viewport's.
void paint(QPainter& painter, const QTextBlock& block, const QPointF& offset, int lineHeight, double width);

struct Swatch {
    int blockNumber = 0;
    std::size_t colour = 0; // its number in the line
    QRectF rect;            // in the viewport
};
std::optional<Swatch> swatchAt(const CodeEditor& editor, const QPoint& place);
// Of a line that can be seen; for tests and for the keyboard's user.
std::vector<Swatch> swatchesOf(const CodeEditor& editor, int blockNumber);

} // namespace colourSwatches
} // namespace glasshob
