// What the editor paints: the bands of the current line and of errors, the marks of matches and brackets, the
// selection, the text, the wavy lines and the caret.
#include "GlassHob/ui/controls/SeverityLook.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/ColourSwatches.h"

#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr double lineEndWidth = 6;
constexpr int longLine = 2000; // letters of a line that is painted piece by piece

} // namespace

void CodeEditor::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.fillRect(event->rect(), themed(Role::editor));
    paintLines(painter, event->rect());
    if (!hasFocus() || !caretShown_) return;
    painter.fillRect(caretRect(), themed(Role::accentText));
    for (const QTextCursor& cursor : moreCarets_.all())
        if (const QRect caret = caretRect(cursor); caret.intersects(event->rect()))
            painter.fillRect(caret, themed(Role::accentText));
}

void CodeEditor::paintLines(QPainter& painter, const QRect& dirty) const {
    const int current = textCursor().blockNumber();
    for (const VisibleLine& line : visibleLines()) {
        if (line.top > dirty.bottom()) break;
        if (line.top + line.height < dirty.top()) continue;
        const QRectF band(0, line.top, viewport()->width(), line.height);
        if (severityOfBlock(line.blockNumber) == Diagnostic::Severity::error)
            painter.fillRect(band, themed(Role::errorLine));
        else if (line.blockNumber == current)
            painter.fillRect(band, themed(Role::curLine));
        const QTextBlock block = document()->findBlockByNumber(line.blockNumber);
        const QPointF offset(contentOffset().x(), line.top);
        // No part of a letter shows in the margin.
        painter.setClipRect(QRectF(horizontalScrollBar()->value() > 0 ? document()->documentMargin() : 0, line.top,
                                   viewport()->width(), line.height));
        paintSpans(painter, block, offset, false);
        paintSelections(painter, block, offset);
        paintSpans(painter, block, offset, true);
        painter.setPen(themed(CodeRole::plain));
        paintText(painter, block, offset, dirty);
        paintMarks(painter, block, offset);
        colourSwatches::paint(painter, block, offset, lineHeight_, viewport()->width());
        painter.setClipping(false);
    }
}

void CodeEditor::paintText(QPainter& painter, const QTextBlock& block, const QPointF& offset, const QRect& dirty) const {
    const QTextLayout* layout = block.layout();
    const QTextLine line = layout->lineCount() > 0 ? layout->lineAt(0) : QTextLine();
    if (layout->lineCount() != 1 || block.length() < longLine) {
        layout->draw(&painter, offset, {}, QRectF(dirty));
        return;
    }
    // Of a long line the letters that can be seen are laid out once more and painted: a layout paints all it has.
    const int from = std::max(0, line.xToCursor(dirty.left() - offset.x()) - 1);
    const int to = std::min(block.length() - 1, line.xToCursor(dirty.right() - offset.x()) + 2);
    QTextLayout part(block.text().mid(from, to - from), font());
    QTextOption option = document()->defaultTextOption();
    option.setWrapMode(QTextOption::NoWrap);
    part.setTextOption(option);
    QList<QTextLayout::FormatRange> formats;
    for (QTextLayout::FormatRange range : layout->formats()) {
        range.start -= from;
        if (range.start < to - from && range.start + range.length > 0) formats << range;
    }
    part.setFormats(formats);
    part.beginLayout();
    part.createLine().setPosition({line.cursorToX(from), line.y()});
    part.endLayout();
    part.draw(&painter, offset);
}

std::vector<QRectF> CodeEditor::rectsOf(int from, int to, const QTextBlock& block, const QPointF& offset) const {
    std::vector<QRectF> rects;
    from -= block.position();
    to -= block.position();
    if (to <= 0 || from >= block.length()) return rects;
    const QTextLayout* layout = block.layout();
    for (int i = 0; i < layout->lineCount(); ++i) {
        const QTextLine line = layout->lineAt(i);
        const int start = line.textStart(), end = start + line.textLength();
        const bool last = i + 1 == layout->lineCount();
        if (from > end || to <= start || (from == end && !last)) continue;
        const double left = line.cursorToX(std::max(from, start));
        double right = line.cursorToX(std::min(to, end));
        // A line end shows as a narrow block behind the text.
        if (to > end && last) right += lineEndWidth;
        rects.emplace_back(left + offset.x(), offset.y() + i * lineHeight_, right - left, lineHeight_);
    }
    return rects;
}

void CodeEditor::paintSelections(QPainter& painter, const QTextBlock& block, const QPointF& offset) const {
    auto paint = [&](const QTextCursor& cursor) {
        if (!cursor.hasSelection()) return;
        for (const QRectF& rect : rectsOf(cursor.selectionStart(), cursor.selectionEnd(), block, offset))
            painter.fillRect(rect, themed(Role::selection));
    };
    paint(textCursor());
    for (const QTextCursor& cursor : moreCarets_.all())
        paint(cursor);
}

void CodeEditor::paintSpans(QPainter& painter, const QTextBlock& block, const QPointF& offset, bool frames) const {
    const int first = block.position(), last = first + block.length();
    for (const auto& spans : spans_) {
        const bool isMatch = &spans == &spans_[std::size_t(SpanLayer::match)];
        auto span = std::ranges::lower_bound(spans, first, {}, &Span::to);
        for (; span != spans.end() && span->from < last; ++span)
            for (const QRectF& rect : rectsOf(span->from, span->to, block, offset)) {
                if (rect.width() <= 0) continue;
                if (!frames) {
                    painter.fillRect(rect.adjusted(0, 1, 0, -1), themed(Role::match));
                    continue;
                }
                painter.setPen(QPen(themed(isMatch ? Role::matchLine : Role::text3), 1));
                painter.setBrush(Qt::NoBrush);
                painter.drawRect(rect.adjusted(0.5, 1.5, -0.5, -1.5));
            }
    }
}

void CodeEditor::paintMarks(QPainter& painter, const QTextBlock& block, const QPointF& offset) const {
    constexpr double step = 2.5, dotStep = 4, leastWidth = 7;
    for (const CodeMarks::Mark& mark : marks_.all()) {
        if (mark.look == CodeMarks::Look::none || mark.range.block() != block) continue;
        const int from = mark.range.selectionStart() - block.position();
        const int to = std::min(mark.range.selectionEnd() - block.position(), block.length() - 1);
        const QTextLine line = block.layout()->lineForTextPosition(from);
        if (!line.isValid()) continue;
        const double left = line.cursorToX(from) + offset.x();
        const double right = std::max(left + leastWidth,
                                      line.cursorToX(std::min(to, line.textStart() + line.textLength())) + offset.x());
        // What is stroked is what can be seen, however long the word is; the pattern keeps its place when it scrolls.
        const bool isWave = mark.look == CodeMarks::Look::wave;
        const double period = isWave ? 2 * step : dotStep;
        const double begin = left < 0 ? left + std::floor(-left / period) * period : left;
        const double end = std::min(right, double(viewport()->width()));
        if (begin >= end) continue;
        const double y = offset.y() + line.y() + line.ascent() + 3;
        const QColor color = themed(severityRole(mark.diagnostic.severity));
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        if (isWave) {
            QPainterPath wave(QPointF(begin, y));
            double x = begin;
            for (int i = 0; x < end; ++i, x += step)
                wave.quadTo(QPointF(x + step / 2, y + (i % 2 ? 2 : -2)), QPointF(x + step, y));
            painter.setClipRect(QRectF(begin, y - 3, end - begin, 6), Qt::IntersectClip);
            painter.strokePath(wave, QPen(color, 1.1));
        } else {
            painter.setPen(Qt::NoPen);
            painter.setBrush(color);
            for (double x = begin; x < end; x += dotStep)
                painter.drawEllipse(QPointF(x + 1, y), 1, 1);
        }
        painter.restore();
    }
}

QRect CodeEditor::caretRect(const QTextCursor& cursor) const {
    const QTextBlock block = cursor.block();
    const QRectF geometry = blockBoundingGeometry(block).translated(contentOffset());
    const int position = cursor.positionInBlock();
    const QTextLine line = block.layout()->lineForTextPosition(position);
    if (!line.isValid())
        return QRect(QPoint(int(geometry.left() + document()->documentMargin()), int(geometry.top()) + 1),
                     QSize(2, lineHeight_ - 2));
    const double x = geometry.left() + line.cursorToX(position);
    const double y = geometry.top() + line.lineNumber() * lineHeight_;
    return QRect(int(x + 0.5), int(y) + 1, 2, lineHeight_ - 2);
}

} // namespace glasshob
