// Telling declarations from expressions and functions from variables, by reading ahead without side effects.
#include "MSL/parse/ParserImpl.h"
#include "MSL/parse/TypeTokens.h"

namespace msl {

// After the bracket that begins here and its partner.
std::size_t Parser::scanBalanced(std::size_t from, std::size_t limit) {
    std::size_t i = from;
    std::size_t depth = 0;
    do {
        if (i - from > limit || !spend()) return 0;
        switch (peek(i).kind) {
        case TokenKind::leftParen:
        case TokenKind::leftBracket:
        case TokenKind::leftBrace: ++depth; break;
        case TokenKind::rightParen:
        case TokenKind::rightBracket:
        case TokenKind::rightBrace:
            if (depth == 0) return 0;
            --depth;
            break;
        case TokenKind::eof:
        case TokenKind::regionEnd: return i == from ? 0 : i;
        default: break;
        }
        ++i;
    } while (depth > 0);
    return i;
}

std::size_t Parser::scanAttributes(std::size_t from) {
    std::size_t i = from;
    for (;;) {
        bool isStandard = peek(i).is(TokenKind::leftBracket) && peek(i + 1).is(TokenKind::leftBracket);
        bool isGnu = (peek(i).is(TokenKind::kwAttribute) || peek(i).is(TokenKind::kwAlignas)) &&
                     peek(i + 1).is(TokenKind::leftParen);
        if (!isStandard && !isGnu) return i;
        std::size_t after = scanBalanced(isGnu ? i + 1 : i);
        if (after == 0 || after - from > scanLimit) return i;
        i = after;
    }
}

// After "<...>"; 0 when what begins here does not look like template arguments.
std::size_t Parser::scanTemplateArguments(std::size_t from) {
    unsigned angles = 0;
    std::size_t i = from;
    while (i - from < scanLimit && spend()) {
        switch (peek(i).kind) {
        case TokenKind::less: ++angles; break;
        case TokenKind::greater:
            if (--angles == 0) return i + 1;
            break;
        case TokenKind::leftParen:
        case TokenKind::leftBracket: {
            std::size_t after = scanBalanced(i);
            if (after == 0) return 0;
            i = after;
            continue;
        }
        case TokenKind::rightParen:
        case TokenKind::rightBracket:
        case TokenKind::leftBrace:
        case TokenKind::rightBrace:
        case TokenKind::semicolon:
        case TokenKind::equal:
        case TokenKind::eof:
        case TokenKind::regionEnd: return 0;
        default: break;
        }
        ++i;
    }
    return 0;
}

// After a type-id without array or function parts: "const device metal::array<float, 3>* const".
std::size_t Parser::scanType(std::size_t from) {
    std::size_t i = from;
    bool isTypename = false;
    for (;; ++i) {
        TokenKind k = peek(i).kind;
        if (k == TokenKind::kwTypename || k == TokenKind::kwStruct || k == TokenKind::kwClass ||
            k == TokenKind::kwEnum || k == TokenKind::kwUnion)
            isTypename = true;
        else if (!isTypeQualifier(k))
            break;
    }
    if (peek(i).is(TokenKind::kwUnsigned) || peek(i).is(TokenKind::kwSigned) || peek(i).is(TokenKind::kwDouble)) {
        ++i;
        while (peek(i).is(TokenKind::kwDouble) ||
               (peek(i).is(TokenKind::identifier) && (peek(i).identifier == int_ || peek(i).identifier == short_ ||
                                                      peek(i).identifier == char_ || peek(i).identifier == long_)))
            ++i;
    } else if (peek(i).is(TokenKind::kwAuto)) {
        ++i;
    } else if (peek(i).is(TokenKind::kwDecltype)) {
        std::size_t after = peek(i + 1).is(TokenKind::leftParen) ? scanBalanced(i + 1) : 0;
        if (after == 0) return 0;
        i = after;
    } else {
        bool isQualified = peek(i).is(TokenKind::coloncolon);
        if (isQualified) ++i;
        for (;;) {
            if (!peek(i).is(TokenKind::identifier)) return 0;
            const Identifier* name = peek(i).identifier;
            NameClass as = isQualified ? NameTracker::classifyQualified(name) : NameTracker::classify(name);
            ++i;
            bool isTemplate = as == NameClass::templateType || (isQualified && isTypename);
            if (isTemplate && peek(i).is(TokenKind::less)) {
                std::size_t after = scanTemplateArguments(i);
                if (after == 0) return 0;
                i = after;
            }
            if (peek(i).is(TokenKind::coloncolon)) {
                isQualified = true;
                ++i;
                continue;
            }
            if (as != NameClass::type && as != NameClass::templateType && !isTypename) return 0;
            // "int" and its kin may follow one another: "long int".
            while (peek(i).is(TokenKind::kwDouble) ||
                   (peek(i).is(TokenKind::identifier) &&
                    (peek(i).identifier == int_ || peek(i).identifier == long_ || peek(i).identifier == short_)))
                ++i;
            break;
        }
    }
    while (isTypeQualifier(peek(i).kind) || isPointerOperator(peek(i).kind))
        ++i;
    return i;
}

bool Parser::isTypeNameAt(std::size_t from) {
    std::size_t i = from;
    if (!peek(i).is(TokenKind::identifier) && !peek(i).is(TokenKind::coloncolon)) return false;
    std::size_t after = scanType(i);
    return after != 0;
}

// Whether the statement that begins here is a declaration. A name that nobody knows is taken for a type when another
// name follows it on the same line, so that a mistyped type is reported as one.
bool Parser::startsDeclaration() {
    switch (kind()) {
    case TokenKind::kwConst:
    case TokenKind::kwConstexpr:
    case TokenKind::kwStatic:
    case TokenKind::kwStruct:
    case TokenKind::kwClass:
    case TokenKind::kwUnion:
    case TokenKind::kwEnum:
    case TokenKind::kwTypedef:
    case TokenKind::kwUsing:
    case TokenKind::kwAuto:
    case TokenKind::kwVolatile:
    case TokenKind::kwStaticAssert:
    case TokenKind::kwExtern:
    case TokenKind::kwInline:
    case TokenKind::kwThread:
    case TokenKind::kwConstant:
    case TokenKind::kwDevice:
    case TokenKind::kwThreadgroup:
    case TokenKind::kwFragment:
    case TokenKind::kwVertex:
    case TokenKind::kwKernel:
    case TokenKind::kwTemplate:
    case TokenKind::kwNamespace:
    case TokenKind::kwAlignas:
    case TokenKind::kwAttribute: return true;
    case TokenKind::kwTypename:
    case TokenKind::kwUnsigned:
    case TokenKind::kwDouble:
    case TokenKind::kwSigned:
    case TokenKind::kwDecltype:
    case TokenKind::coloncolon: {
        std::size_t after = scanType(0);
        return after != 0 && !peek(after).is(TokenKind::leftParen) && !peek(after).is(TokenKind::leftBrace);
    }
    case TokenKind::identifier: break;
    default: return false;
    }
    switch (NameTracker::classify(token().identifier)) {
    case NameClass::type: {
        TokenKind next = peek(1).kind;
        if (next == TokenKind::identifier) return true;
        if (next == TokenKind::leftParen || next == TokenKind::leftBrace || next == TokenKind::period) return false;
        break;
    }
    case NameClass::templateType: break;
    case NameClass::value:
    case NameClass::templateFunction:
        if (!peek(1).is(TokenKind::coloncolon)) return false;
        break;
    default:
        if (peek(1).is(TokenKind::identifier)) return !peek(1).has(Token::startOfLine);
        if (!peek(1).is(TokenKind::coloncolon)) return false;
        break;
    }
    std::size_t after = scanType(0);
    if (after != 0) {
        TokenKind next = peek(after).kind;
        return next != TokenKind::leftParen && next != TokenKind::leftBrace && next != TokenKind::period;
    }
    // "nobody::knows x"
    std::size_t i = 1;
    while (peek(i).is(TokenKind::coloncolon) && peek(i + 1).is(TokenKind::identifier))
        i += 2;
    return i > 1 && peek(i).is(TokenKind::identifier) && !peek(i).has(Token::startOfLine);
}

// Whether a parameter declaration begins here (as against an argument).
bool Parser::startsParameter(std::size_t from) {
    const Token first = peek(from);
    switch (first.kind) {
    case TokenKind::leftBracket: return peek(from + 1).is(TokenKind::leftBracket);
    case TokenKind::ellipsis:
    case TokenKind::kwConst:
    case TokenKind::kwVolatile:
    case TokenKind::kwStruct:
    case TokenKind::kwEnum:
    case TokenKind::kwAuto:
    case TokenKind::kwTypename:
    case TokenKind::kwThread:
    case TokenKind::kwConstant:
    case TokenKind::kwDevice:
    case TokenKind::kwThreadgroup:
    case TokenKind::kwConstexpr: return true;
    case TokenKind::identifier:
    case TokenKind::coloncolon:
    case TokenKind::kwUnsigned:
    case TokenKind::kwDouble:
    case TokenKind::kwSigned:
    case TokenKind::kwDecltype: break;
    default: return false;
    }
    if (std::size_t after = scanType(from); after != 0) {
        TokenKind next = peek(after).kind;
        return next != TokenKind::leftParen && next != TokenKind::leftBrace && next != TokenKind::period;
    }
    if (!first.is(TokenKind::identifier) || NameTracker::classify(first.identifier) != NameClass::unknown) return false;
    std::size_t i = from + 1;
    while (peek(i).is(TokenKind::coloncolon) && peek(i + 1).is(TokenKind::identifier))
        i += 2;
    if (isPointerOperator(peek(i).kind))
        return peek(i + 1).is(TokenKind::identifier) &&
               (peek(i + 2).is(TokenKind::comma) || peek(i + 2).is(TokenKind::rightParen));
    return peek(i).is(TokenKind::identifier);
}

// At "(" behind a declarator's name: parameters, or the arguments of an initialisation?
bool Parser::startsFunctionParameters() {
    if (peek(1).is(TokenKind::rightParen) || startsParameter(1)) return true;
    std::size_t after = scanBalanced(0);
    return after != 0 && after < scanLimit && peek(after).is(TokenKind::leftBrace) && !peek(1).is(TokenKind::number);
}

// A whole function head up to its opening brace. Nothing inside a function looks like it.
bool Parser::startsFunctionDefinition() {
    std::size_t i = scanAttributes(0);
    bool hasType = false;
    for (;; ++i) {
        TokenKind k = peek(i).kind;
        if (k == TokenKind::kwStatic || k == TokenKind::kwInline || k == TokenKind::kwConstexpr || isTypeQualifier(k))
            continue;
        if (k == TokenKind::kwFragment || k == TokenKind::kwVertex || k == TokenKind::kwKernel) continue;
        i = scanAttributes(i);
        break;
    }
    if (std::size_t after = scanType(i); after != 0) {
        i = after;
        hasType = true;
    } else if (peek(i).is(TokenKind::identifier)) { // an unknown type
        ++i;
        while (peek(i).is(TokenKind::coloncolon) && peek(i + 1).is(TokenKind::identifier))
            i += 2;
        hasType = true;
    }
    i = scanAttributes(i);
    if (!hasType || !peek(i).is(TokenKind::identifier) || !peek(i + 1).is(TokenKind::leftParen)) return false;
    std::size_t after = scanBalanced(i + 1);
    if (after == 0 || after > scanLimit) return false;
    i = scanAttributes(after);
    return peek(i).is(TokenKind::leftBrace);
}

} // namespace msl
