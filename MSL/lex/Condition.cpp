// The expressions of #if and #elif: 64-bit integers with C's operators; names that are no macros are 0.
#include "MSL/lex/Literals.h"
#include "MSL/lex/Preprocessor.h"

#include <string>

namespace msl {

struct Preprocessor::Value {
    std::uint64_t bits = 0;
    bool isUnsigned = false;
    bool isTrue() const { return bits != 0; }
    std::int64_t asSigned() const { return static_cast<std::int64_t>(bits); }
};

namespace {

int precedenceOf(TokenKind kind, bool isShiftRight) {
    using enum TokenKind;
    if (isShiftRight) return 9;
    switch (kind) {
    case star:
    case slash:
    case percent: return 11;
    case plus:
    case minus: return 10;
    case lessless: return 9;
    case less:
    case greater:
    case lessEqual:
    case greaterEqual: return 8;
    case equalequal:
    case exclaimEqual: return 7;
    case amp: return 6;
    case caret: return 5;
    case pipe: return 4;
    case ampamp: return 3;
    case pipepipe: return 2;
    case question: return 1;
    default: return 0;
    }
}

} // namespace

// ">>" comes as two tokens: the one after a ">" is read ahead to join them.
void Preprocessor::conditionNext() {
    if (hasConditionAhead_)
        conditionToken_ = conditionAhead_;
    else
        nextExpanded(conditionToken_);
    hasConditionAhead_ = false;
    conditionIsShift_ = false;
    if (!conditionToken_.is(TokenKind::greater)) return;
    nextExpanded(conditionAhead_);
    conditionIsShift_ = conditionAhead_.is(TokenKind::greater) && conditionAhead_.touchesPrevious();
    hasConditionAhead_ = !conditionIsShift_;
}

bool Preprocessor::evaluateCondition(SourceLocation at) {
    conditionFailed_ = false;
    hasConditionAhead_ = false;
    conditionNext();
    if (conditionToken_.is(TokenKind::endOfDirective)) {
        diagnostics_.error(at, "expected value in expression");
        return false;
    }
    Value value = conditionExpression(1, 0);
    if (!conditionFailed_ && !conditionToken_.is(TokenKind::endOfDirective)) {
        diagnostics_.error(conditionToken_.location,
                           "token is not a valid binary operator in a preprocessor subexpression");
        conditionFailed_ = true;
    }
    while (!contexts_.empty()) { // tokens of a macro that the error left unread
        if (contexts_.back().macro) contexts_.back().macro->isExpanding = false;
        contexts_.pop_back();
    }
    return !conditionFailed_ && value.isTrue();
}

Preprocessor::Value Preprocessor::conditionPrimary(unsigned depth) {
    auto fail = [&](SourceLocation at, std::string message) {
        if (!conditionFailed_) diagnostics_.error(at, std::move(message));
        conditionFailed_ = true;
        return Value{};
    };
    if (conditionFailed_) return {};
    if (depth > nestingLimit) return fail(conditionToken_.location, "bracket nesting level exceeded maximum of 200");
    Token token = conditionToken_;
    switch (token.kind) {
    case TokenKind::number: {
        NumberLiteral number = readNumber(spelling(token));
        if (!number.error.empty()) return fail(token.location, number.error);
        if (number.isFloat) return fail(token.location, "floating point literal in preprocessor expression");
        conditionNext();
        return {number.integer, number.isUnsigned || number.integer >> 63 != 0};
    }
    case TokenKind::character: conditionNext(); return {readCharacter(spelling(token)).value, false};
    case TokenKind::leftParen: {
        conditionNext();
        Value value = conditionExpression(1, depth + 1);
        if (!conditionFailed_ && !conditionToken_.is(TokenKind::rightParen)) {
            fail(conditionToken_.location, "expected ')' in preprocessor expression");
            diagnostics_.note(token.location, "to match this '('");
            return {};
        }
        if (!conditionFailed_) conditionNext();
        return value;
    }
    case TokenKind::plus: conditionNext(); return conditionPrimary(depth + 1);
    case TokenKind::minus: {
        conditionNext();
        Value value = conditionPrimary(depth + 1);
        value.bits = 0 - value.bits;
        return value;
    }
    case TokenKind::tilde: {
        conditionNext();
        Value value = conditionPrimary(depth + 1);
        value.bits = ~value.bits;
        return value;
    }
    case TokenKind::exclaim: {
        conditionNext();
        Value value = conditionPrimary(depth + 1);
        return {value.isTrue() ? 0U : 1U, false};
    }
    default: break;
    }
    if (!token.isWord())
        return fail(token.location, token.is(TokenKind::endOfDirective)
                                        ? "expected value in expression"
                                        : "invalid token at start of a preprocessor expression");
    std::string_view name = token.identifier->text;
    if (token.identifier == defined_) {
        fetch(token);
        bool hasParen = token.is(TokenKind::leftParen);
        SourceLocation open = token.location;
        if (hasParen) fetch(token);
        if (!token.isWord()) return fail(token.location, "macro name must be an identifier");
        bool isDefined = token.identifier->isMacro;
        if (hasParen) {
            fetch(token);
            if (!token.is(TokenKind::rightParen)) {
                fail(token.location, "missing ')' after 'defined'");
                diagnostics_.note(open, "to match this '('");
                return {};
            }
        }
        conditionNext();
        return {isDefined ? 1U : 0U, false};
    }
    if (name == "__has_include" || name == "__has_attribute" || name == "__has_feature" || name == "__has_extension" ||
        name == "__has_builtin" || name == "__has_cpp_attribute" || name == "__is_target_os") {
        fetch(token);
        if (!token.is(TokenKind::leftParen))
            return fail(token.location, "missing '(' after '" + std::string(name) + "'");
        bool holds = false;
        SourceLocation at;
        if (name == "__has_include")
            if (std::string_view header = lexer_.headerName(at); !header.empty()) holds = isKnownHeader(header);
        do
            fetch(token);
        while (!token.is(TokenKind::rightParen) && !token.is(TokenKind::endOfDirective) && !token.is(TokenKind::eof));
        if (token.is(TokenKind::rightParen))
            conditionNext();
        else
            conditionToken_ = token;
        return {holds ? 1U : 0U, false};
    }
    if (token.is(TokenKind::kwTrue)) {
        conditionNext();
        return {1, false};
    }
    conditionNext();
    if (conditionToken_.is(TokenKind::leftParen))
        return fail(token.location, "function-like macro '" + std::string(name) + "' is not defined");
    return {};
}

Preprocessor::Value Preprocessor::conditionExpression(int minimum, unsigned depth) {
    Value left = conditionPrimary(depth);
    while (!conditionFailed_) {
        Token op = conditionToken_;
        bool isShiftRight = conditionIsShift_;
        int precedence = precedenceOf(op.kind, isShiftRight);
        if (precedence < minimum || precedence == 0) return left;
        conditionNext();
        if (op.is(TokenKind::question)) {
            Value whenTrue = conditionExpression(1, depth + 1);
            if (conditionFailed_) return {};
            if (!conditionToken_.is(TokenKind::colon)) {
                diagnostics_.error(conditionToken_.location, "expected ':'");
                conditionFailed_ = true;
                return {};
            }
            conditionNext();
            if (depth > nestingLimit) {
                conditionFailed_ = true;
                return {};
            }
            Value whenFalse = conditionExpression(1, depth + 1);
            left = left.isTrue() ? whenTrue : whenFalse;
            continue;
        }
        Value right = conditionExpression(precedence + 1, depth + 1);
        if (conditionFailed_) return {};
        bool isUnsigned = left.isUnsigned || right.isUnsigned;
        std::uint64_t a = left.bits;
        std::uint64_t b = right.bits;
        auto compare = [&](auto holds) { left = {holds ? 1U : 0U, false}; };
        auto isLess = [&](Value x, Value y) { return isUnsigned ? x.bits < y.bits : x.asSigned() < y.asSigned(); };
        switch (op.kind) {
        case TokenKind::star: left = {a * b, isUnsigned}; break;
        case TokenKind::slash:
        case TokenKind::percent: {
            bool isDivision = op.is(TokenKind::slash);
            if (b == 0) {
                diagnostics_.error(op.location, isDivision ? "division by zero in preprocessor expression"
                                                           : "remainder by zero in preprocessor expression");
                conditionFailed_ = true;
            } else if (isUnsigned) {
                left = {isDivision ? a / b : a % b, true};
            } else if (b == ~0ULL) { // by -1, without overflow
                left = {isDivision ? 0 - a : 0, false};
            } else {
                auto x = static_cast<std::int64_t>(a);
                auto y = static_cast<std::int64_t>(b);
                left = {static_cast<std::uint64_t>(isDivision ? x / y : x % y), false};
            }
            break;
        }
        case TokenKind::plus: left = {a + b, isUnsigned}; break;
        case TokenKind::minus: left = {a - b, isUnsigned}; break;
        case TokenKind::lessless: left = {b < 64 ? a << b : 0, left.isUnsigned}; break;
        case TokenKind::less: compare(isLess(left, right)); break;
        case TokenKind::lessEqual: compare(!isLess(right, left)); break;
        case TokenKind::greaterEqual: compare(!isLess(left, right)); break;
        case TokenKind::greater:
            if (isShiftRight)
                left = {left.isUnsigned ? (b < 64 ? a >> b : 0)
                                        : static_cast<std::uint64_t>(left.asSigned() >> (b < 64 ? b : 63)),
                        left.isUnsigned};
            else
                compare(isLess(right, left));
            break;
        case TokenKind::equalequal: compare(a == b); break;
        case TokenKind::exclaimEqual: compare(a != b); break;
        case TokenKind::amp: left = {a & b, isUnsigned}; break;
        case TokenKind::caret: left = {a ^ b, isUnsigned}; break;
        case TokenKind::pipe: left = {a | b, isUnsigned}; break;
        case TokenKind::ampamp: left = {left.isTrue() && right.isTrue() ? 1U : 0U, false}; break;
        case TokenKind::pipepipe: left = {left.isTrue() || right.isTrue() ? 1U : 0U, false}; break;
        default: return left;
        }
    }
    return left;
}

} // namespace msl
