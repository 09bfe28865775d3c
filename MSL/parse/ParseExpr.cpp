// Operators: from the comma down to the postfix forms.
#include "MSL/parse/ParserImpl.h"

#include <algorithm>

namespace msl {

namespace {

struct OperatorRow {
    int precedence = 0; // 0: no binary operator
    BinaryOp op = BinaryOp::comma;
};

// Assignment, comma and the conditional are read elsewhere; ">" and ">>" depend on the token after.
OperatorRow binaryOperator(TokenKind kind) {
    switch (kind) {
    case TokenKind::star: return {10, BinaryOp::mul};
    case TokenKind::slash: return {10, BinaryOp::div};
    case TokenKind::percent: return {10, BinaryOp::rem};
    case TokenKind::plus: return {9, BinaryOp::add};
    case TokenKind::minus: return {9, BinaryOp::sub};
    case TokenKind::lessless: return {8, BinaryOp::shl};
    case TokenKind::less: return {7, BinaryOp::less};
    case TokenKind::greater: return {7, BinaryOp::greater};
    case TokenKind::lessEqual: return {7, BinaryOp::lessEqual};
    case TokenKind::greaterEqual: return {7, BinaryOp::greaterEqual};
    case TokenKind::equalequal: return {6, BinaryOp::equal};
    case TokenKind::exclaimEqual: return {6, BinaryOp::notEqual};
    case TokenKind::amp: return {5, BinaryOp::bitAnd};
    case TokenKind::caret: return {4, BinaryOp::bitXor};
    case TokenKind::pipe: return {3, BinaryOp::bitOr};
    case TokenKind::ampamp: return {2, BinaryOp::logicalAnd};
    case TokenKind::pipepipe: return {1, BinaryOp::logicalOr};
    default: return {};
    }
}

OperatorRow assignmentOperator(TokenKind kind) {
    switch (kind) {
    case TokenKind::equal: return {1, BinaryOp::assign};
    case TokenKind::starEqual: return {1, BinaryOp::mulAssign};
    case TokenKind::slashEqual: return {1, BinaryOp::divAssign};
    case TokenKind::percentEqual: return {1, BinaryOp::remAssign};
    case TokenKind::plusEqual: return {1, BinaryOp::addAssign};
    case TokenKind::minusEqual: return {1, BinaryOp::subAssign};
    case TokenKind::lesslessEqual: return {1, BinaryOp::shlAssign};
    case TokenKind::ampEqual: return {1, BinaryOp::andAssign};
    case TokenKind::caretEqual: return {1, BinaryOp::xorAssign};
    case TokenKind::pipeEqual: return {1, BinaryOp::orAssign};
    default: return {};
    }
}

} // namespace

Expr* Parser::errorExpr(SourceLocation at) {
    return make<ErrorExpr>(at, at);
}

// Gives an expression its height above its parts; passes recurse over expressions, so there is a limit.
Expr* Parser::limitHeight(Expr* expression, std::uint16_t below) {
    expression->height = static_cast<std::uint16_t>(below + 1);
    highest_ = std::max(highest_, expression->height);
    if (expression->height <= heightLimit) return expression;
    if (!isStopped_) {
        diagnostics_.error(expression->location, "expression is nested too deeply");
        stop();
    }
    return errorExpr(expression->location);
}

Expr* Parser::parseExpression() {
    Expr* left = parseAssignment();
    while (at(TokenKind::comma)) {
        const SourceLocation location = advance();
        if (at(TokenKind::ellipsis)) {
            left = parseFold(left, BinaryOp::comma, location);
            continue;
        }
        auto* both = make<Binary>(location, left->begin);
        both->op = BinaryOp::comma;
        both->left = left;
        both->right = parseAssignment();
        if (left->kind == ExprKind::error || both->right->kind == ExprKind::error) return errorExpr(left->begin);
        left = limitHeight(both, std::max(left->height, both->right->height));
    }
    return left;
}

Expr* Parser::parseInitializerClause() {
    return at(TokenKind::leftBrace) ? parseInitList() : parseAssignment();
}

Expr* Parser::parseAssignment() {
    Nesting nesting(*this);
    if (!nesting) return errorExpr(token().location);
    Expr* left = parseConditional();
    OperatorRow row = assignmentOperator(kind());
    bool isShift =
        at(TokenKind::greater) && !noGreater_ && peek(1).is(TokenKind::greaterEqual) && peek(1).touchesPrevious();
    if (isShift) row = {1, BinaryOp::shrAssign};
    if (row.precedence == 0 || left->kind == ExprKind::error) return left;
    auto* assignment = make<Binary>(advance(), left->begin);
    if (isShift) advance();
    assignment->op = row.op;
    assignment->left = left;
    assignment->right = parseInitializerClause();
    if (assignment->right->kind == ExprKind::error) return assignment->right;
    return limitHeight(assignment, std::max(left->height, assignment->right->height));
}

Expr* Parser::parseConditional() {
    Expr* condition = parseBinary(1);
    if (!at(TokenKind::question)) return condition;
    Nesting nesting(*this);
    if (!nesting) return errorExpr(token().location);
    auto* conditional = make<Conditional>(advance(), condition->begin);
    conditional->condition = condition;
    bool outer = noGreater_;
    noGreater_ = false;
    conditional->whenTrue = parseExpression();
    noGreater_ = outer;
    if (!accept(TokenKind::colon)) {
        errorHere("expected ':'");
        note(conditional->location, "to match this '?'");
        return errorExpr(conditional->location);
    }
    // The last part is an assignment expression: "a ? b : c = d".
    conditional->whenFalse = noGreater_ ? parseConditional() : parseAssignment();
    if (condition->kind == ExprKind::error || conditional->whenTrue->kind == ExprKind::error ||
        conditional->whenFalse->kind == ExprKind::error)
        return errorExpr(conditional->begin);
    return limitHeight(conditional,
                       std::max({condition->height, conditional->whenTrue->height, conditional->whenFalse->height}));
}

Expr* Parser::parseBinary(int minimumPrecedence) {
    return parseBinaryRest(parseUnary(), minimumPrecedence);
}

Expr* Parser::parseBinaryRest(Expr* left, int minimumPrecedence) {
    for (;;) {
        OperatorRow row = binaryOperator(kind());
        bool isShift = false;
        if (at(TokenKind::greater)) {
            if (noGreater_) return left;
            const Token& next = peek(1);
            if (next.touchesPrevious() && next.is(TokenKind::greaterEqual)) return left; // ">>="
            isShift = next.touchesPrevious() && next.is(TokenKind::greater);
            if (isShift) row = {8, BinaryOp::shr};
        }
        if (row.precedence < minimumPrecedence || row.precedence == 0) return left;
        SourceLocation location = advance();
        if (isShift) advance();
        if (at(TokenKind::ellipsis)) {
            left = parseFold(left, row.op, location);
            continue;
        }
        Expr* right = parseUnary();
        // What binds tighter on the right belongs to the right side.
        right = parseBinaryRest(right, row.precedence + 1);
        if (left->kind == ExprKind::error || right->kind == ExprKind::error) {
            left = errorExpr(left->begin);
            continue;
        }
        auto* binary = make<Binary>(location, left->begin);
        binary->op = row.op;
        binary->left = left;
        binary->right = right;
        left = limitHeight(binary, std::max(left->height, right->height));
        if (left->kind == ExprKind::error) return left;
    }
}

// "pack op ..." from the dots on; "pack op ... op last".
Expr* Parser::parseFold(Expr* left, BinaryOp op, SourceLocation location) {
    advance();
    auto* fold = make<Fold>(location, left->begin);
    fold->op = op;
    fold->left = left;
    if (!at(TokenKind::rightParen)) {
        if (!(op == BinaryOp::comma ? at(TokenKind::comma) : binaryOperator(kind()).op == op)) {
            errorHere("expected the operator of the fold expression, or ')'");
            return errorExpr(location);
        }
        advance();
        fold->right = parseUnary();
    }
    const Expr* right = fold->right ? fold->right : left;
    if (left->kind == ExprKind::error || right->kind == ExprKind::error) return errorExpr(left->begin);
    return limitHeight(fold, std::max(left->height, right->height));
}

// "(... op pack)" from the dots on.
Expr* Parser::parseLeftFold() {
    auto* fold = make<Fold>(advance(), token().location);
    const OperatorRow row = binaryOperator(kind());
    if (row.precedence == 0 && !at(TokenKind::comma)) {
        errorHere("expected an operator");
        return errorExpr(fold->location);
    }
    fold->op = row.op;
    fold->location = advance();
    fold->right = parseUnary();
    if (fold->right->kind == ExprKind::error) return fold->right;
    return limitHeight(fold, fold->right->height);
}

Expr* Parser::parseUnary() {
    UnaryOp op;
    switch (kind()) {
    case TokenKind::plus: op = UnaryOp::plus; break;
    case TokenKind::minus: op = UnaryOp::minus; break;
    case TokenKind::exclaim: op = UnaryOp::logicalNot; break;
    case TokenKind::tilde: op = UnaryOp::bitNot; break;
    case TokenKind::plusplus: op = UnaryOp::preIncrement; break;
    case TokenKind::minusminus: op = UnaryOp::preDecrement; break;
    case TokenKind::star: op = UnaryOp::dereference; break;
    case TokenKind::amp: op = UnaryOp::addressOf; break;
    case TokenKind::kwSizeof:
    case TokenKind::kwAlignof: return parseSizeOf();
    case TokenKind::leftParen:
        if (std::size_t after = scanType(1); after != 0 && peek(after).is(TokenKind::rightParen)) {
            Nesting nesting(*this);
            if (!nesting) return errorExpr(token().location);
            SourceLocation open = advance();
            TypeSyntax* type = parseTypeId();
            expectClosing(TokenKind::rightParen, open);
            if (at(TokenKind::leftBrace)) { // "(Ray){ a, b }"
                Expr* construct = parseConstruct(type);
                construct->begin = open;
                return parsePostfix(construct);
            }
            auto* cast = make<Cast>(open, open);
            cast->typeSyntax = type;
            cast->operand = parseUnary();
            return limitHeight(cast, cast->operand->height);
        }
        return parsePostfix(parsePrimary());
    default: return parsePostfix(parsePrimary());
    }
    Nesting nesting(*this);
    if (!nesting) return errorExpr(token().location);
    SourceLocation location = advance();
    auto* unary = make<Unary>(location, location);
    unary->op = op;
    unary->operand = parseUnary();
    if (unary->operand->kind == ExprKind::error) return unary->operand;
    return limitHeight(unary, unary->operand->height);
}

Expr* Parser::parsePostfix(Expr* operand) {
    for (;;) {
        if (operand->kind == ExprKind::error) return operand;
        switch (kind()) {
        case TokenKind::leftParen: {
            auto* call = make<Call>(operand->location, operand->begin);
            SourceLocation open = advance();
            Expressions arguments;
            bool isWhole = parseArguments(arguments, TokenKind::rightParen, open);
            std::uint16_t below = operand->height;
            for (Expr* argument : arguments)
                below = std::max(below, argument->height);
            call->callee = operand;
            call->arguments = arguments.copyTo(arena_);
            operand = isWhole ? limitHeight(call, below) : errorExpr(call->begin);
            break;
        }
        case TokenKind::leftBracket: {
            auto* index = make<Index>(token().location, operand->begin);
            SourceLocation open = advance();
            bool outer = noGreater_;
            noGreater_ = false;
            index->base = operand;
            index->index = parseExpression();
            noGreater_ = outer;
            bool isWhole = expectClosing(TokenKind::rightBracket, open) && index->index->kind != ExprKind::error;
            operand =
                isWhole ? limitHeight(index, std::max(operand->height, index->index->height)) : errorExpr(index->begin);
            break;
        }
        case TokenKind::period:
        case TokenKind::arrow: {
            Member* member = parseMember(operand);
            operand = member ? limitHeight(member, operand->height) : errorExpr(operand->begin);
            break;
        }
        case TokenKind::plusplus:
        case TokenKind::minusminus: {
            auto* unary = make<Unary>(token().location, operand->begin);
            unary->op = at(TokenKind::plusplus) ? UnaryOp::postIncrement : UnaryOp::postDecrement;
            advance();
            unary->operand = operand;
            operand = limitHeight(unary, operand->height);
            break;
        }
        default: return operand;
        }
    }
}

// ".name" or "->name"; null when no name follows.
Member* Parser::parseMember(Expr* base) {
    bool isArrow = at(TokenKind::arrow);
    advance();
    bool isTemplate = accept(TokenKind::kwTemplate);
    if (!at(TokenKind::identifier) || startsStatementOnNewLine()) {
        error(here(), "expected unqualified-id");
        return nullptr;
    }
    auto* member = make<Member>(token().location, base->begin);
    member->base = base;
    member->isArrow = isArrow;
    parseQualifiers(member->name); // "x.Base::f()"
    if (!at(TokenKind::identifier)) {
        error(here(), "expected unqualified-id");
        return nullptr;
    }
    member->location = token().location;
    member->name.location = token().location;
    member->name.identifier = token().identifier;
    bool mayBeTemplate =
        isTemplate || NameTracker::classifyQualified(token().identifier) == NameClass::templateFunction;
    advance();
    if (mayBeTemplate && at(TokenKind::less)) {
        std::size_t after = scanTemplateArguments(0);
        if (after != 0 && peek(after).is(TokenKind::leftParen)) {
            member->name.hasTemplateArguments = true;
            member->name.templateArguments = parseTemplateArguments();
        }
    }
    return member;
}

// Arguments and the closing bracket; open was taken already. False when one of them could not be read.
Expr* Parser::expansionOf(Expr* pattern) {
    if (!at(TokenKind::ellipsis)) return pattern;
    auto* expansion = make<PackExpansion>(advance(), pattern->begin);
    expansion->pattern = pattern;
    return limitHeight(expansion, pattern->height);
}

bool Parser::parseArguments(Expressions& arguments, TokenKind close, SourceLocation open) {
    bool outer = noGreater_;
    noGreater_ = false;
    bool isWhole = true;
    while (!at(close) && !atEnd()) {
        Expr* argument = expansionOf(parseInitializerClause());
        isWhole &= argument->kind != ExprKind::error;
        arguments.add(argument);
        if (!accept(TokenKind::comma)) break;
        if (at(close) || atEnd()) {
            if (close != TokenKind::rightBrace) {
                errorHere("expected expression");
                isWhole = false;
            }
            break;
        }
    }
    noGreater_ = outer;
    return expectClosing(close, open) && isWhole;
}

} // namespace msl
