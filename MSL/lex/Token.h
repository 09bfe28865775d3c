// One token of the language. Identifiers and keywords carry their interned Identifier; literals their spelling. A token
// is 24 bytes and trivially copyable: token lists are copied freely.
#pragma once

#include "MSL/lex/Identifier.h"
#include "MSL/source/SourceLocation.h"

#include <cstdint>
#include <string_view>

namespace msl {

enum class TokenKind : std::uint16_t {
    eof,
    regionEnd, // the end of the text before the user's, of the user's, or of that after it; ends whatever is still open
    endOfDirective, // only inside preprocessor directives
    unknown,        // a character that begins no token; reported by the lexer, never reaches the parser
    identifier,
    number,
    character,
    string,
    // punctuation
    leftParen,
    rightParen,
    leftBracket,
    rightBracket,
    leftBrace,
    rightBrace,
    semicolon,
    comma,
    colon,
    coloncolon,
    question,
    period,
    periodStar,
    ellipsis,
    arrow,
    arrowStar,
    plus,
    plusplus,
    plusEqual,
    minus,
    minusminus,
    minusEqual,
    star,
    starEqual,
    slash,
    slashEqual,
    percent,
    percentEqual,
    amp,
    ampamp,
    ampEqual,
    pipe,
    pipepipe,
    pipeEqual,
    caret,
    caretEqual,
    tilde,
    exclaim,
    exclaimEqual,
    equal,
    equalequal,
    less,
    lessless,
    lesslessEqual,
    lessEqual,
    greater,
    greaterEqual, // ">>" is two of these side by side; the parser joins them where an operator may stand
    hash,
    hashhash,
    // keywords
    kwAlignas,
    kwAlignof,
    kwAsm,
    kwAttribute,
    kwAuto,
    kwBreak,
    kwCase,
    kwCatch,
    kwClass,
    kwConst,
    kwConstCast,
    kwConstant,
    kwConstexpr,
    kwContinue,
    kwDecltype,
    kwDefault,
    kwDelete,
    kwDevice,
    kwDo,
    kwDouble,
    kwDynamicCast,
    kwElse,
    kwEnum,
    kwExplicit,
    kwExtern,
    kwFalse,
    kwFor,
    kwFragment,
    kwFriend,
    kwGoto,
    kwIf,
    kwInline,
    kwKernel,
    kwMutable,
    kwNamespace,
    kwNew,
    kwNoexcept,
    kwNullptr,
    kwOperator,
    kwPrivate,
    kwProtected,
    kwPublic,
    kwReinterpretCast,
    kwRestrict,
    kwReturn,
    kwSigned,
    kwSizeof,
    kwStatic,
    kwStaticAssert,
    kwStaticCast,
    kwStruct,
    kwSwitch,
    kwTemplate,
    kwThis,
    kwThread,
    kwThreadgroup,
    kwThrow,
    kwTrue,
    kwTry,
    kwTypedef,
    kwTypename,
    kwUnion,
    kwUnsigned,
    kwUsing,
    kwVertex,
    kwVirtual,
    kwVolatile,
    kwWhile,
};

inline constexpr TokenKind firstKeyword = TokenKind::kwAlignas;
constexpr bool isKeyword(TokenKind kind) {
    return kind >= firstKeyword;
}

struct Token {
    enum Flag : std::uint16_t {
        startOfLine = 1,  // the first token of its line
        leadingSpace = 2, // white space or a comment stands before it
        noExpand = 4,     // the name of a macro met inside its own expansion: never expanded again
        fromMacro = 8,    // came out of a macro's definition; location is where the macro was used
        afterError = 16,  // what stood before it was reported and left out; its absence is not reported again
    };
    static constexpr unsigned packingShift = 8; // the flags from here on: see packing()

    TokenKind kind = TokenKind::eof;
    std::uint16_t flags = 0;
    SourceLocation location;  // of its first byte
    std::uint32_t end = 0;    // offset after its last byte (of the macro's name for tokens from a macro)
    std::uint32_t length = 0; // literals: bytes of the spelling
    union {
        const Identifier* identifier = nullptr; // identifiers and keywords
        const char* spelling;                   // literals
    };

    bool is(TokenKind k) const { return kind == k; }
    bool has(Flag flag) const { return (flags & flag) != 0; }
    // What "#pragma pack" has made of the alignment of members where the token stands: at most so many bytes; 0: not
    // bounded.
    std::uint32_t packing() const {
        const unsigned code = flags >> packingShift;
        return code == 0 ? 0 : 1U << (code - 1);
    }
    bool isWord() const { return kind == TokenKind::identifier || isKeyword(kind); }
    bool isLiteral() const {
        return kind == TokenKind::number || kind == TokenKind::character || kind == TokenKind::string ||
               kind == TokenKind::unknown;
    }
    bool touchesPrevious() const { return (flags & (startOfLine | leadingSpace)) == 0; }
};
static_assert(sizeof(Token) == 24);

// "+=" for punctuation, "" for kinds that have no fixed spelling (and for keywords).
std::string_view punctuation(TokenKind kind);

// The spelling of any token that has one.
std::string_view spelling(const Token& token);

} // namespace msl
