// What the editor paints: the bands of the current line and of errors, the marks of matches and brackets, the
// selection, the text, the wavy lines and the caret.
#include "GlassHob/ui/controls/SeverityLook.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeEditor.h"

#include <QPainter>
#include <QPainterPath>
#include <QTextBlock>
#include <QTextLayout>

#include <algorithm>

namespace glasshob {

namespace {

constexpr double lineEndWidth = 6;

} // namespace

void CodeEditor::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.fillRect(event->rect(), themed(Role::editor));
    paintLines(painter, event->rect());
    if (hasFocus() && caretShown_) painter.fillRect(caretRect(), themed(Role::accentText));
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
        paintSpans(painter, block, offset, false);
        paintSelection(painter, block, offset);
        paintSpans(painter, block, offset, true);
        painter.setPen(themed(CodeRole::plain));
        block.layout()->draw(&painter, offset, {}, QRectF(dirty));
        paintWaves(painter, block, offset);
    }
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

void CodeEditor::paintSelection(QPainter& painter, const QTextBlock& block, const QPointF& offset) const {
    const QTextCursor cursor = textCursor();
    if (!cursor.hasSelection()) return;
    for (const QRectF& rect : rectsOf(cursor.selectionStart(), cursor.selectionEnd(), block, offset))
        painter.fillRect(rect, themed(Role::selection));
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

void CodeEditor::paintWaves(QPainter& painter, const QTextBlock& block, const QPointF& offset) const {
    for (const Mark& mark : marks_) {
        if (mark.range.block() != block) continue;
        const int from = mark.range.selectionStart() - block.position();
        const int to = std::min(mark.range.selectionEnd() - block.position(), block.length() - 1);
        const QTextLine line = block.layout()->lineForTextPosition(from);
        if (!line.isValid()) continue;
        const double left = line.cursorToX(from) + offset.x();
        const double right =
            std::max(left + 7, line.cursorToX(std::min(to, line.textStart() + line.textLength())) + offset.x());
        const double y = offset.y() + line.y() + line.ascent() + 3;
        QPainterPath wave(QPointF(left, y));
        double x = left;
        for (int i = 0; x < right; ++i, x += 2.5)
            wave.quadTo(QPointF(x + 1.25, y + (i % 2 ? 2 : -2)), QPointF(x + 2.5, y));
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setClipRect(QRectF(left, y - 3, right - left, 6), Qt::IntersectClip);
        painter.strokePath(wave, QPen(themed(severityRole(mark.diagnostic.severity)), 1.1));
        painter.restore();
    }
}

QRect CodeEditor::caretRect() const {
    const QTextBlock block = textCursor().block();
    const QRectF geometry = blockBoundingGeometry(block).translated(contentOffset());
    const int position = textCursor().positionInBlock();
    const QTextLine line = block.layout()->lineForTextPosition(position);
    if (!line.isValid())
        return QRect(QPoint(int(geometry.left() + document()->documentMargin()), int(geometry.top()) + 1),
                     QSize(2, lineHeight_ - 2));
    const double x = geometry.left() + line.cursorToX(position);
    const double y = geometry.top() + line.lineNumber() * lineHeight_;
    return QRect(int(x + 0.5), int(y) + 1, 2, lineHeight_ - 2);
}

} // namespace glasshob
