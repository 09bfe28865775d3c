#include "GlassHob/ui/editor/CodeMarks.h"

#include "GlassHobCore/code/QuickFixes.h"
#include "GlassHobCore/code/Words.h"

#include <QTextBlock>
#include <QTextDocument>

#include <algorithm>

namespace glasshob {

int utf16Column(const QString& line, std::int64_t byteColumn) {
    std::int64_t bytes = 1;
    int at = 0;
    while (at < line.size() && bytes < byteColumn) {
        const char16_t c = line[at].unicode();
        if (QChar::isHighSurrogate(c) && at + 1 < line.size()) {
            bytes += 4;
            at += 2;
        } else {
            bytes += c < 0x80 ? 1 : c < 0x800 ? 2 : 3;
            ++at;
        }
    }
    return at;
}

QTextBlock CodeMarks::lineOf(std::int64_t line) const {
    return document_->findBlockByNumber(int(std::clamp<std::int64_t>(line, 1, document_->blockCount())) - 1);
}

QTextCursor CodeMarks::rangeOf(const Diagnostic& diagnostic) const {
    const QTextBlock block = lineOf(diagnostic.line);
    const QString text = block.text();
    int from = 0;
    if (diagnostic.column > 0)
        from = utf16Column(text, diagnostic.column);
    else
        while (from < text.size() && (text[from] == u' ' || text[from] == u'\t'))
            ++from;
    int to = from;
    if (diagnostic.column <= 0)
        to = int(text.size());
    else if (diagnostic.length > 0)
        to = utf16Column(text, diagnostic.column + diagnostic.length);
    else if (from < text.size() && isWordPart(text[from]))
        while (to < text.size() && isWordPart(text[to]))
            ++to;
    else
        to = std::min<int>(from + 1, int(text.size()));
    if (from >= text.size() && !text.isEmpty()) from = int(text.size()) - 1, to = int(text.size());
    QTextCursor cursor(block);
    cursor.setPosition(block.position() + from);
    cursor.setPosition(block.position() + to, QTextCursor::KeepAnchor);
    return cursor;
}

QTextCursor CodeMarks::rangeOf(const msl::FixIt& edit) const {
    QTextCursor cursor(document_);
    if (edit.line > unsigned(document_->blockCount())) {
        cursor.movePosition(QTextCursor::End);
        return cursor;
    }
    const QTextBlock block = lineOf(edit.line);
    cursor.setPosition(block.position() + utf16Column(block.text(), edit.column));
    cursor.setPosition(block.position() + utf16Column(block.text(), std::int64_t(edit.column) + edit.length),
                       QTextCursor::KeepAnchor);
    return cursor;
}

void CodeMarks::set(const std::vector<Diagnostic>& messages, const std::vector<Diagnostic>& directiveNotes,
                    std::string_view source) {
    marks_.clear();
    auto add = [&](std::size_t number, const Diagnostic& diagnostic, Look look) {
        std::vector<Fix> fixes;
        for (const QuickFix& fix : quickFixes(diagnostic, source))
            fixes.push_back(
                {QString::fromStdString(fix.title), rangeOf(fix.edit), QString::fromStdString(fix.edit.replacement)});
        marks_.push_back({number, diagnostic, rangeOf(diagnostic), look, std::move(fixes)});
    };
    const Diagnostic* error = nullptr;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        const Diagnostic& message = messages[i];
        const bool isNote = message.severity == Diagnostic::Severity::note;
        if (!isNote) error = &message;
        if (message.line <= 0) continue;
        // A note about another place stands in the list alone.
        if (isNote && (!error || error->line != message.line || error->column != message.column)) continue;
        add(i, message, isNote ? Look::none : Look::wave);
    }
    for (std::size_t i = 0; i < directiveNotes.size(); ++i)
        add(messages.size() + i, directiveNotes[i], Look::dots);
}

std::vector<const CodeMarks::Mark*> CodeMarks::ofBlock(int blockNumber) const {
    std::vector<const Mark*> found;
    for (const Mark& mark : marks_)
        if (mark.range.block().blockNumber() == blockNumber) found.push_back(&mark);
    return found;
}

std::optional<Diagnostic::Severity> CodeMarks::severityOfBlock(int blockNumber) const {
    std::optional<Diagnostic::Severity> worst;
    for (const Mark* mark : ofBlock(blockNumber))
        if (mark->look != Look::none && (!worst || mark->diagnostic.severity < *worst))
            worst = mark->diagnostic.severity;
    return worst;
}

std::vector<CodeMarks::Fix> CodeMarks::fixesOf(std::size_t message) const {
    const auto mark = std::ranges::find(marks_, message, &Mark::message);
    return mark == marks_.end() ? std::vector<Fix>() : mark->fixes;
}

std::vector<CodeMarks::Fix> CodeMarks::fixesAt(const QTextCursor& place) const {
    std::vector<Fix> here, elsewhere;
    for (const Mark* mark : ofBlock(place.blockNumber())) {
        const bool isHere =
            mark->range.selectionStart() <= place.position() && place.position() <= mark->range.selectionEnd();
        auto& fixes = isHere ? here : elsewhere;
        fixes.insert(fixes.end(), mark->fixes.begin(), mark->fixes.end());
    }
    here.insert(here.end(), elsewhere.begin(), elsewhere.end());
    return here;
}

QTextCursor CodeMarks::apply(const Fix& fix) {
    QTextCursor cursor = fix.range;
    cursor.beginEditBlock();
    cursor.insertText(fix.replacement);
    cursor.endEditBlock();
    // A new line is for reading: the caret stands at its end.
    if (fix.replacement.endsWith(u'\n')) cursor.movePosition(QTextCursor::PreviousCharacter);
    return cursor;
}

} // namespace glasshob
