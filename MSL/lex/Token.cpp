#include "MSL/lex/Token.h"

namespace msl {

std::string_view punctuation(TokenKind kind) {
    static constexpr std::string_view names[] = {
        "(",  ")",  "[", "]",  "{",  "}", ";",  ",", ":",  "::",  "?",  ".", ".*", "...", "->", "->*", "+",
        "++", "+=", "-", "--", "-=", "*", "*=", "/", "/=", "%",   "%=", "&", "&&", "&=",  "|",  "||",  "|=",
        "^",  "^=", "~", "!",  "!=", "=", "==", "<", "<<", "<<=", "<=", ">", ">=", "#",   "##"};
    static_assert(std::size(names) ==
                  static_cast<std::size_t>(TokenKind::hashhash) - static_cast<std::size_t>(TokenKind::leftParen) + 1);
    if (kind < TokenKind::leftParen || kind > TokenKind::hashhash) return {};
    return names[static_cast<std::size_t>(kind) - static_cast<std::size_t>(TokenKind::leftParen)];
}

std::string_view spelling(const Token& token) {
    if (token.isWord()) return token.identifier->text;
    if (token.isLiteral()) return {token.spelling, token.length};
    return punctuation(token.kind);
}

} // namespace msl
