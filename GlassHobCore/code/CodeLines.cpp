#include "GlassHobCore/code/CodeLines.h"
#include "GlassHobCore/code/Words.h"

#include <algorithm>

namespace glasshob {

namespace {

bool isWordStart(QChar c) {
    return c == u'_' || c.isLetter();
}

} // namespace

CodeLine readCodeLine(const QString& text, MSLSyntax::LineState before) {
    CodeLine line;
    line.text = text;
    line.before = before;
    thread_local std::vector<SyntaxToken> coloured;
    coloured.clear();
    line.after = MSLSyntax::tokenizeLine(text, before, coloured);
    line.tokens.reserve(coloured.size() * 2 + 4);

    // Between the coloured parts stand words and signs.
    auto readPlain = [&](int from, int to) {
        for (int at = from; at < to;) {
            const QChar c = text[at];
            if (isWordStart(c)) {
                int end = at + 1;
                while (end < to && isWordPart(text[end]))
                    ++end;
                line.tokens.push_back({CodeToken::Kind::word, at, end - at});
                at = end;
                continue;
            }
            if (!c.isSpace()) {
                line.tokens.push_back({CodeToken::Kind::sign, at, 1});
                if (c == u'{') ++line.depthChange;
                if (c == u'}') line.lowestDepth = std::min(line.lowestDepth, --line.depthChange);
            }
            ++at;
        }
    };
    int at = 0;
    for (const SyntaxToken& token : coloured) {
        const int start = int(token.range.location), length = int(token.range.length);
        if (start < at) continue; // the key inside a directive
        readPlain(at, start);
        at = start + length;
        switch (token.kind) {
        case SyntaxKind::keyword: line.tokens.push_back({CodeToken::Kind::keyword, start, length}); break;
        case SyntaxKind::type: line.tokens.push_back({CodeToken::Kind::type, start, length}); break;
        case SyntaxKind::number: line.tokens.push_back({CodeToken::Kind::number, start, length}); break;
        case SyntaxKind::string: line.tokens.push_back({CodeToken::Kind::string, start, length}); break;
        case SyntaxKind::attribute: line.tokens.push_back({CodeToken::Kind::attribute, start, length}); break;
        case SyntaxKind::preprocessor: line.isPreprocessor = true; break;
        case SyntaxKind::header: line.isDirective = true; break;
        case SyntaxKind::headerKey:
        case SyntaxKind::comment: break;
        }
    }
    readPlain(at, int(text.size()));
    return line;
}

CodeCursor::CodeCursor(const std::vector<CodeLine>& lines, int line, int column) : lines_(&lines), line_(line) {
    if (atEnd()) return;
    const auto& tokens = lines[std::size_t(line)].tokens;
    index_ = int(std::ranges::lower_bound(tokens, column, {}, &CodeToken::start) - tokens.begin()) - 1;
    next();
}

void CodeCursor::next() {
    if (atEnd()) return;
    ++index_;
    while (!atEnd() && index_ >= int((*lines_)[std::size_t(line_)].tokens.size())) {
        ++line_;
        index_ = 0;
    }
}

bool CodeCursor::previous() {
    int line = std::min(line_, int(lines_->size()));
    int index = atEnd() ? 0 : index_;
    while (index == 0) {
        if (line == 0) return false;
        index = int((*lines_)[std::size_t(--line)].tokens.size());
    }
    line_ = line;
    index_ = index - 1;
    return true;
}

void CodeCursor::skipGroup() {
    int depth = 0;
    for (; !atEnd(); next()) {
        if (is(u'(') || is(u'[') || is(u'{')) ++depth;
        if ((is(u')') || is(u']') || is(u'}')) && --depth <= 0) {
            next();
            return;
        }
    }
}

bool CodeCursor::skipBraces() {
    int depth = 0;
    while (!atEnd()) {
        // A line that stays inside is passed as a whole.
        const CodeLine& line = (*lines_)[std::size_t(line_)];
        if (index_ == 0 && depth > 0 && depth + line.lowestDepth > 0) {
            depth += line.depthChange;
            index_ = int(line.tokens.size()) - 1;
            next();
            continue;
        }
        const bool closes = is(u'}');
        if (is(u'{')) ++depth;
        if (closes) --depth;
        next();
        if (closes && depth == 0) return true;
    }
    return false;
}

bool CodeCursor::skipAngles() {
    if (!is(u'<')) return false;
    const CodeCursor start = *this;
    int depth = 0;
    for (int count = 0; !atEnd() && count < 64; next(), ++count) {
        if (is(u'<')) ++depth;
        if (is(u'>') && --depth == 0) {
            next();
            return true;
        }
        if (is(u';') || is(u'{') || is(u'}') || is(u')')) break;
    }
    *this = start;
    return false;
}

} // namespace glasshob
