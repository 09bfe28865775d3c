#pragma once

// Finds the coloured parts of shader text: comments, directives, keywords, types, numbers, strings. One lexer serves
// two callers: an editor's highlighter gives it a line and the state in which the line before ended, and `tokens`
// runs it over a whole text. Positions count UTF-16 code units. Single pass, no allocation for each character.
// Pure; any thread; any text is accepted.

#include <QStringList>
#include <QStringView>

#include <vector>

namespace glasshob {

enum class SyntaxKind { comment, header, headerKey, keyword, type, number, string, preprocessor, attribute };

// A stretch of a text in UTF-16 code units.
struct TextRange {
    qsizetype location = 0;
    qsizetype length = 0;

    qsizetype end() const { return location + length; }
    bool operator==(const TextRange&) const = default;
};

struct SyntaxToken {
    SyntaxKind kind = SyntaxKind::comment;
    TextRange range;

    bool operator==(const SyntaxToken&) const = default;
};

namespace MSLSyntax {

// What a line hands to the next one. Equal states mean that the next line need not be coloured again. The values
// suit a highlighter's block state.
enum class LineState {
    plain = 0,
    // Inside a `/*` comment.
    comment = 1,
    // Inside a string whose line ended in a backslash.
    string = 2,
};

// Appends the tokens of one line (without its line feed) and gives the state in which it ends. Ranges are relative
// to the line. A comment or string that continues from the previous line begins at 0.
LineState tokenizeLine(QStringView line, LineState state, std::vector<SyntaxToken>& tokens);

// The words that are coloured as keywords and as types, in no order.
QStringList keywordNames();
QStringList typeNames();

// The tokens of a whole text in text order. They do not overlap, except that a `headerKey` lies inside its
// `header` and follows it. Plain text has no token.
std::vector<SyntaxToken> tokens(QStringView text);

} // namespace MSLSyntax
} // namespace glasshob
