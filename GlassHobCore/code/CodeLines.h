#pragma once

// Shader text as lines of words and signs, for what an editor wants to know about a program that is being typed and
// mostly does not compile: the names it declares, the pair of a bracket. Comments, strings' contents and preprocessor
// lines have no tokens. Positions count UTF-16 code units. Values; any thread; any text is accepted.

#include "GlassHobCore/code/MSLSyntax.h"

#include <QString>

#include <vector>

namespace glasshob {

struct CodeToken {
    enum class Kind : std::uint8_t { word, keyword, type, number, string, attribute, sign };
    Kind kind = Kind::sign;
    int start = 0;
    int length = 0;

    int end() const { return start + length; }
};

struct CodeLine {
    QString text;
    std::vector<CodeToken> tokens;
    MSLSyntax::LineState before = MSLSyntax::LineState::plain;
    MSLSyntax::LineState after = MSLSyntax::LineState::plain;
    // How the depth of braces changes over the line, and its lowest value on the way (0 or below).
    int depthChange = 0, lowestDepth = 0;
    bool isPreprocessor = false;
    bool isDirective = false;

    QStringView of(const CodeToken& token) const { return QStringView(text).mid(token.start, token.length); }
};

// Reads a line that begins in a state.
CodeLine readCodeLine(const QString& text, MSLSyntax::LineState before);

// A place among the tokens of some lines. Steps over lines without tokens.
class CodeCursor {
  public:
    // At the first token at or behind a place.
    CodeCursor(const std::vector<CodeLine>& lines, int line, int column = 0);

    bool atEnd() const { return line_ >= int(lines_->size()); }
    int line() const { return line_; }
    const CodeToken& token() const { return (*lines_)[std::size_t(line_)].tokens[std::size_t(index_)]; }
    // Empty at the end.
    QStringView text() const { return atEnd() ? QStringView() : (*lines_)[std::size_t(line_)].of(token()); }
    bool is(char16_t sign) const {
        const QStringView text = this->text();
        return text.size() == 1 && text[0] == sign;
    }
    bool isKind(CodeToken::Kind kind) const { return !atEnd() && token().kind == kind; }
    // A word, a type's name or a keyword.
    bool isName() const { return isKind(CodeToken::Kind::word) || isKind(CodeToken::Kind::type); }
    // Whether the token stands before a place.
    bool isBefore(int line, int column) const {
        return !atEnd() && (line_ < line || (line_ == line && token().start < column));
    }

    void next();
    // False at the first token, where it stays.
    bool previous();
    // From an opening sign behind its closing one, or to the end.
    void skipGroup();
    // From `{` behind its `}`, whatever the other brackets do between them; false at the end of the text.
    bool skipBraces();
    // From `<` behind its `>`; stays where there is none that can be a template's.
    bool skipAngles();

  private:
    const std::vector<CodeLine>* lines_;
    int line_;
    int index_ = 0;
};

} // namespace glasshob
