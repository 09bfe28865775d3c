#include "GlassHob/ui/editor/MoreCarets.h"

#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHobCore/code/Words.h"

#include <QKeyEvent>
#include <QTextBlock>

#include <algorithm>

namespace glasshob {

namespace {

bool sameStretch(const QTextCursor& a, const QTextCursor& b) {
    return a.selectionStart() == b.selectionStart() && a.selectionEnd() == b.selectionEnd();
}

} // namespace

void MoreCarets::clear() {
    if (cursors_.empty()) return;
    cursors_.clear();
    editor_->viewport()->update();
}

bool MoreCarets::selectWord() {
    QTextCursor cursor = editor_->textCursor();
    const QString text = cursor.block().text();
    const TextRange word = wordAt(text, cursor.positionInBlock());
    if (word.length == 0) return false;
    const int start = cursor.block().position();
    cursor.setPosition(start + int(word.location));
    cursor.setPosition(start + int(word.end()), QTextCursor::KeepAnchor);
    editor_->setTextCursor(cursor);
    return true;
}

QTextCursor MoreCarets::next(const QString& text, int from) const {
    // Stretches of several lines are compared as the document holds them.
    QTextDocument* document = editor_->document();
    const QString all = document->toRawText();
    qsizetype at = all.indexOf(text, from);
    if (at < 0) at = all.indexOf(text);
    if (at < 0) return {};
    QTextCursor found(document);
    found.setPosition(int(at));
    found.setPosition(int(at + text.size()), QTextCursor::KeepAnchor);
    return found;
}

bool MoreCarets::isTaken(const QTextCursor& cursor) const {
    return sameStretch(cursor, editor_->textCursor()) ||
           std::ranges::any_of(cursors_, [&](const QTextCursor& each) { return sameStretch(each, cursor); });
}

void MoreCarets::addNextOccurrence() {
    const QTextCursor own = editor_->textCursor();
    if (!own.hasSelection()) {
        clear();
        selectWord();
        return;
    }
    if (cursors_.size() >= most) return;
    const QTextCursor found = next(own.selectedText(), own.selectionEnd());
    if (found.isNull() || isTaken(found)) return;
    cursors_.push_back(own);
    editor_->setTextCursor(found);
    editor_->viewport()->update();
}

void MoreCarets::addAllOccurrences() {
    if (!editor_->textCursor().hasSelection() && !selectWord()) return;
    const QTextCursor own = editor_->textCursor();
    const QString text = own.selectedText(), all = editor_->document()->toRawText();
    std::vector<QTextCursor> found = {own};
    for (qsizetype at = all.indexOf(text); at >= 0 && found.size() < most; at = all.indexOf(text, at + text.size())) {
        if (at < own.selectionEnd() && at + text.size() > own.selectionStart()) continue;
        QTextCursor cursor(editor_->document());
        cursor.setPosition(int(at));
        cursor.setPosition(int(at + text.size()), QTextCursor::KeepAnchor);
        found.push_back(cursor);
    }
    setAll(found);
}

void MoreCarets::setAll(const std::vector<QTextCursor>& cursors) {
    if (cursors.empty()) return;
    editor_->setTextCursor(cursors.front());
    cursors_.assign(cursors.begin() + 1, cursors.end());
    editor_->viewport()->update();
}

template <typename Edit>
void MoreCarets::edit(const Edit& edit) {
    QTextCursor own = editor_->textCursor();
    QTextCursor step(editor_->document());
    step.beginEditBlock();
    edit(own);
    for (QTextCursor& cursor : cursors_)
        edit(cursor);
    step.endEditBlock();
    editor_->setTextCursor(own);
    merge();
}

void MoreCarets::insert(const QString& text) {
    edit([&](QTextCursor& cursor) { cursor.insertText(text); });
    editor_->ensureCursorVisible();
}

void MoreCarets::move(QTextCursor::MoveOperation operation, bool selects) {
    QTextCursor own = editor_->textCursor();
    const auto mode = selects ? QTextCursor::KeepAnchor : QTextCursor::MoveAnchor;
    own.movePosition(operation, mode);
    for (QTextCursor& cursor : cursors_)
        cursor.movePosition(operation, mode);
    editor_->setTextCursor(own);
    merge();
}

void MoreCarets::merge() {
    std::vector<QTextCursor> kept;
    for (const QTextCursor& cursor : cursors_)
        if (!sameStretch(cursor, editor_->textCursor()) &&
            std::ranges::none_of(kept, [&](const QTextCursor& each) { return sameStretch(each, cursor); }))
            kept.push_back(cursor);
    cursors_ = std::move(kept);
    editor_->viewport()->update();
}

bool MoreCarets::takesKey(const QKeyEvent& event) {
    if (isEmpty()) return false;
    const bool selects = event.modifiers() & Qt::ShiftModifier;
    const bool byWord = event.modifiers() & Qt::ControlModifier;
    if (event.modifiers() & (Qt::AltModifier | Qt::MetaModifier)) return false;
    switch (event.key()) {
    case Qt::Key_Escape: clear(); return true;
    case Qt::Key_Left: move(byWord ? QTextCursor::PreviousWord : QTextCursor::Left, selects); return true;
    case Qt::Key_Right: move(byWord ? QTextCursor::NextWord : QTextCursor::Right, selects); return true;
    case Qt::Key_Home:
    case Qt::Key_End:
        if (byWord) break; // one place
        move(event.key() == Qt::Key_Home ? QTextCursor::StartOfBlock : QTextCursor::EndOfBlock, selects);
        return true;
    case Qt::Key_Up:
    case Qt::Key_Down:
        if (byWord) return false;
        move(event.key() == Qt::Key_Up ? QTextCursor::Up : QTextCursor::Down, selects);
        return true;
    case Qt::Key_Backspace: edit([](QTextCursor& cursor) { cursor.deletePreviousChar(); }); return true;
    case Qt::Key_Delete: edit([](QTextCursor& cursor) { cursor.deleteChar(); }); return true;
    case Qt::Key_Return:
    case Qt::Key_Enter: insert(QStringLiteral("\n")); return true;
    case Qt::Key_Tab: insert(QStringLiteral("    ")); return true;
    case Qt::Key_PageUp:
    case Qt::Key_PageDown: break;
    default: {
        const QString text = event.text();
        if (byWord || text.isEmpty() || !text[0].isPrint()) return false;
        insert(text);
        return true;
    }
    }
    clear();
    return false;
}

} // namespace glasshob
