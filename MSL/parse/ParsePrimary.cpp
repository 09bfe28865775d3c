// Literals, names, constructions, casts, lambdas and braced lists.
#include "MSL/lex/Literals.h"
#include "MSL/parse/ParserImpl.h"

#include <algorithm>

namespace msl {

Expr* Parser::parsePrimary() {
    const Token first = token();
    if (first.has(Token::startOfLine) && startsStatementOnNewLine()) { // the line before broke off
        error(previousEnd_ > 0 ? previousEnd() : first.location, "expected expression");
        return errorExpr(first.location);
    }
    switch (first.kind) {
    case TokenKind::number: return parseNumber();
    case TokenKind::character: {
        CharacterLiteral read = readCharacter(spelling(first));
        auto* literal = make<IntLiteral>(first.location, first.location);
        literal->value = read.value;
        literal->isCharacter = true;
        if (!read.error.empty()) error(first.location, read.error);
        advance();
        return literal;
    }
    case TokenKind::string: {
        auto* literal = make<StringLiteral>(first.location, first.location);
        std::string text;
        for (; at(TokenKind::string); advance())
            text += readString(spelling(token()));
        literal->text = arena_.copyText(text);
        return literal;
    }
    case TokenKind::kwTrue:
    case TokenKind::kwFalse: {
        auto* literal = make<BoolLiteral>(first.location, first.location);
        literal->value = first.is(TokenKind::kwTrue);
        advance();
        return literal;
    }
    case TokenKind::kwNullptr: {
        auto* literal = make<IntLiteral>(first.location, first.location);
        literal->isNullptr = true;
        advance();
        return literal;
    }
    case TokenKind::kwThis: {
        auto* name = make<NameRef>(first.location, first.location);
        name->isThis = true;
        name->name.identifier = first.identifier;
        name->name.location = first.location;
        advance();
        return name;
    }
    case TokenKind::leftParen: return parseParenthesized();
    case TokenKind::leftBracket: return parseLambda();
    case TokenKind::identifier:
    case TokenKind::coloncolon: return parseName();
    case TokenKind::kwStaticCast:
    case TokenKind::kwReinterpretCast:
    case TokenKind::kwConstCast: return parseNamedCast();
    case TokenKind::kwDouble:
    case TokenKind::kwUnsigned:
    case TokenKind::kwSigned:
    case TokenKind::kwTypename:
    case TokenKind::kwDecltype: {
        Specifiers specifiers;
        parseSpecifiers(specifiers, Context::typeId);
        Declarator none;
        return parseConstruct(finishType(specifiers, none));
    }
    case TokenKind::kwNew:
    case TokenKind::kwDelete:
    case TokenKind::kwThrow:
    case TokenKind::kwDynamicCast:
        unsupported(first.location, "'" + std::string(first.identifier->text) + "'");
        advance();
        return errorExpr(first.location);
    default: errorHere("expected expression"); return errorExpr(first.location);
    }
}

Expr* Parser::parseNumber() {
    const Token number = token();
    NumberLiteral read = readNumber(spelling(number));
    if (!read.error.empty()) {
        SourceLocation at =
            number.has(Token::fromMacro)
                ? number.location
                : SourceLocation::atOffset(number.location.offset() + static_cast<std::uint32_t>(read.errorOffset));
        error(at, read.error);
    }
    advance();
    if (read.isFloat) {
        auto* literal = make<FloatLiteral>(number.location, number.location);
        literal->value = read.floating;
        literal->scalar = read.kind;
        if (read.isTooLarge)
            diagnostics_.warning(number.location,
                                 "magnitude of floating-point constant too large for type '" +
                                     std::string(scalarName(read.kind)) + "'",
                                 WarningGroup::literalRange);
        return literal;
    }
    auto* literal = make<IntLiteral>(number.location, number.location);
    literal->value = read.integer;
    literal->isUnsigned = read.isUnsigned;
    literal->isLong = read.isLong;
    literal->isDecimal = read.isDecimal;
    return literal;
}

Expr* Parser::parseParenthesized() {
    SourceLocation open = advance();
    bool outer = noGreater_;
    noGreater_ = false;
    Expr* inner = at(TokenKind::ellipsis) ? parseLeftFold() : parseExpression();
    noGreater_ = outer;
    inner->isParenthesized = true;
    inner->begin = open;
    if (!expectClosing(TokenKind::rightParen, open)) return errorExpr(open);
    return inner;
}

// A name: of a variable or function, or of a type that is constructed.
Expr* Parser::parseName() {
    const Token first = token();
    bool isQualified = first.is(TokenKind::coloncolon) || peek(1).is(TokenKind::coloncolon);
    NameClass as = isQualified ? NameClass::unknown : NameTracker::classify(first.identifier);
    if (first.is(TokenKind::identifier) && first.identifier == asType_ && peek(1).is(TokenKind::less))
        return parseNamedCast();
    if (isQualified || as == NameClass::type || as == NameClass::templateType) {
        std::size_t after = scanType(0);
        TokenKind next = after ? peek(after).kind : TokenKind::eof;
        bool constructs = after != 0 && (next == TokenKind::leftParen || next == TokenKind::leftBrace);
        if (constructs) {
            auto* type = arena_.make<TypeSyntax>();
            type->location = first.location;
            Specifiers specifiers;
            if (parseFundamental(specifiers))
                *type = specifiers.type;
            else
                parseTypeName(*type);
            return parseConstruct(type);
        }
        bool hasQualifierArguments = as == NameClass::templateType && peek(1).is(TokenKind::less);
        if (!isQualified && !hasQualifierArguments) {
            error(first.location, "'" + std::string(first.identifier->text) + "' does not refer to a value");
            advance();
            if (at(TokenKind::period) || (at(TokenKind::identifier) && !token().has(Token::startOfLine)))
                skipToClosing(TokenKind::rightParen);
            lastErrorPosition_ = position_; // what is missing behind it is the same fault
            return errorExpr(first.location);
        }
    }
    if (!isQualified && as == NameClass::unknown && peek(1).is(TokenKind::leftBrace) && peek(1).touchesPrevious()) {
        auto* type = arena_.make<TypeSyntax>(); // "Light{ ... }" of a type that nobody knows
        type->location = first.location;
        parseTypeName(*type);
        return parseConstruct(type);
    }
    auto* reference = make<NameRef>(first.location, first.location);
    bool hasQualifiers = parseQualifiers(reference->name);
    if (at(TokenKind::identifier) && token().identifier == asType_ && peek(1).is(TokenKind::less))
        return parseNamedCast();
    if (!at(TokenKind::identifier)) {
        errorHere("expected unqualified-id");
        return errorExpr(first.location);
    }
    reference->location = reference->name.location = token().location;
    reference->name.identifier = token().identifier;
    NameClass last =
        hasQualifiers ? NameTracker::classifyQualified(token().identifier) : NameTracker::classify(token().identifier);
    advance();
    if (at(TokenKind::less) && (last == NameClass::templateFunction || last == NameClass::templateType)) {
        std::size_t after = scanTemplateArguments(0);
        if (after != 0) {
            reference->name.hasTemplateArguments = true;
            reference->name.templateArguments = parseTemplateArguments();
        }
    }
    return reference;
}

// "(args)" or "{args}" behind a type.
Expr* Parser::parseConstruct(TypeSyntax* type) {
    auto* construct = make<Construct>(type->location, type->location);
    construct->typeSyntax = type;
    construct->isBraced = at(TokenKind::leftBrace);
    if (!at(TokenKind::leftParen) && !at(TokenKind::leftBrace)) {
        errorHere("expected '(' for function-style cast or type construction");
        return errorExpr(type->location);
    }
    if (construct->isBraced && peek(1).is(TokenKind::period) && peek(2).is(TokenKind::identifier)) {
        // "Light{ .power = 2 }": one braced list keeps the designators
        Expressions arguments;
        arguments.add(parseInitList());
        construct->arguments = arguments.copyTo(arena_);
        return limitHeight(construct, arguments[0]->height);
    }
    SourceLocation open = advance();
    Expressions arguments;
    bool isWhole = parseArguments(arguments, construct->isBraced ? TokenKind::rightBrace : TokenKind::rightParen, open);
    if (!isWhole) return errorExpr(type->location);
    std::uint16_t below = 1;
    for (Expr* argument : arguments)
        below = std::max(below, argument->height);
    construct->arguments = arguments.copyTo(arena_);
    return limitHeight(construct, below);
}

// static_cast<T>(x), reinterpret_cast<T>(x), const_cast<T>(x), as_type<T>(x)
Expr* Parser::parseNamedCast() {
    auto* cast = make<Cast>(token().location, token().location);
    cast->syntax = at(TokenKind::kwStaticCast)        ? CastSyntax::static_
                   : at(TokenKind::kwReinterpretCast) ? CastSyntax::reinterpret_
                   : at(TokenKind::kwConstCast)       ? CastSyntax::const_
                                                      : CastSyntax::asType;
    std::string name(token().identifier->text);
    advance();
    SourceLocation less = token().location;
    if (!expect(TokenKind::less, "expected '<' after '" + name + "'")) return errorExpr(cast->location);
    cast->typeSyntax = parseTypeId();
    if (!expectClosing(TokenKind::greater, less)) return errorExpr(cast->location);
    SourceLocation open = token().location;
    if (!expect(TokenKind::leftParen, "expected '(' after '>'")) return errorExpr(cast->location);
    bool outer = noGreater_;
    noGreater_ = false;
    cast->operand = parseExpression();
    noGreater_ = outer;
    bool isWhole = expectClosing(TokenKind::rightParen, open);
    if (!isWhole || cast->operand->kind == ExprKind::error) return errorExpr(cast->location);
    return limitHeight(cast, cast->operand->height);
}

Expr* Parser::parseSizeOf() {
    Nesting nesting(*this);
    if (!nesting) return errorExpr(token().location);
    auto* size = make<SizeOf>(token().location, token().location);
    size->isAlignOf = at(TokenKind::kwAlignof);
    advance();
    if (at(TokenKind::ellipsis) && !size->isAlignOf) { // sizeof...(T)
        advance();
        SourceLocation open = token().location;
        if (!expect(TokenKind::leftParen, "expected '(' after 'sizeof...'")) return errorExpr(open);
        size->pack = at(TokenKind::identifier) ? token().identifier : nullptr;
        if (!expect(TokenKind::identifier, "expected identifier")) return errorExpr(open);
        expectClosing(TokenKind::rightParen, open);
        return size;
    }
    if (at(TokenKind::leftParen)) {
        std::size_t after = scanType(1);
        bool isType = after != 0 && (peek(after).is(TokenKind::rightParen) || peek(after).is(TokenKind::leftBracket));
        // A name that nobody knows is more likely a mistyped type than a variable.
        isType |= after == 0 && peek(1).is(TokenKind::identifier) && peek(2).is(TokenKind::rightParen) &&
                  NameTracker::classify(peek(1).identifier) == NameClass::unknown;
        if (isType) {
            SourceLocation open = advance();
            size->typeSyntax = parseTypeId();
            expectClosing(TokenKind::rightParen, open);
            return size;
        }
    }
    size->operand = parseUnary();
    if (size->operand->kind == ExprKind::error) return size->operand;
    return limitHeight(size, size->operand->height);
}

// The items of two lists for one object, as ".a.b = 1, .a.c = 2" makes them.
void Parser::merge(InitList& into, InitList& from) {
    Initializer& added = from.initializers[0];
    Initializer& last = into.initializers.back();
    if (last.isNested && added.isNested && last.designator && last.designator == added.designator) {
        merge(*static_cast<InitList*>(last.value), *static_cast<InitList*>(added.value));
        return;
    }
    const std::span<Initializer> all = arena_.makeArray<Initializer>(into.initializers.size() + 1);
    std::ranges::copy(into.initializers, all.begin());
    all.back() = added;
    into.initializers = all;
}

// [&, x](float a) -> float { ... }
Expr* Parser::parseLambda() {
    Nesting nesting(*this);
    auto* lambda = make<Lambda>(token().location, token().location);
    SourceLocation open = advance();
    if (!nesting) return errorExpr(open);
    SmallList<Lambda::Capture, 4> captures;
    while (!at(TokenKind::rightBracket) && !atEnd()) {
        Lambda::Capture capture;
        capture.location = token().location;
        if (at(TokenKind::equal)) {
            lambda->capturesAllByValue = true;
            advance();
        } else if (at(TokenKind::amp) && !peek(1).is(TokenKind::identifier)) {
            lambda->capturesAllByReference = true;
            advance();
        } else if (at(TokenKind::kwThis) || (at(TokenKind::star) && peek(1).is(TokenKind::kwThis))) {
            if (at(TokenKind::star)) unsupported(advance(), "a capture of '*this'");
            capture.isThis = true;
            advance();
            captures.add(capture);
        } else {
            capture.byReference = accept(TokenKind::amp);
            if (!at(TokenKind::identifier)) {
                errorHere("expected expression");
                skipToClosing(TokenKind::rightBracket);
                return errorExpr(open);
            }
            capture.name = token().identifier;
            capture.location = advance();
            if (accept(TokenKind::equal))
                capture.initializer = parseAssignment();
            else if (at(TokenKind::leftBrace) || at(TokenKind::leftParen)) {
                TokenKind close = at(TokenKind::leftBrace) ? TokenKind::rightBrace : TokenKind::rightParen;
                SourceLocation bracket = advance();
                capture.initializer = parseAssignment();
                expectClosing(close, bracket);
            }
            captures.add(capture);
        }
        if (!accept(TokenKind::comma)) break;
    }
    if (!expectClosing(TokenKind::rightBracket, open)) return errorExpr(open);
    lambda->captures = captures.copyTo(arena_);

    auto* function = makeDecl<FunctionDecl>(identifiers_.get("operator()"), open);
    function->isLambda = true;
    function->isOperator = true;
    lambda->function = function;
    NameTracker::Mark mark = names_.open();
    Decl* outerParent = parent_;
    parent_ = function;
    for (const Lambda::Capture& capture : captures)
        if (capture.initializer) names_.declare(capture.name, NameClass::value);
    if (at(TokenKind::leftParen)) parseParameters(*function);
    Attributes attributes;
    parseFunctionQualifiers(*function, attributes);
    // A parameter of type auto is one of a template parameter without a name that can be written.
    SmallList<TemplateParameterDecl*, 4> generic;
    for (VarDecl* parameter : function->parameters) {
        Name& name = parameter->typeSyntax->name;
        if (!name.identifier || name.identifier->text != "auto" || !name.qualifiers.empty()) continue;
        auto* made = makeDecl<TemplateParameterDecl>(identifiers_.get("auto:" + std::to_string(generic.size() + 1)),
                                                     parameter->location);
        made->index = static_cast<std::uint32_t>(generic.size());
        name.identifier = made->name;
        generic.add(made);
    }
    function->templateParameters = generic.copyTo(arena_);
    function->isGeneric = !generic.isEmpty();
    Expr* result = lambda;
    if (at(TokenKind::leftBrace)) {
        std::uint16_t outerHighest = highest_;
        highest_ = 0;
        parseFunctionBody(*function);
        result = limitHeight(lambda, highest_);
        highest_ = std::max(outerHighest, highest_);
    } else {
        errorHere("expected body of lambda expression");
        result = errorExpr(open);
    }
    parent_ = outerParent;
    names_.close(mark);
    return result;
}

// ".b.c = 1" or "[2].d = 1" behind a first designator: a list of its own with one item.
Expr* Parser::parseNestedDesignator() {
    Nesting nesting(*this);
    auto* list = make<InitList>(token().location, token().location);
    if (!nesting) return errorExpr(list->location);
    Initializer item;
    item.location = token().location;
    if (accept(TokenKind::period)) {
        item.designator = at(TokenKind::identifier) ? token().identifier : nullptr;
        item.location = token().location;
        if (!expect(TokenKind::identifier, "expected a field designator, such as '.field = 4'"))
            return errorExpr(list->location);
    } else {
        SourceLocation bracket = advance();
        item.indexDesignator = parseConditional();
        expectClosing(TokenKind::rightBracket, bracket);
    }
    if (at(TokenKind::period) || at(TokenKind::leftBracket)) {
        item.value = parseNestedDesignator();
        item.isNested = item.value->kind == ExprKind::initList;
    } else {
        if (!at(TokenKind::leftBrace)) expect(TokenKind::equal, "expected '=' or another designator");
        item.value = parseInitializerClause();
    }
    if (item.value->kind == ExprKind::error) return item.value;
    list->initializers = arena_.copy(std::span<const Initializer>(&item, 1));
    return limitHeight(list, item.value->height);
}

// { a, .b = c, [2] = d, { e } }
Expr* Parser::parseInitList() {
    Nesting nesting(*this);
    auto* list = make<InitList>(token().location, token().location);
    SourceLocation open = advance();
    if (!nesting) return errorExpr(open);
    bool outer = noGreater_;
    noGreater_ = false;
    SmallList<Initializer, 16> initializers;
    std::uint16_t below = 1;
    bool isWhole = true;
    while (!at(TokenKind::rightBrace) && !atEnd()) {
        Initializer initializer;
        initializer.location = token().location;
        if (at(TokenKind::period) && peek(1).is(TokenKind::identifier)) {
            advance();
            initializer.designator = token().identifier;
            initializer.location = advance();
            if (at(TokenKind::period) || at(TokenKind::leftBracket)) { // ".a.b = 1" is ".a = {.b = 1}"
                Expr* inner = parseNestedDesignator();
                isWhole &= inner->kind != ExprKind::error;
                below = std::max(below, inner->height);
                Initializer* last = initializers.isEmpty() ? nullptr : &initializers.back();
                if (last && last->designator == initializer.designator && last->isNested) {
                    merge(*static_cast<InitList*>(last->value), *static_cast<InitList*>(inner));
                } else {
                    initializer.value = inner;
                    initializer.isNested = inner->kind == ExprKind::initList;
                    initializers.add(initializer);
                }
                if (!accept(TokenKind::comma)) break;
                continue;
            }
            if (!at(TokenKind::leftBrace)) expect(TokenKind::equal, "expected '=' or another designator");
        } else if (at(TokenKind::leftBracket) && !peek(1).is(TokenKind::rightBracket) && !peek(1).is(TokenKind::amp) &&
                   !(peek(1).is(TokenKind::equal))) {
            SourceLocation bracket = advance();
            initializer.indexDesignator = parseConditional();
            expectClosing(TokenKind::rightBracket, bracket);
            expect(TokenKind::equal, "expected '=' or another designator");
        }
        initializer.value = expansionOf(parseInitializerClause());
        isWhole &= initializer.value->kind != ExprKind::error;
        below = std::max(below, initializer.value->height);
        initializers.add(initializer);
        if (!accept(TokenKind::comma)) break;
    }
    noGreater_ = outer;
    list->initializers = initializers.copyTo(arena_);
    if (isWhole || at(TokenKind::rightBrace))
        isWhole &= expectClosing(TokenKind::rightBrace, open);
    else
        skipToClosing(TokenKind::rightBrace);
    return isWhole ? limitHeight(list, below) : errorExpr(open);
}

} // namespace msl
