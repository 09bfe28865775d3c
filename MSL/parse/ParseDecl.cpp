// Declarations at file, namespace and block scope: variables, aliases, namespaces.
#include "MSL/lex/Literals.h"
#include "MSL/parse/ParserImpl.h"

namespace msl {

std::span<Attribute> Parser::join(Attributes& first, Attributes* second) {
    if (!second || second->isEmpty()) return first.copyTo(arena_);
    Attributes all = first;
    for (Attribute& attribute : *second)
        all.add(attribute);
    return all.copyTo(arena_);
}

// Everything up to end, or up to the end of the region for a namespace that is not closed.
void Parser::parseDeclarations(Declarations& out, Context context, TokenKind end) {
    while (!at(end)) {
        if (at(TokenKind::eof)) return;
        if (at(TokenKind::regionEnd)) {
            if (end != TokenKind::eof) return;
            advance();
            continue;
        }
        if (at(TokenKind::rightBrace)) {
            doubtfulBrace_ = {};
            error(token().location, "extraneous closing brace ('}')");
            advance();
            accept(TokenKind::semicolon);
            continue;
        }
        std::size_t before = position_;
        if (skipBehindExtraBrace()) continue;
        unsigned errorsBefore = diagnostics_.errorCount();
        SourceLocation begin = token().location;
        parseDeclaration(out, context);
        if (diagnostics_.errorCount() != errorsBefore) skipIndentedBlock(begin, out);
        if (position_ == before && !atEnd() && !at(TokenKind::rightBrace)) { // nothing could be made of it
            errorHere("expected unqualified-id");
            advance();
            skipDeclaration();
        }
    }
}

void Parser::parseDeclaration(Declarations& out, Context context) {
    Nesting nesting(*this);
    if (!nesting) return;
    limit_.reach(token().location);
    switch (kind()) {
    case TokenKind::semicolon: advance(); return;
    case TokenKind::kwInline:
        if (peek(1).is(TokenKind::kwNamespace)) {
            advance();
            parseNamespace(out);
            if (!out.isEmpty() && out.back()->kind == DeclKind::namespace_)
                static_cast<NamespaceDecl*>(out.back())->isInline = true;
            return;
        }
        break;
    case TokenKind::kwNamespace: parseNamespace(out); return;
    case TokenKind::kwUsing: parseUsing(out, nullptr); return;
    case TokenKind::kwTemplate: parseTemplate(out, context); return;
    case TokenKind::kwStaticAssert: out.add(parseStaticAssert()); return;
    case TokenKind::kwFriend:
        if (context == Context::class_ && (peek(1).is(TokenKind::kwStruct) || peek(1).is(TokenKind::kwClass))) {
            skipDeclaration(); // "friend struct S;" opens what is open anyway
            return;
        }
        break;
    case TokenKind::kwAsm:
        unsupported(token().location, "'asm'");
        skipDeclaration();
        return;
    case TokenKind::kwExtern:
        if (peek(1).is(TokenKind::string)) { // extern "C" { ... }
            advance();
            advance();
            if (at(TokenKind::leftBrace)) {
                SourceLocation open = advance();
                parseDeclarations(out, context, TokenKind::rightBrace);
                expectClosing(TokenKind::rightBrace, open);
            }
            return;
        }
        break;
    default: break;
    }
    parseSimpleDeclaration(out, context);
}

void Parser::requireType(Specifiers& specifiers) {
    if (specifiers.hasType) return;
    if (!specifiers.isInvalid) error(token().location, "a type specifier is required for all declarations");
    specifiers.isInvalid = true;
    specifiers.type.name.identifier = int_;
    specifiers.type.name.location = token().location;
}

void Parser::parseSimpleDeclaration(Declarations& out, Context context, const TemplateHeader* header) {
    std::size_t first = position_;
    Specifiers specifiers;
    parseSpecifiers(specifiers, context);
    if (at(TokenKind::semicolon) && (specifiers.type.inlineStruct || specifiers.type.inlineEnum)) {
        for (const Attribute& attribute : specifiers.attributes)
            if (layoutAttribute(attribute) != LayoutAttribute::none)
                error(attribute.location, "attribute '" + std::string(attribute.name->text) +
                                              "' is ignored, place it after \"struct\" to apply attribute to type "
                                              "declaration");
        advance();
        if (specifiers.type.inlineStruct)
            out.add(specifiers.type.inlineStruct);
        else
            out.add(specifiers.type.inlineEnum);
        return;
    }
    if (!specifiers.hasType) {
        bool namesFunction = at(TokenKind::identifier) && peek(1).is(TokenKind::leftParen);
        bool isOperator = at(TokenKind::kwOperator);
        if (context == Context::file && startsOuterConstructor()) {
            parseDeclarators(out, specifiers, context, header);
            return;
        }
        if (context == Context::class_ && ((namesFunction && isConstructor()) || at(TokenKind::tilde) || isOperator)) {
            parseDeclarators(out, specifiers, context, header);
            return;
        }
        if (at(TokenKind::identifier) && (namesFunction || peek(1).is(TokenKind::equal) ||
                                          peek(1).is(TokenKind::semicolon) || peek(1).is(TokenKind::leftBracket))) {
            if (position_ == first && context == Context::file && !isColumnOne(token()) &&
                !startsFunctionDefinition() && !peek(1).is(TokenKind::semicolon)) {
                // Statements behind a brace too many: one message for all of them.
                error(token().location, "a type specifier is required for all declarations");
                skipDeclaration();
                return;
            }
            requireType(specifiers);
            parseDeclarators(out, specifiers, context, header);
            return;
        }
        if (at(TokenKind::semicolon) && position_ != first) {
            diagnostics_.warning(specifiers.begin, "declaration does not declare anything",
                                 WarningGroup::missingDeclarations);
            advance();
            return;
        }
        if (position_ != first || !at(TokenKind::rightBrace)) {
            if (at(TokenKind::identifier) && context != Context::local)
                error(token().location, "unknown type name '" + std::string(token().identifier->text) + "'");
            else
                errorHere("expected unqualified-id");
            if (position_ == first && !atEnd()) advance();
            skipDeclaration();
        }
        return;
    }
    if (at(TokenKind::semicolon)) {
        diagnostics_.warning(specifiers.begin, "declaration does not declare anything",
                             WarningGroup::missingDeclarations);
        advance();
        return;
    }
    parseDeclarators(out, specifiers, context, header);
}

// "struct S { ... }" and then, on a line of its own, something that is no declarator of it.
bool Parser::missesSemicolonAfterBody(const Specifiers& specifiers) {
    bool hasBody =
        (specifiers.type.inlineStruct && specifiers.type.inlineStruct->isDefinition) || specifiers.type.inlineEnum;
    if (!hasBody || !token().has(Token::startOfLine)) return false;
    if (!at(TokenKind::identifier)) return !at(TokenKind::star) && !at(TokenKind::amp) && !at(TokenKind::leftParen);
    if (NameTracker::classify(token().identifier) == NameClass::type) return true;
    TokenKind next = peek(1).kind;
    return next == TokenKind::identifier || next == TokenKind::amp || next == TokenKind::star ||
           next == TokenKind::less || next == TokenKind::coloncolon;
}

// The declarators behind the specifiers, up to and with the semicolon or the function's body.
bool Parser::parseDeclarators(Declarations& out, Specifiers& specifiers, Context context,
                              const TemplateHeader* header) {
    bool isFirst = true;
    for (;;) {
        if (!isFirst && at(TokenKind::identifier) && peek(1).is(TokenKind::leftParen) &&
            NameTracker::classify(token().identifier) == NameClass::type) {
            errorHere("expected unqualified-id"); // a list of values that lost its brace
            skipDeclaration();
            return false;
        }
        TypeSyntax baseType = specifiers.type; // pointers and arrays of one declarator do not reach the next
        Declarator declarator;
        bool isMissingSemicolon = isFirst && missesSemicolonAfterBody(specifiers);
        if (isFirst && !isMissingSemicolon && startsStatementOnNewLine()) {
            // "float" alone on its line, and the next line begins a declaration of its own
            error(previousEnd(), "expected unqualified-id");
            return false;
        }
        if (!isMissingSemicolon) parseDeclarator(declarator, specifiers, context);
        if (!declarator.name && !at(TokenKind::colon)) {
            std::size_t before = position_;
            if (specifiers.type.inlineStruct || specifiers.type.inlineEnum) {
                // "struct S { ... }" without its semicolon
                const char* what = specifiers.type.inlineEnum              ? "expected ';' after enum"
                                   : specifiers.type.inlineStruct->isUnion ? "expected ';' after union"
                                   : specifiers.type.inlineStruct->isClass ? "expected ';' after class"
                                                                           : "expected ';' after struct";
                error(previousEnd(), what);
                if (specifiers.type.inlineStruct)
                    out.add(specifiers.type.inlineStruct);
                else
                    out.add(specifiers.type.inlineEnum);
                return true;
            }
            errorHere(context == Context::class_ ? "expected member name or ';' after declaration specifiers"
                                                 : "expected unqualified-id");
            if (position_ == before) context == Context::file ? skipDeclaration() : skipStatement();
            return false;
        }
        bool isFunction = at(TokenKind::leftParen) && (declarator.isOperator || startsFunctionParameters() ||
                                                       (context == Context::class_ && isFirst));
        if (specifiers.isTypedef) {
            auto* alias = makeDecl<TypeAliasDecl>(declarator.name, declarator.location);
            alias->attributes = join(specifiers.attributes, &declarator.attributes);
            alias->aliased = finishType(specifiers, declarator);
            if (header) alias->templateParameters = header->parameters;
            if (at(TokenKind::leftParen)) {
                unsupported(token().location, "a function type");
                skipBalanced();
            }
            names_.declare(declarator.name, NameClass::type);
            out.add(alias);
        } else if (isFunction) {
            FunctionDecl* function = parseFunction(specifiers, declarator, context, header);
            out.add(function);
            if (function->body || closeFunction_) return true;
        } else {
            VarDecl* variable = parseVariable(specifiers, declarator, context);
            if (header && !declarator.scope) {
                variable->variableTemplate = arena_.make<VariableTemplate>();
                variable->variableTemplate->parameters = header->parameters;
                variable->variableTemplate->isSpecialization = declarator.hasTemplateArguments;
                variable->variableTemplate->specializationArguments = declarator.templateArguments;
            }
            out.add(variable);
        }
        specifiers.type = baseType;
        isFirst = false;
        if (!accept(TokenKind::comma)) break;
    }
    if (context == Context::forInit) return true;
    expectSemicolon(context == Context::file     ? "expected ';' after top level declarator"
                    : context == Context::class_ ? "expected ';' at end of declaration list"
                                                 : "expected ';' at end of declaration");
    return true;
}

VarDecl* Parser::parseVariable(Specifiers& specifiers, Declarator& declarator, Context context) {
    auto* variable = makeDecl<VarDecl>(declarator.name, declarator.location);
    variable->typeSyntax = finishType(specifiers, declarator);
    variable->scope = declarator.scope;
    variable->attributes = join(specifiers.attributes, &declarator.attributes);
    variable->isStatic = specifiers.isStatic;
    variable->isConstexpr = specifiers.isConstexpr;
    variable->isConst = specifiers.type.isConst;
    variable->isInvalid = declarator.isInvalid || specifiers.isInvalid;
    variable->varKind = context == Context::file || (context == Context::class_ && specifiers.isStatic)
                            ? VarKind::global
                        : context == Context::class_ ? VarKind::field
                                                     : VarKind::local;
    if (declarator.scope) {
        // its name stands in the struct
    } else if (context != Context::file || !declarator.name || !isBuiltinTypeName(declarator.name->text))
        names_.declare(declarator.name, NameClass::value);
    if (context == Context::class_ && at(TokenKind::colon)) {
        unsupported(advance(), "a bit-field");
        parseConstant();
    }
    parseInitializer(*variable, context);
    return variable;
}

void Parser::parseInitializer(VarDecl& variable, Context context) {
    unsigned errorsBefore = diagnostics_.errorCount();
    if (at(TokenKind::equal)) {
        advance();
        variable.initializer = parseInitializerClause();
    } else if (at(TokenKind::leftBrace)) {
        variable.isBraceInit = true;
        variable.initializer = parseInitList();
    } else if (at(TokenKind::leftParen) && context != Context::class_) {
        SourceLocation open = advance();
        Expressions arguments;
        parseArguments(arguments, TokenKind::rightParen, open);
        variable.isParenInit = true;
        variable.parenArguments = arguments.copyTo(arena_);
    }
    if (diagnostics_.errorCount() != errorsBefore && variable.initializer &&
        variable.initializer->kind == ExprKind::error)
        variable.isInvalid = true;
}

void Parser::parseNamespace(Declarations& out) {
    SourceLocation begin = advance();
    Attributes attributes;
    parseAttributes(attributes);
    SmallList<Token, 4> names;
    while (at(TokenKind::identifier)) {
        names.add(token());
        advance();
        if (!accept(TokenKind::coloncolon)) break;
    }
    if (at(TokenKind::equal) && names.size() == 1) {
        advance();
        auto* alias = makeDecl<NamespaceAliasDecl>(names[0].identifier, names[0].location);
        parseQualifiers(alias->target);
        alias->target.location = token().location;
        if (!at(TokenKind::identifier)) {
            errorHere("expected namespace name");
            skipDeclaration();
            return;
        }
        alias->target.identifier = token().identifier;
        advance();
        expectSemicolon("expected ';' after namespace name");
        names_.declare(alias->name, NameClass::namespace_);
        out.add(alias);
        return;
    }
    SourceLocation open = token().location;
    if (!expect(TokenKind::leftBrace, "expected '{'")) {
        skipDeclaration();
        return;
    }
    if (names.isEmpty()) names.add(Token{});
    // namespace a::b { } is one inside the other
    Decl* outerParent = parent_;
    NamespaceDecl* outermost = nullptr;
    NamespaceDecl* innermost = nullptr;
    for (Token& name : names) {
        auto* decl = makeDecl<NamespaceDecl>(name.is(TokenKind::identifier) ? name.identifier : nullptr,
                                             name.is(TokenKind::identifier) ? name.location : begin);
        if (innermost) {
            Decl* only = decl;
            innermost->members = arena_.copy(std::span<Decl* const>(&only, 1));
        } else {
            outermost = decl;
        }
        innermost = decl;
        parent_ = decl;
        names_.declare(decl->name, NameClass::namespace_);
    }
    NameTracker::Mark mark = names_.open();
    Declarations members;
    parseDeclarations(members, Context::file, TokenKind::rightBrace);
    innermost->members = members.copyTo(arena_);
    names_.close(mark);
    parent_ = outerParent;
    expectClosing(TokenKind::rightBrace, open);
    out.add(outermost);
}

void Parser::parseUsing(Declarations& out, const TemplateHeader* header) {
    SourceLocation begin = advance();
    if (at(TokenKind::kwNamespace)) {
        advance();
        auto* decl = makeDecl<UsingNamespaceDecl>(nullptr, begin);
        parseQualifiers(decl->target);
        decl->target.location = token().location;
        if (!at(TokenKind::identifier)) {
            errorHere("expected namespace name");
            skipDeclaration();
            return;
        }
        decl->target.identifier = token().identifier;
        advance();
        expectSemicolon("expected ';' after namespace name");
        out.add(decl);
        return;
    }
    accept(TokenKind::kwTypename);
    if (at(TokenKind::identifier) &&
        (peek(1).is(TokenKind::equal) || peek(1).is(TokenKind::leftBracket) || peek(1).is(TokenKind::kwAttribute))) {
        auto* alias = makeDecl<TypeAliasDecl>(token().identifier, token().location);
        advance();
        Attributes attributes;
        parseAttributes(attributes);
        alias->attributes = attributes.copyTo(arena_);
        expect(TokenKind::equal, "expected '='");
        alias->aliased = parseTypeId();
        if (header) alias->templateParameters = header->parameters;
        names_.declare(alias->name, header ? NameClass::templateType : NameClass::type);
        out.add(alias);
        expectSemicolon("expected ';' after alias declaration");
        return;
    }
    auto* decl = makeDecl<UsingDecl>(nullptr, begin);
    bool isQualified = parseQualifiers(decl->target);
    decl->target.location = token().location;
    if (!at(TokenKind::identifier) || !isQualified) {
        errorHere(isQualified ? "expected unqualified-id" : "using declaration requires a qualified name");
        skipDeclaration();
        return;
    }
    decl->target.identifier = decl->name = token().identifier;
    decl->location = advance();
    NameClass as = NameTracker::classifyQualified(decl->name);
    if (as != NameClass::unknown) names_.declare(decl->name, as);
    expectSemicolon("expected ';' after using declaration");
    out.add(decl);
}

StaticAssertDecl* Parser::parseStaticAssert() {
    auto* decl = makeDecl<StaticAssertDecl>(nullptr, token().location);
    advance();
    SourceLocation open = token().location;
    if (!expect(TokenKind::leftParen, "expected '(' after 'static_assert'")) {
        skipStatement();
        decl->condition = errorExpr(open);
        return decl;
    }
    decl->condition = parseConditional();
    if (accept(TokenKind::comma)) {
        if (at(TokenKind::string)) {
            decl->message = arena_.copyText(readString(spelling(token())));
            advance();
        } else {
            errorHere("expected string literal for diagnostic message in static_assert");
        }
    }
    expectClosing(TokenKind::rightParen, open);
    expectSemicolon("expected ';' after 'static_assert'");
    return decl;
}

} // namespace msl
