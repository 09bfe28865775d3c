#include "MSL/lex/Lexer.h"

#include "MSL/source/Utf8.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string>

namespace msl {

namespace {

enum CharacterClass : std::uint8_t { other, blank, newline, letter, digit, punctuator, high };

constexpr std::array<std::uint8_t, 256> makeClasses() {
    std::array<std::uint8_t, 256> classes{};
    for (unsigned c = 0; c < 256; ++c) {
        if (c == ' ' || c == '\t' || c == '\v' || c == '\f')
            classes[c] = blank;
        else if (c == '\n' || c == '\r')
            classes[c] = newline;
        else if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_')
            classes[c] = letter;
        else if (c >= '0' && c <= '9')
            classes[c] = digit;
        else if (c >= 0x80)
            classes[c] = high;
    }
    for (char c : {'(', ')', '[', ']', '{', '}', ';', ',', ':', '?', '.', '+', '-',
                   '*', '/', '%', '&', '|', '^', '~', '!', '=', '<', '>', '#'})
        classes[static_cast<unsigned char>(c)] = punctuator;
    return classes;
}
constexpr std::array<std::uint8_t, 256> classes = makeClasses();

std::uint8_t classOf(char c) {
    return classes[static_cast<unsigned char>(c)];
}
// Characters that editors and web pages put in place of plain ones.
struct LookAlike {
    char plain = 0;
    TokenKind kind = TokenKind::unknown;
};
LookAlike lookAlike(char32_t c) {
    switch (c) {
    case 0x2010:
    case 0x2011:
    case 0x2012:
    case 0x2013:
    case 0x2014:
    case 0x2212: return {'-', TokenKind::minus};
    case 0xD7:
    case 0x2217:
    case 0x22C5: return {'*', TokenKind::star};
    case 0xF7:
    case 0x2215: return {'/', TokenKind::slash};
    case 0x37E:
    case 0xFF1B: return {';', TokenKind::semicolon};
    case 0xFF08: return {'(', TokenKind::leftParen};
    case 0xFF09: return {')', TokenKind::rightParen};
    case 0xFF0C: return {',', TokenKind::comma};
    default: return {};
    }
}

bool isWordByte(char c) {
    return classOf(c) == letter || classOf(c) == digit;
}

} // namespace

const char* Lexer::spliceEnd(const char* backslash) const {
    const char* p = backslash + 1;
    while (p < end_ && (*p == ' ' || *p == '\t'))
        ++p;
    if (p < end_ && *p == '\r') return p + (p + 1 < end_ && p[1] == '\n' ? 2 : 1);
    if (p < end_ && *p == '\n') return p + 1;
    return nullptr;
}

bool Lexer::skipBlockComment() {
    const char* begin = at_;
    std::string_view rest(at_ + 2, static_cast<std::size_t>(end_ - at_ - 2));
    std::size_t close = rest.find("*/");
    if (close == std::string_view::npos) {
        if (!quiet_) diagnostics_.error(locationOf(begin), "unterminated /* comment");
        at_ = end_;
        return false;
    }
    at_ += 2 + close + 2;
    return true;
}

// To the end of the line; a backslash there takes the comment on to the next one.
void Lexer::skipLineComment() {
    const auto find = [](const char* from, const char* to, char c) {
        const void* at = std::memchr(from, c, static_cast<std::size_t>(to - from));
        return at != nullptr ? static_cast<const char*>(at) : to;
    };
    for (bool goesOn = true; goesOn;) {
        const char* lineEnd = find(at_, find(at_, end_, '\n'), '\r');
        goesOn = false;
        while (!goesOn && (at_ = find(at_, lineEnd, '\\')) != lineEnd) {
            const char* after = spliceEnd(at_);
            goesOn = after != nullptr;
            at_ = goesOn ? after : at_ + 1;
        }
    }
}

// Skips white space, comments and splices before a token. Returns false when a directive's line ends here.
bool Lexer::skipBlanks(Token& token) {
    while (at_ < end_) {
        char c = *at_;
        switch (classOf(c)) {
        case blank: ++at_; break;
        case newline:
            if (inDirective_) return false;
            ++at_;
            startOfLine_ = true;
            break;
        case punctuator:
            if (c == '/' && peek(1) == '/') {
                skipLineComment();
                break;
            }
            if (c == '/' && peek(1) == '*') {
                skipBlockComment();
                break;
            }
            return true;
        case high: {
            DecodedCharacter decoded = decodeUtf8({at_, static_cast<std::size_t>(end_ - at_)}, 0);
            if (!decoded.isValid || !isUnicodeBlank(decoded.value)) return true;
            at_ += decoded.length;
            break;
        }
        default:
            if (c == '\\') {
                if (const char* after = spliceEnd(at_)) {
                    at_ = after;
                    break;
                }
            }
            return true;
        }
        token.flags |= Token::leadingSpace;
    }
    return !inDirective_;
}

void Lexer::next(Token& token) {
    for (;;) {
        token.flags = markNext_ ? Token::afterError : 0;
        token.length = 0;
        token.identifier = nullptr;
        bool more = skipBlanks(token);
        const char* begin = at_;
        token.location = locationOf(begin);
        if (!more) {
            inDirective_ = false;
            token.kind = TokenKind::endOfDirective;
            token.end = offset();
            return;
        }
        if (startOfLine_) {
            token.flags |= Token::startOfLine;
            startOfLine_ = false;
        }
        if (at_ >= end_) {
            token.kind = TokenKind::eof;
            token.end = offset();
            return;
        }
        switch (classOf(*at_)) {
        case letter: lexWord(token, begin); break;
        case digit: lexNumber(token, begin); break;
        case punctuator:
            if (*at_ == '.' && classOf(peek(1)) == digit)
                lexNumber(token, begin);
            else
                lexPunctuation(token, begin);
            break;
        default:
            if (*at_ == '"' || *at_ == '\'')
                lexQuoted(token, begin, *at_);
            else
                lexOther(token, begin);
            break;
        }
        token.end = offset();
        markNext_ = false;
        if (token.kind != TokenKind::unknown || inDirective_ || quiet_) return;
        // Reported; the token after it takes its place.
        markNext_ = true;
        if (token.has(Token::startOfLine)) startOfLine_ = true;
    }
}

void Lexer::lexWord(Token& token, const char* begin) {
    const char* p = at_ + 1;
    while (p < end_ && isWordByte(*p))
        ++p;
    at_ = p;
    if (p < end_ && (*p == '\\' || classOf(*p) == high)) return lexWordSlowly(token, begin);
    token.identifier = identifiers_.getMutable({begin, static_cast<std::size_t>(p - begin)});
    token.kind = token.identifier->keyword ? static_cast<TokenKind>(token.identifier->keyword) : TokenKind::identifier;
}

// Words with letters beyond ASCII or with a line splice inside.
void Lexer::lexWordSlowly(Token& token, const char* begin) {
    std::string word(begin, at_);
    while (at_ < end_) {
        if (isWordByte(*at_)) {
            word += *at_++;
        } else if (classOf(*at_) == high) {
            DecodedCharacter c = decodeUtf8({at_, static_cast<std::size_t>(end_ - at_)}, 0);
            if (!c.isValid || !isIdentifierCharacter(c.value) || lookAlike(c.value).plain != 0) break;
            word.append(at_, c.length);
            at_ += c.length;
        } else if (*at_ == '\\') {
            const char* after = spliceEnd(at_);
            if (!after || after >= end_ || !isWordByte(*after)) break;
            at_ = after;
        } else {
            break;
        }
    }
    token.identifier = identifiers_.getMutable(word);
    token.kind = token.identifier->keyword ? static_cast<TokenKind>(token.identifier->keyword) : TokenKind::identifier;
}

void Lexer::lexNumber(Token& token, const char* begin) {
    const char* p = at_;
    while (p < end_) {
        if (isWordByte(*p) || *p == '.')
            ++p;
        else if ((*p == '+' || *p == '-') && (p[-1] == 'e' || p[-1] == 'E' || p[-1] == 'p' || p[-1] == 'P'))
            // In a hexadecimal number an 'e' is a digit and the sign an operator.
            if ((p[-1] == 'e' || p[-1] == 'E') && p - begin > 2 && begin[0] == '0' &&
                (begin[1] == 'x' || begin[1] == 'X'))
                break;
            else
                ++p;
        else if (*p == '\'' && p + 1 < end_ && isWordByte(p[1]))
            p += 2;
        else
            break;
    }
    at_ = p;
    token.kind = TokenKind::number;
    token.spelling = begin;
    token.length = static_cast<std::uint32_t>(p - begin);
}

void Lexer::lexQuoted(Token& token, const char* begin, char quote) {
    const char* p = at_ + 1;
    token.kind = quote == '"' ? TokenKind::string : TokenKind::character;
    token.spelling = begin;
    bool closed = false;
    while (p < end_) {
        if (*p == '\\') {
            if (const char* after = spliceEnd(p)) {
                p = after;
                continue;
            }
            ++p;
            if (p < end_ && classOf(*p) != newline) ++p;
            continue;
        }
        if (classOf(*p) == newline) break;
        if (*p++ == quote) {
            closed = true;
            break;
        }
    }
    at_ = p;
    token.length = static_cast<std::uint32_t>(p - begin);
    if (!closed) {
        if (!quiet_)
            diagnostics_.error(locationOf(begin),
                               std::string("missing terminating ") + (quote == '"' ? "'\"'" : "'") + " character");
        token.kind = TokenKind::unknown;
    }
}

void Lexer::lexPunctuation(Token& token, const char* begin) {
    using enum TokenKind;
    char second = peek(1);
    char third = second ? peek(2) : '\0';
    auto set = [&](TokenKind kind, unsigned length) {
        token.kind = kind;
        at_ = begin + length;
    };
    switch (*begin) {
    case '(': return set(leftParen, 1);
    case ')': return set(rightParen, 1);
    case '[': return set(leftBracket, 1);
    case ']': return set(rightBracket, 1);
    case '{': return set(leftBrace, 1);
    case '}': return set(rightBrace, 1);
    case ';': return set(semicolon, 1);
    case ',': return set(comma, 1);
    case '?': return set(question, 1);
    case '~': return set(tilde, 1);
    case ':': return second == ':' ? set(coloncolon, 2) : set(colon, 1);
    case '.':
        if (second == '.' && third == '.') return set(ellipsis, 3);
        return second == '*' ? set(periodStar, 2) : set(period, 1);
    case '+': return second == '+' ? set(plusplus, 2) : second == '=' ? set(plusEqual, 2) : set(plus, 1);
    case '-':
        if (second == '>') return third == '*' ? set(arrowStar, 3) : set(arrow, 2);
        return second == '-' ? set(minusminus, 2) : second == '=' ? set(minusEqual, 2) : set(minus, 1);
    case '*': return second == '=' ? set(starEqual, 2) : set(star, 1);
    case '/': return second == '=' ? set(slashEqual, 2) : set(slash, 1);
    case '%': return second == '=' ? set(percentEqual, 2) : set(percent, 1);
    case '&': return second == '&' ? set(ampamp, 2) : second == '=' ? set(ampEqual, 2) : set(amp, 1);
    case '|': return second == '|' ? set(pipepipe, 2) : second == '=' ? set(pipeEqual, 2) : set(pipe, 1);
    case '^': return second == '=' ? set(caretEqual, 2) : set(caret, 1);
    case '!': return second == '=' ? set(exclaimEqual, 2) : set(exclaim, 1);
    case '=': return second == '=' ? set(equalequal, 2) : set(equal, 1);
    case '<':
        if (second == '<') return third == '=' ? set(lesslessEqual, 3) : set(lessless, 2);
        return second == '=' ? set(lessEqual, 2) : set(less, 1);
    case '>': return second == '=' ? set(greaterEqual, 2) : set(greater, 1);
    case '#': return second == '#' ? set(hashhash, 2) : set(hash, 1);
    default: return set(unknown, 1);
    }
}

void Lexer::lexOther(Token& token, const char* begin) {
    DecodedCharacter c = decodeUtf8({begin, static_cast<std::size_t>(end_ - begin)}, 0);
    at_ = begin + c.length;
    if (classOf(*begin) == high && c.isValid && isIdentifierCharacter(c.value) && lookAlike(c.value).plain == 0) {
        at_ = begin;
        return lexWordSlowly(token, begin);
    }
    token.kind = TokenKind::unknown;
    token.spelling = begin;
    token.length = c.length;
    if (quiet_ || inDirective_) return;
    char code[16];
    if (auto [looksLike, kind] = c.isValid ? lookAlike(c.value) : LookAlike{}; looksLike != 0) {
        std::snprintf(code, sizeof code, "<U+%04X>", static_cast<unsigned>(c.value));
        diagnostics_.error(token.location,
                           std::string("unexpected character ") + code + "; did you mean '" + looksLike + "'?",
                           {token.location, {begin, c.length}, {&looksLike, 1}});
        token.kind = kind;
        token.identifier = nullptr;
        return;
    }
    if (c.isValid && c.value > 0x20 && c.value < 0x7F) {
        diagnostics_.error(token.location, std::string("unexpected '") + static_cast<char>(c.value) + "' in program");
    } else {
        std::snprintf(code, sizeof code, c.isValid ? "<U+%04X>" : "<%02X>", static_cast<unsigned>(c.value));
        diagnostics_.error(token.location, std::string("unexpected character ") + code);
    }
}

std::string_view Lexer::restOfLine() const {
    const char* p = at_;
    while (p < end_ && classOf(*p) != newline)
        ++p;
    return {at_, static_cast<std::size_t>(p - at_)};
}

std::string_view Lexer::headerName(SourceLocation& begin) {
    const char* p = at_;
    while (p < end_ && classOf(*p) == blank)
        ++p;
    if (p >= end_ || *p != '<') return {};
    begin = locationOf(p);
    const char* close = p + 1;
    while (close < end_ && *close != '>' && classOf(*close) != newline)
        ++close;
    if (close >= end_ || *close != '>') return {};
    at_ = close + 1;
    return {p + 1, static_cast<std::size_t>(close - p - 1)};
}

bool Lexer::leftParenFollows() const {
    Lexer ahead(*this);
    ahead.quiet_ = true;
    Token token;
    bool more = ahead.skipBlanks(token);
    return more && ahead.at_ < ahead.end_ && *ahead.at_ == '(';
}

} // namespace msl
