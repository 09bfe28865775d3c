// Statements, and the search for the brace that is missing.
#include "MSL/parse/ParserImpl.h"

#include <algorithm>

namespace msl {

CompoundStmt* Parser::parseCompound() {
    SourceLocation open = advance();
    return parseCompoundAfterBrace(open);
}

CompoundStmt* Parser::parseCompoundAfterBrace(SourceLocation open) {
    auto* compound = makeStmt<CompoundStmt>(open);
    NameTracker::Mark mark = names_.open();
    SmallList<Stmt*, 16> statements;
    while (!at(TokenKind::rightBrace) && !closeFunction_) {
        if (atEnd() || missesClosingBrace()) {
            reportMissingBrace(functionBrace_);
            break;
        }
        parseStatementInto(statements);
    }
    compound->end = closeFunction_ ? previousEnd() : token().location;
    if (!closeFunction_) accept(TokenKind::rightBrace);
    names_.close(mark);
    compound->statements = statements.copyTo(arena_);
    return compound;
}

void Parser::parseStatementInto(SmallList<Stmt*, 16>& out) {
    std::size_t before = position_;
    if (Stmt* statement = parseStatement()) out.add(statement);
    if (position_ == before && !at(TokenKind::rightBrace) && !atEnd() && !closeFunction_) {
        errorHere("expected expression");
        advance();
        skipStatement();
    }
}

// Whether the statement that seems to begin here belongs behind the function: another function's head, or something
// that only file scope can hold, no deeper in the line than the function itself or in another file.
bool Parser::missesClosingBrace() {
    if (!inFunction_ || !token().has(Token::startOfLine) || token().has(Token::fromMacro)) return false;
    bool isOtherFile = sources_.fileIndex(token().location.offset()) != functionFile_;
    if (!isOtherFile && indentation(token().location) > functionIndentation_) return false;
    switch (kind()) {
    case TokenKind::kwFragment:
    case TokenKind::kwVertex:
    case TokenKind::kwKernel:
    case TokenKind::kwTemplate:
    case TokenKind::kwNamespace: return true;
    case TokenKind::kwStruct:
    case TokenKind::kwEnum:
    case TokenKind::kwConstant:
    case TokenKind::kwTypedef:
    case TokenKind::kwUsing:
        if (bodyIsIndented_) return true;
        break;
    case TokenKind::identifier:
    case TokenKind::kwStatic:
    case TokenKind::kwInline:
    case TokenKind::kwConstexpr:
    case TokenKind::kwConst:
    case TokenKind::kwUnsigned:
    case TokenKind::kwDouble:
    case TokenKind::leftBracket:
    case TokenKind::kwAttribute:
    case TokenKind::kwDevice:
    case TokenKind::kwThread:
    case TokenKind::coloncolon: break;
    default: return false;
    }
    return startsFunctionDefinition();
}

// Reports the missing brace behind the last token, and names the brace that it should close: where the indentation
// shows a closing brace standing further left than the line of the one it closed, that one; else the innermost open
// one.
void Parser::reportMissingBrace(std::size_t openToken) {
    closeFunction_ = inFunction_;
    std::vector<std::size_t> open;
    std::size_t culprit = openToken;
    bool isFound = false;
    for (std::size_t i = openToken; i < position_ && !isFound; ++i) {
        const Token& t = tokens_[i];
        if (t.has(Token::fromMacro)) continue;
        if (t.is(TokenKind::leftBrace)) {
            open.push_back(i);
        } else if (t.is(TokenKind::rightBrace) && !open.empty()) {
            if (t.has(Token::startOfLine) && indentation(t.location) < indentation(tokens_[open.back()].location)) {
                culprit = open.back();
                isFound = true;
            }
            open.pop_back();
        }
    }
    if (!isFound && !open.empty()) culprit = open.back();
    lastErrorPosition_ = ~std::size_t{0}; // a second fault, whatever was missed at this token before
    error(previousEnd(), "expected '}'");
    if (tokens_[culprit].is(TokenKind::leftBrace)) note(tokens_[culprit].location, "to match this '{'");
}

// ----------------------------------------------------------------------------------------------------- statements

Stmt* Parser::parseStatement() {
    Nesting nesting(*this);
    if (!nesting) return nullptr;
    if (at(TokenKind::leftBracket) && peek(1).is(TokenKind::leftBracket)) {
        std::size_t after = scanAttributes(0);
        switch (peek(after).kind) {
        case TokenKind::kwIf:
        case TokenKind::kwFor:
        case TokenKind::kwWhile:
        case TokenKind::kwDo:
        case TokenKind::kwSwitch:
        case TokenKind::kwReturn:
        case TokenKind::leftBrace:
        case TokenKind::semicolon: { // hints that change nothing
            Attributes ignored;
            parseAttributes(ignored);
            break;
        }
        default: return parseDeclarationStatement();
        }
    }
    bool direct = directlyInSwitch_;
    switch (kind()) {
    case TokenKind::leftBrace: {
        directlyInSwitch_ = false;
        CompoundStmt* compound = parseCompound();
        directlyInSwitch_ = direct;
        return compound;
    }
    case TokenKind::semicolon: return makeStmt<NullStmt>(advance());
    case TokenKind::kwIf: return parseIf();
    case TokenKind::kwFor: return parseFor();
    case TokenKind::kwWhile: return parseWhile();
    case TokenKind::kwDo: return parseDo();
    case TokenKind::kwSwitch: return parseSwitch();
    case TokenKind::kwCase:
    case TokenKind::kwDefault: return parseCase();
    case TokenKind::kwReturn: return parseReturn();
    case TokenKind::kwBreak:
    case TokenKind::kwContinue: return parseJump();
    case TokenKind::kwElse:
        if (diagnostics_.errorCount() == errorsBeforeFunction_) // else its "if" may be what was lost
            errorHere("expected expression");
        advance();
        return parseStatement(); // the branch itself may be fine
    case TokenKind::kwGoto:
    case TokenKind::kwTry:
    case TokenKind::kwThrow:
    case TokenKind::kwAsm:
    case TokenKind::kwDelete:
        unsupported(token().location, "'" + std::string(token().identifier->text) + "'");
        advance();
        skipStatement();
        return nullptr;
    case TokenKind::identifier:
        if (peek(1).is(TokenKind::colon) && !peek(2).is(TokenKind::colon)) {
            unsupported(token().location, "a label");
            advance();
            advance();
            return at(TokenKind::rightBrace) ? nullptr : parseStatement();
        }
        break;
    default: break;
    }
    if (startsDeclaration()) {
        if (at(TokenKind::identifier) && peek(1).is(TokenKind::identifier))
            if (Stmt* repaired = parseMistypedReturn()) return repaired;
        return parseDeclarationStatement();
    }
    return parseExpressionStatement();
}

// "retrun float4(1.0);" reads like a declaration of something odd; it is taken for what it was meant to be.
Stmt* Parser::parseMistypedReturn() {
    const Identifier* word = token().identifier;
    if (NameTracker::classify(word) != NameClass::unknown || word->text.size() < 4 || word->text.size() > 8)
        return nullptr;
    constexpr std::string_view wanted = "return";
    unsigned previous[7] = {0, 1, 2, 3, 4, 5, 6};
    for (std::size_t i = 0; i < word->text.size(); ++i) {
        unsigned diagonal = previous[0]++;
        for (std::size_t j = 0; j < wanted.size(); ++j) {
            unsigned above = previous[j + 1];
            previous[j + 1] = std::min({above + 1, previous[j] + 1, diagonal + (word->text[i] != wanted[j] ? 1U : 0U)});
            diagonal = above;
        }
    }
    if (previous[wanted.size()] > 2) return nullptr;
    error(token().location, "unknown type name '" + std::string(word->text) + "'; did you mean 'return'?",
          {token().location, word->text, wanted});
    return parseReturn();
}

// The condition of a loop or a branch with its parentheses.
Expr* Parser::parseCondition(std::string_view keyword) {
    SourceLocation open;
    bool hasParen = parseOpenParen(keyword, open);
    Expr* condition = parseExpression();
    if (hasParen)
        expectClosing(TokenKind::rightParen, open);
    else
        accept(TokenKind::rightParen);
    return condition;
}

Stmt* Parser::parseDeclarationStatement() {
    auto* statement = makeStmt<DeclStmt>(token().location);
    Declarations declarations;
    parseDeclaration(declarations, Context::local);
    statement->declarations = declarations.copyTo(arena_);
    return statement->declarations.empty() ? nullptr : statement;
}

Stmt* Parser::parseExpressionStatement() {
    auto* statement = makeStmt<ExprStmt>(token().location);
    std::size_t first = position_;
    statement->expression = parseExpression();
    if (statement->expression->kind == ExprKind::error && !at(TokenKind::semicolon)) {
        if (position_ == first || !startsStatementOnNewLine()) skipStatement();
        return statement;
    }
    expectSemicolon("expected ';' after expression");
    return statement;
}

bool Parser::parseOpenParen(std::string_view keyword, SourceLocation& open) {
    open = token().location;
    if (accept(TokenKind::leftParen)) return true;
    errorHere("expected '(' after '" + std::string(keyword) + "'");
    return false;
}

Stmt* Parser::parseBranch() {
    bool direct = directlyInSwitch_;
    directlyInSwitch_ = false;
    NameTracker::Mark mark = names_.open();
    Stmt* branch = nullptr;
    if (at(TokenKind::rightBrace) || atEnd())
        errorHere("expected statement");
    else if (!missesClosingBrace()) {
        std::size_t before = position_;
        branch = parseStatement();
        if (position_ == before && !at(TokenKind::rightBrace) && !atEnd() && !closeFunction_) {
            errorHere("expected expression");
            advance();
            skipStatement();
        }
    } else {
        errorHere("expected statement");
    }
    names_.close(mark);
    directlyInSwitch_ = direct;
    return branch ? branch : makeStmt<NullStmt>(token().location);
}

DeclStmt* Parser::parseConditionDeclaration(Expr*& condition) {
    auto* init = makeStmt<DeclStmt>(token().location);
    Declarations declarations;
    Specifiers specifiers;
    parseSpecifiers(specifiers, Context::local);
    requireType(specifiers);
    parseDeclarators(declarations, specifiers, Context::forInit, nullptr);
    init->declarations = declarations.copyTo(arena_);
    if (declarations.size() == 1 && declarations[0]->kind == DeclKind::variable) {
        auto* read = make<NameRef>(declarations[0]->location, declarations[0]->location);
        read->name.identifier = declarations[0]->name;
        read->name.location = declarations[0]->location;
        condition = read;
    } else {
        condition = errorExpr(init->location);
    }
    return init;
}

Stmt* Parser::guarded(DeclStmt* declaration, Expr* condition, Stmt* body) {
    auto* test = makeStmt<IfStmt>(declaration->location);
    test->condition = condition;
    test->thenBranch = makeStmt<NullStmt>(declaration->location);
    test->elseBranch = makeStmt<BreakStmt>(declaration->location);
    auto* block = makeStmt<CompoundStmt>(declaration->location);
    Stmt* parts[] = {declaration, test, body};
    block->statements = arena_.copy(std::span<Stmt* const>(parts));
    block->end = body->location;
    return block;
}

Stmt* Parser::parseIf() {
    auto* statement = makeStmt<IfStmt>(advance());
    statement->isConstexpr = accept(TokenKind::kwConstexpr);
    NameTracker::Mark mark = names_.open();
    SourceLocation open = token().location;
    if (!at(TokenKind::leftParen)) {
        statement->condition = parseCondition("if");
    } else {
        advance();
        bool hasDeclaration = startsDeclaration();
        if (hasDeclaration) { // "if (float x = f())", "if (int i = f(); i > 0)"
            Expr* read = nullptr;
            statement->init = parseConditionDeclaration(read);
            if (!accept(TokenKind::semicolon)) statement->condition = read;
        } else if (at(TokenKind::semicolon)) {
            advance();
        }
        if (!statement->condition) {
            statement->condition = parseExpression();
            if (at(TokenKind::semicolon) && !hasDeclaration) { // "if (i = 3; i > 2)"
                auto* init = makeStmt<ExprStmt>(statement->condition->begin);
                init->expression = statement->condition;
                statement->init = init;
                advance();
                statement->condition = parseExpression();
            }
        }
        expectClosing(TokenKind::rightParen, open);
    }
    Attributes likelihood;
    parseAttributes(likelihood);
    statement->thenBranch = parseBranch();
    if (at(TokenKind::kwElse) && !closeFunction_) {
        advance();
        parseAttributes(likelihood);
        statement->elseBranch = parseBranch();
    }
    names_.close(mark);
    return statement;
}

Stmt* Parser::parseFor() {
    SourceLocation begin = advance();
    NameTracker::Mark mark = names_.open();
    SourceLocation open;
    auto* statement = makeStmt<ForStmt>(begin);
    if (!parseOpenParen("for", open)) {
        skipStatement();
        names_.close(mark);
        return statement;
    }
    constexpr std::string_view separator = "expected ';' in 'for' statement specifier";
    auto expectSeparator = [&] {
        if (accept(TokenKind::semicolon)) return true;
        errorHere(std::string(separator));
        skipToClosing(TokenKind::rightParen, true);
        return false;
    };
    bool isWhole = true;
    if (at(TokenKind::semicolon)) {
        advance();
    } else if (startsDeclaration()) {
        auto* init = makeStmt<DeclStmt>(token().location);
        Declarations declarations;
        Specifiers specifiers;
        parseSpecifiers(specifiers, Context::local);
        requireType(specifiers);
        // "for (auto x : values)"
        std::size_t i = 0;
        while (peek(i).is(TokenKind::amp) || peek(i).is(TokenKind::star) || peek(i).is(TokenKind::ampamp) ||
               peek(i).is(TokenKind::kwConst) || peek(i).is(TokenKind::kwThread))
            ++i;
        if (specifiers.hasType && peek(i).is(TokenKind::identifier) && peek(i + 1).is(TokenKind::colon)) {
            Declarator declarator;
            parseDeclarator(declarator, specifiers, Context::local);
            auto* range = makeStmt<RangeForStmt>(begin);
            range->variable = makeDecl<VarDecl>(declarator.name, declarator.location);
            range->variable->typeSyntax = finishType(specifiers, declarator);
            range->variable->isConst = specifiers.type.isConst;
            advance();
            range->range = parseInitializerClause();
            names_.declare(declarator.name, NameClass::value);
            expectClosing(TokenKind::rightParen, open);
            ++loopDepth_;
            range->body = parseBranch();
            --loopDepth_;
            names_.close(mark);
            return range;
        }
        if (specifiers.hasType)
            parseDeclarators(declarations, specifiers, Context::forInit, nullptr);
        else
            errorHere("expected unqualified-id");
        init->declarations = declarations.copyTo(arena_);
        statement->init = init;
        isWhole = expectSeparator();
    } else {
        auto* init = makeStmt<ExprStmt>(token().location);
        init->expression = parseExpression();
        statement->init = init;
        isWhole = expectSeparator();
    }
    DeclStmt* declared = nullptr; // "for (;int d = f();)"
    Expr* read = nullptr;
    if (isWhole) {
        if (!at(TokenKind::semicolon) && startsDeclaration())
            declared = parseConditionDeclaration(read);
        else if (!at(TokenKind::semicolon))
            statement->condition = parseExpression();
        isWhole = expectSeparator();
    }
    if (isWhole) {
        if (!at(TokenKind::rightParen)) statement->step = parseExpression();
        expectClosing(TokenKind::rightParen, open);
    }
    ++loopDepth_;
    statement->body = parseBranch();
    if (declared) statement->body = guarded(declared, read, statement->body);
    --loopDepth_;
    names_.close(mark);
    return statement;
}

Stmt* Parser::parseWhile() {
    auto* statement = makeStmt<WhileStmt>(advance());
    NameTracker::Mark mark = names_.open();
    DeclStmt* declared = nullptr;
    Expr* read = nullptr;
    bool hasDeclaration = false;
    if (at(TokenKind::leftParen)) {
        const SourceLocation open = advance();
        hasDeclaration = startsDeclaration();
        if (hasDeclaration) { // "while (int x = f())"
            declared = parseConditionDeclaration(read);
            auto* always = make<BoolLiteral>(open, open);
            always->value = true;
            statement->condition = always;
        } else {
            statement->condition = parseExpression();
        }
        expectClosing(TokenKind::rightParen, open);
    } else {
        statement->condition = parseCondition("while");
    }
    ++loopDepth_;
    statement->body = parseBranch();
    if (declared) statement->body = guarded(declared, read, statement->body);
    --loopDepth_;
    names_.close(mark);
    return statement;
}

Stmt* Parser::parseDo() {
    auto* statement = makeStmt<DoWhileStmt>(advance());
    ++loopDepth_;
    statement->body = parseBranch();
    --loopDepth_;
    SourceLocation open = token().location;
    if (closeFunction_ || !at(TokenKind::kwWhile)) {
        if (!closeFunction_) error(previousEnd(), "expected 'while' in do/while loop");
        statement->condition = errorExpr(open);
        return statement;
    }
    advance();
    statement->condition = parseCondition("while");
    expectSemicolon("expected ';' after do/while statement");
    return statement;
}

Stmt* Parser::parseSwitch() {
    auto* statement = makeStmt<SwitchStmt>(advance());
    NameTracker::Mark mark = names_.open();
    Stmt* init = nullptr; // "switch (int x = f())", "switch (x = f(); x)"
    if (at(TokenKind::leftParen)) {
        const SourceLocation open = advance();
        if (startsDeclaration()) {
            Expr* read = nullptr;
            init = parseConditionDeclaration(read);
            statement->value = accept(TokenKind::semicolon) ? parseExpression() : read;
        } else {
            statement->value = parseExpression();
            if (at(TokenKind::semicolon)) {
                auto* first = makeStmt<ExprStmt>(statement->value->begin);
                first->expression = statement->value;
                init = first;
                advance();
                statement->value = parseExpression();
            }
        }
        expectClosing(TokenKind::rightParen, open);
    } else {
        statement->value = parseCondition("switch");
    }
    bool direct = directlyInSwitch_;
    directlyInSwitch_ = true;
    ++switchDepth_;
    if (at(TokenKind::leftBrace)) {
        statement->body = parseCompound();
    } else {
        statement->body = makeStmt<CompoundStmt>(token().location);
        errorHere("expected '{' after 'switch'");
        skipStatement();
    }
    --switchDepth_;
    directlyInSwitch_ = direct;
    names_.close(mark);
    if (!init) return statement;
    auto* block = makeStmt<CompoundStmt>(statement->location);
    Stmt* parts[] = {init, statement};
    block->statements = arena_.copy(std::span<Stmt* const>(parts));
    block->end = statement->body->end;
    return block;
}

Stmt* Parser::parseCase() {
    bool isDefault = at(TokenKind::kwDefault);
    auto* statement = makeStmt<CaseStmt>(advance());
    if (switchDepth_ == 0)
        error(statement->location,
              isDefault ? "'default' statement not in switch statement" : "'case' statement not in switch statement");
    else if (!directlyInSwitch_)
        unsupported(statement->location, "a label of a switch inside of another statement");
    bool isWanted = directlyInSwitch_;
    if (!isDefault) statement->value = parseConditional();
    if (!accept(TokenKind::colon)) {
        error(previousEnd(), isDefault ? "expected ':' after 'default'" : "expected ':' after 'case'");
        accept(TokenKind::semicolon);
    }
    return isWanted ? statement : nullptr;
}

Stmt* Parser::parseReturn() {
    auto* statement = makeStmt<ReturnStmt>(advance());
    if (!at(TokenKind::semicolon)) {
        statement->value = parseInitializerClause();
        if (at(TokenKind::comma)) { // the comma operator
            Expr* first = statement->value;
            auto* both = make<Binary>(advance(), first->begin);
            both->op = BinaryOp::comma;
            both->left = first;
            both->right = parseExpression();
            statement->value = limitHeight(both, std::max(first->height, both->right->height));
        }
        if (statement->value->kind == ExprKind::error && !at(TokenKind::semicolon)) {
            if (!startsStatementOnNewLine()) skipStatement();
            return statement;
        }
    }
    expectSemicolon("expected ';' after return statement");
    return statement;
}

Stmt* Parser::parseJump() {
    bool isBreak = at(TokenKind::kwBreak);
    SourceLocation location = advance();
    Stmt* statement = isBreak ? static_cast<Stmt*>(makeStmt<BreakStmt>(location)) : makeStmt<ContinueStmt>(location);
    bool isFine = loopDepth_ > 0 || (isBreak && switchDepth_ > 0);
    if (!isFine && diagnostics_.errorCount() == errorsBeforeFunction_) // else the loop's head may be what was lost
        error(location, isBreak ? "'break' statement not in loop or switch statement"
                                : "'continue' statement not in loop statement");
    expectSemicolon(isBreak ? "expected ';' after break statement" : "expected ';' after continue statement");
    return isFine ? statement : nullptr;
}

} // namespace msl
