#include "GlassHob/ui/editor/LineCommands.h"

#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>

#include <algorithm>

namespace glasshob::lineCommands {

namespace {

// The lines that the selection touches; one that ends at the start of a line does not touch it.
struct Lines {
    QTextBlock first, last;
};

Lines touched(const QTextCursor& cursor) {
    const QTextDocument* document = cursor.document();
    const int from = cursor.selectionStart(), to = cursor.selectionEnd();
    QTextBlock last = document->findBlock(to);
    if (to > from && to == last.position()) last = last.previous();
    return {document->findBlock(from), last};
}

int textEnd(const QTextBlock& block) {
    return block.position() + block.length() - 1;
}

QString textBetween(const QTextCursor& cursor, int from, int to) {
    QTextCursor part(cursor.document());
    part.setPosition(from);
    part.setPosition(to, QTextCursor::KeepAnchor);
    return part.selectedText();
}

void select(QTextCursor& cursor, int anchor, int position) {
    const int end = textEnd(cursor.document()->lastBlock());
    cursor.setPosition(std::clamp(anchor, 0, end));
    cursor.setPosition(std::clamp(position, 0, end), QTextCursor::KeepAnchor);
}

} // namespace

bool moveLines(QTextCursor& cursor, int direction) {
    const Lines lines = touched(cursor);
    const QTextBlock other = direction < 0 ? lines.first.previous() : lines.last.next();
    if (!other.isValid()) return false;
    const int anchor = cursor.anchor(), position = cursor.position();
    const QString passed = other.text();
    const int shift = direction * int(passed.size() + 1);
    const int first = lines.first.position(), last = textEnd(lines.last);
    // The line that is passed is taken out and put in on the other side: what is marked on the others stays marked.
    QTextCursor edit(cursor);
    edit.beginEditBlock();
    if (direction < 0) {
        edit.setPosition(last);
        edit.insertText(QChar(QChar::ParagraphSeparator) + passed);
        edit.setPosition(other.position());
        edit.setPosition(first, QTextCursor::KeepAnchor);
        edit.removeSelectedText();
    } else {
        edit.setPosition(last);
        edit.setPosition(textEnd(other), QTextCursor::KeepAnchor);
        edit.removeSelectedText();
        edit.setPosition(first);
        edit.insertText(passed + QChar(QChar::ParagraphSeparator));
    }
    edit.endEditBlock();
    select(cursor, anchor + shift, position + shift);
    return true;
}

void duplicateLines(QTextCursor& cursor) {
    const Lines lines = touched(cursor);
    const int anchor = cursor.anchor(), position = cursor.position();
    const int first = lines.first.position(), last = textEnd(lines.last);
    const QString text = textBetween(cursor, first, last);
    QTextCursor edit(cursor);
    edit.beginEditBlock();
    edit.setPosition(last);
    edit.insertText(QChar(QChar::ParagraphSeparator) + text);
    edit.endEditBlock();
    const int shift = int(text.size()) + 1;
    select(cursor, anchor + shift, position + shift);
}

void deleteLines(QTextCursor& cursor) {
    const Lines lines = touched(cursor);
    const int column = cursor.positionInBlock();
    int from = lines.first.position(), to = textEnd(lines.last);
    if (lines.last.next().isValid())
        ++to;
    else if (from > 0)
        --from;
    QTextCursor edit(cursor);
    edit.beginEditBlock();
    edit.setPosition(from);
    edit.setPosition(to, QTextCursor::KeepAnchor);
    edit.removeSelectedText();
    edit.endEditBlock();
    const QTextBlock here = cursor.document()->findBlock(edit.position());
    cursor.setPosition(here.position() + std::min(column, here.length() - 1));
}

void smartHome(QTextCursor& cursor, QTextCursor::MoveMode mode) {
    const QTextBlock block = cursor.block();
    // In a wrapped line Home first goes to the start of the row.
    const QTextLine row = block.layout()->lineForTextPosition(cursor.positionInBlock());
    if (row.isValid() && row.lineNumber() > 0 && cursor.positionInBlock() > row.textStart()) {
        cursor.movePosition(QTextCursor::StartOfLine, mode);
        return;
    }
    const QString text = block.text();
    int code = 0;
    while (code < text.size() && (text[code] == u' ' || text[code] == u'\t'))
        ++code;
    const int target = cursor.positionInBlock() == code ? 0 : code;
    cursor.setPosition(block.position() + target, mode);
}

} // namespace glasshob::lineCommands
