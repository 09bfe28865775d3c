#include "MSL/parse/Parser.h"

#include "MSL/parse/ParserImpl.h"

#include <algorithm>
#include <new>

namespace msl {

namespace {
constexpr std::size_t maxTokens = 6'000'000; // they are kept until the whole text is read
}

TranslationUnit* parse(SourceManager& sources, IdentifierTable& identifiers, Arena& arena, Diagnostics& diagnostics,
                       WorkLimit& limit) {
    return Parser(sources, identifiers, arena, diagnostics, limit).parseUnit();
}

Parser::Parser(SourceManager& sources, IdentifierTable& identifiers, Arena& arena, Diagnostics& diagnostics,
               WorkLimit& limit)
    : sources_(sources), identifiers_(identifiers), arena_(arena), diagnostics_(diagnostics), limit_(limit),
      preprocessor_(sources, identifiers, arena, diagnostics), asType_(identifiers.get("as_type")),
      int_(identifiers.get("int")), short_(identifiers.get("short")), char_(identifiers.get("char")),
      long_(identifiers.get("long")) {
    tokens_.reserve(std::min(sources.text().size() / 4 + 64, maxTokens / 8));
    fill();
}

TranslationUnit* Parser::parseUnit() {
    auto* unit = arena_.make<TranslationUnit>();
    Declarations declarations;
    parseDeclarations(declarations, Context::file, TokenKind::eof);
    unit->declarations = declarations.copyTo(arena_);
    return unit;
}

// -------------------------------------------------------------------------------------------------------- tokens

void Parser::fill() {
    if (tokens_.size() >= maxTokens) throw std::bad_alloc();
    Token& token = tokens_.emplace_back();
    if (!isStopped_ && !limit_.step()) reportLimit();
    if (isStopped_) {
        token.kind = TokenKind::eof;
        token.location = previousEnd();
        token.end = previousEnd_;
        return;
    }
    preprocessor_.next(token);
}

void Parser::reportLimit() {
    diagnostics_.error(SourceLocation::atOffset(0), "this text takes too long to compile");
    isStopped_ = true;
}

// Counts what look-ahead reads; false when the work limit is reached.
bool Parser::spend() {
    if (isStopped_ || limit_.step()) return !isStopped_;
    reportLimit();
    stop();
    return false;
}

void Parser::stop() {
    isStopped_ = true;
    tokens_.resize(position_);
    fill();
}

// ------------------------------------------------------------------------------------------- errors and recovery

void Parser::error(SourceLocation at, std::string message, const Correction& correction) {
    reported_ = lastErrorPosition_ != position_ && !isStopped_ && !token().has(Token::afterError);
    lastErrorPosition_ = position_;
    if (!reported_) return;
    diagnostics_.error(at, std::move(message), correction);
    if (diagnostics_.isFull()) stop();
}

// A thing that is missing at the end of a line is missed there, not at the line after it.
SourceLocation Parser::here() const {
    bool isBehind = atEnd();
    if (!isBehind && token().has(Token::startOfLine) && position_ > 0) {
        TokenKind before = tokens_[position_ - 1].kind; // after these something new begins, and nothing is missed
        isBehind = before != TokenKind::semicolon && before != TokenKind::leftBrace &&
                   before != TokenKind::rightBrace && before != TokenKind::regionEnd;
    }
    return isBehind && previousEnd_ > 0 ? previousEnd() : token().location;
}

void Parser::errorHere(std::string message) {
    error(here(), std::move(message));
}

bool Parser::expect(TokenKind k, std::string_view message) {
    if (accept(k)) return true;
    errorHere(std::string(message));
    return false;
}

bool Parser::expectClosing(TokenKind k, SourceLocation open) {
    if (accept(k)) return true;
    TokenKind opening = k == TokenKind::rightParen     ? TokenKind::leftParen
                        : k == TokenKind::rightBracket ? TokenKind::leftBracket
                        : k == TokenKind::rightBrace   ? TokenKind::leftBrace
                                                       : TokenKind::less;
    errorHere("expected '" + std::string(punctuation(k)) + "'");
    note(open, "to match this '" + std::string(punctuation(opening)) + "'");
    skipToClosing(k);
    return false;
}

// Reads over the rest of a bracketed list up to its closing bracket, but not out of the statement.
void Parser::skipToClosing(TokenKind k, bool overSemicolons) {
    while (!accept(k)) {
        if (atEnd() || (overSemicolons ? token().has(Token::startOfLine) : at(TokenKind::semicolon)) ||
            at(TokenKind::leftBrace) || at(TokenKind::rightBrace) || startsStatementOnNewLine() ||
            startsAssignmentOnNewLine())
            return;
        if (at(TokenKind::leftParen) || at(TokenKind::leftBracket))
            skipBalanced();
        else
            advance();
    }
}

// Reads over one token, or over everything between a bracket and its partner (never past a '}' that closes more).
void Parser::skipBalanced() {
    std::size_t length = scanBalanced(0, ~std::size_t{0});
    if (length == 0) length = 1;
    for (std::size_t i = 0; i < length && !atEnd(); ++i)
        advance();
}

void Parser::expectSemicolon(std::string_view message) {
    if (accept(TokenKind::semicolon)) return;
    bool isRepeat = lastErrorPosition_ == position_;
    // Between two things of one line something else may be wrong.
    const bool endsThere = atEnd() || at(TokenKind::rightBrace) || token().has(Token::startOfLine);
    error(previousEnd(), std::string(message), endsThere ? Correction{previousEnd(), "", ";"} : Correction{});
    bool isNewLine = token().has(Token::startOfLine) && (!isRepeat || startsStatementOnNewLine());
    if (!atEnd() && !at(TokenKind::rightBrace) && !isNewLine) skipStatement();
}

bool Parser::startsStatementOnNewLine() {
    if (!token().has(Token::startOfLine)) return false;
    switch (kind()) {
    case TokenKind::kwIf:
    case TokenKind::kwFor:
    case TokenKind::kwWhile:
    case TokenKind::kwDo:
    case TokenKind::kwSwitch:
    case TokenKind::kwReturn:
    case TokenKind::kwBreak:
    case TokenKind::kwContinue:
    case TokenKind::kwCase:
    case TokenKind::kwDefault:
    case TokenKind::kwStruct:
    case TokenKind::kwEnum:
    case TokenKind::kwTypedef:
    case TokenKind::kwStatic:
    case TokenKind::kwInline:
    case TokenKind::kwConstexpr:
    case TokenKind::kwConstant:
    case TokenKind::kwConst:
    case TokenKind::kwFragment:
    case TokenKind::kwVertex:
    case TokenKind::kwKernel:
    case TokenKind::kwTemplate:
    case TokenKind::kwUsing:
    case TokenKind::kwNamespace: return true;
    case TokenKind::identifier:
        return NameTracker::classify(token().identifier) == NameClass::type && peek(1).is(TokenKind::identifier);
    default: return false;
    }
}

// "x.y += ..." on a line of its own. Only recovery asks: a chain of assignments may be broken over lines.
bool Parser::startsAssignmentOnNewLine() {
    if (!token().has(Token::startOfLine) || !at(TokenKind::identifier)) return false;
    std::size_t i = 1;
    while (peek(i).is(TokenKind::period) && peek(i + 1).is(TokenKind::identifier))
        i += 2;
    switch (peek(i).kind) {
    case TokenKind::equal:
    case TokenKind::plusEqual:
    case TokenKind::minusEqual:
    case TokenKind::starEqual:
    case TokenKind::slashEqual: return true;
    default: return false;
    }
}

// To the end of a statement that cannot be read: behind its semicolon, or before what begins or ends something else.
void Parser::skipStatement() {
    std::size_t first = position_;
    while (!atEnd() && !at(TokenKind::rightBrace)) {
        if (accept(TokenKind::semicolon)) return;
        if (position_ != first && (startsStatementOnNewLine() || startsAssignmentOnNewLine())) return;
        if (at(TokenKind::leftBrace)) {
            skipBalanced();
            if (atEnd() || token().has(Token::startOfLine)) return;
            continue;
        }
        advance();
    }
}

// The same outside functions: also stops at what looks like the next declaration.
void Parser::skipDeclaration() {
    std::size_t first = position_;
    while (!atEnd() && !at(TokenKind::rightBrace)) {
        if (accept(TokenKind::semicolon)) return;
        if (position_ != first && token().has(Token::startOfLine) &&
            (isColumnOne(token()) || startsFunctionDefinition()))
            return;
        if (at(TokenKind::leftBrace)) {
            skipBalanced();
            accept(TokenKind::semicolon);
            return;
        }
        advance();
    }
}

// A function seemed to end, but what follows is indented like the inside of it: its closing brace is one too many. Says
// so at that brace and skips what belongs to the function.
bool Parser::skipBehindExtraBrace() {
    if (!doubtfulBrace_) return false;
    SourceLocation brace = doubtfulBrace_;
    doubtfulBrace_ = {};
    if (!token().has(Token::startOfLine) || indentation(token().location) <= doubtfulIndentation_) return false;
    if (!functionHadErrors_) { // else a brace that opens may be what was lost
        lastErrorPosition_ = ~std::size_t{0};
        error(brace, "extraneous closing brace ('}')");
    }
    do
        advance();
    while (!atEnd() && !(token().has(Token::startOfLine) && indentation(token().location) <= doubtfulIndentation_));
    accept(TokenKind::rightBrace); // the real end of the function
    return true;
}

// After a declaration with a fault: when its head could not be made out, the lines of its body are what comes next.
// They stand deeper than the head did; or as deep as the fault, when it is itself the inside of a function without a
// head.
void Parser::skipIndentedBlock(SourceLocation begin, Declarations& before) {
    std::uint32_t own = indentation(begin);
    bool isInside = own > 0 && !parent_;
    auto belongs = [&] {
        if (atEnd() || !token().has(Token::startOfLine)) return !atEnd();
        std::uint32_t columns = indentation(token().location);
        return (columns > own || (isInside && columns == own)) && !startsFunctionDefinition();
    };
    if (!token().has(Token::startOfLine) && !isInside) return;
    if (isInside) // variables in front of the fault stand inside of the same function
        while (!before.isEmpty() && before.back()->kind == DeclKind::variable &&
               indentation(before.back()->location) == own)
            before.removeLast();
    bool isItsBrace = !parent_ && indentation(token().location) <= own;
    if (!belongs()) {
        if (isItsBrace && accept(TokenKind::rightBrace)) accept(TokenKind::semicolon);
        return;
    }
    do
        advance();
    while (belongs());
    accept(TokenKind::rightBrace);
}

void Parser::unsupported(SourceLocation at, std::string_view what) {
    error(at, std::string(what) + " is not supported here");
}

bool Parser::isColumnOne(const Token& token) const {
    if (!token.has(Token::startOfLine) || token.has(Token::fromMacro)) return false;
    std::uint32_t offset = token.location.offset();
    return offset == 0 || sources_.text()[offset - 1] == '\n' || sources_.text()[offset - 1] == '\r';
}

std::uint32_t Parser::indentation(SourceLocation at) const {
    std::string_view text = sources_.text();
    std::uint32_t columns = 0;
    for (std::size_t i = sources_.lineBegin(at.offset()); i < text.size(); ++i) {
        if (text[i] == '\t')
            columns = (columns / 4 + 1) * 4;
        else if (text[i] == ' ')
            ++columns;
        else
            break;
    }
    return columns;
}

bool Parser::enter() {
    ++depth_;
    if (depth_ <= WorkLimit::maxDepth) return true;
    if (!isStopped_) {
        diagnostics_.error(token().location, "bracket nesting level exceeded maximum of 200");
        stop();
    }
    return false;
}

} // namespace msl
