// Bytes to tokens, without preprocessing. Reads one region of the text at a time; white space of any script, comments
// and line splices only leave flags on the next token. Every text lexes: what begins no token is reported and skipped.
#pragma once

#include "MSL/lex/Token.h"
#include "MSL/source/Diagnostics.h"

namespace msl {

class Lexer {
  public:
    Lexer(std::string_view text, IdentifierTable& identifiers, Diagnostics& diagnostics)
        : text_(text), identifiers_(identifiers), diagnostics_(diagnostics) {}

    // Reads [begin, end) from now on; the first token stands at the start of a line.
    void setRange(std::uint32_t begin, std::uint32_t end) {
        at_ = text_.data() + begin;
        end_ = text_.data() + end;
        startOfLine_ = true;
        inDirective_ = false;
    }

    // The next token; eof at the end of the range.
    void next(Token& token);

    // In a directive the end of the line is a token of its own, endOfDirective, which also ends this mode.
    void enterDirective() { inDirective_ = true; }
    bool inDirective() const { return inDirective_; }

    // Skipped text (#if 0) is lexed without complaints.
    void setQuiet(bool quiet) { quiet_ = quiet; }

    // The rest of the line as written, from the current place; the place does not move.
    std::string_view restOfLine() const;
    // Skips to the end of a "<...>" header name that begins here; empty when there is none on this line.
    std::string_view headerName(SourceLocation& begin);

    std::uint32_t offset() const { return static_cast<std::uint32_t>(at_ - text_.data()); }
    // True when the next significant byte of this region is '('.
    bool leftParenFollows() const;

  private:
    bool skipBlanks(Token& token); // false at the end of a directive
    bool skipBlockComment();
    void skipLineComment();
    void lexWord(Token& token, const char* begin);
    void lexWordSlowly(Token& token, const char* begin);
    void lexNumber(Token& token, const char* begin);
    void lexQuoted(Token& token, const char* begin, char quote);
    void lexPunctuation(Token& token, const char* begin);
    void lexOther(Token& token, const char* begin);
    const char* spliceEnd(const char* backslash) const; // after the line end behind a backslash, or null
    char peek(std::size_t n) const { return at_ + n < end_ ? at_[n] : '\0'; }
    SourceLocation locationOf(const char* at) const {
        return SourceLocation::atOffset(static_cast<std::uint32_t>(at - text_.data()));
    }

    std::string_view text_;
    const char* at_ = nullptr;
    const char* end_ = nullptr;
    bool startOfLine_ = true;
    bool inDirective_ = false;
    bool quiet_ = false;
    bool markNext_ = false; // the next token gets Token::afterError
    IdentifierTable& identifiers_;
    Diagnostics& diagnostics_;
};

} // namespace msl
