// Declarations at file, namespace and block scope: variables, functions, aliases, templates, namespaces.
#include "MSL/lex/Literals.h"
#include "MSL/parse/ParserImpl.h"

namespace msl {

std::span<Attribute> Parser::join(Attributes& first, Attributes* second) {
    if (!second || second->isEmpty())
        return first.copyTo(arena_);
    Attributes all = first;
    for (Attribute& attribute : *second)
        all.add(attribute);
    return all.copyTo(arena_);
}

// Everything up to end, or up to the end of the region for a namespace that is not closed.
void Parser::parseDeclarations(Declarations& out, Context context, TokenKind end) {
    while (!at(end)) {
        if (at(TokenKind::eof))
            return;
        if (at(TokenKind::regionEnd)) {
            if (end != TokenKind::eof)
                return;
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
        if (skipBehindExtraBrace())
            continue;
        parseDeclaration(out, context);
        if (position_ == before && !atEnd() && !at(TokenKind::rightBrace)) { // nothing could be made of it
            errorHere("expected unqualified-id");
            advance();
            skipDeclaration();
        }
    }
}

void Parser::parseDeclaration(Declarations& out, Context context) {
    Nesting nesting(*this);
    if (!nesting)
        return;
    switch (kind()) {
    case TokenKind::semicolon:
        advance();
        return;
    case TokenKind::kwInline:
        if (peek(1).is(TokenKind::kwNamespace)) {
            advance();
            parseNamespace(out);
            return;
        }
        break;
    case TokenKind::kwNamespace: parseNamespace(out); return;
    case TokenKind::kwUsing: parseUsing(out, nullptr); return;
    case TokenKind::kwTemplate: parseTemplate(out, context); return;
    case TokenKind::kwStaticAssert: out.add(parseStaticAssert()); return;
    case TokenKind::kwAsm: unsupported(token().location, "'asm'"); skipDeclaration(); return;
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

void Parser::parseSimpleDeclaration(Declarations& out, Context context, const TemplateHeader* header) {
    std::size_t first = position_;
    Specifiers specifiers;
    parseSpecifiers(specifiers, context);
    if (at(TokenKind::semicolon) && (specifiers.type.inlineStruct || specifiers.type.inlineEnum)) {
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
            if (!specifiers.isInvalid)
                error(token().location, "a type specifier is required for all declarations");
            specifiers.isInvalid = true;
            specifiers.type.name.identifier = int_;
            specifiers.type.name.location = token().location;
            parseDeclarators(out, specifiers, context, header);
            return;
        }
        if (at(TokenKind::semicolon) && position_ != first) {
            diagnostics_.warning(specifiers.begin, "declaration does not declare anything");
            advance();
            return;
        }
        if (position_ != first || !at(TokenKind::rightBrace)) {
            if (at(TokenKind::identifier) && context != Context::local)
                error(token().location, "unknown type name '" + std::string(token().identifier->text) + "'");
            else
                errorHere("expected unqualified-id");
            if (position_ == first && !atEnd())
                advance();
            skipDeclaration();
        }
        return;
    }
    if (at(TokenKind::semicolon)) {
        diagnostics_.warning(specifiers.begin, "declaration does not declare anything");
        advance();
        return;
    }
    parseDeclarators(out, specifiers, context, header);
}

// "struct S { ... }" and then, on a line of its own, something that is no declarator of it.
bool Parser::missesSemicolonAfterBody(const Specifiers& specifiers) {
    bool hasBody = (specifiers.type.inlineStruct && specifiers.type.inlineStruct->isDefinition) || specifiers.type.inlineEnum;
    if (!hasBody || !token().has(Token::startOfLine))
        return false;
    if (!at(TokenKind::identifier))
        return !at(TokenKind::star) && !at(TokenKind::amp) && !at(TokenKind::leftParen);
    if (NameTracker::classify(token().identifier) == NameClass::type)
        return true;
    TokenKind next = peek(1).kind;
    return next == TokenKind::identifier || next == TokenKind::amp || next == TokenKind::star ||
           next == TokenKind::less || next == TokenKind::coloncolon;
}

// The declarators behind the specifiers, up to and with the semicolon or the function's body.
bool Parser::parseDeclarators(Declarations& out, Specifiers& specifiers, Context context,
                              const TemplateHeader* header) {
    bool isFirst = true;
    for (;;) {
        TypeSyntax baseType = specifiers.type; // pointers and arrays of one declarator do not reach the next
        Declarator declarator;
        bool isMissingSemicolon = isFirst && missesSemicolonAfterBody(specifiers);
        if (!isMissingSemicolon)
            parseDeclarator(declarator, specifiers, context);
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
            if (position_ == before)
                context == Context::file ? skipDeclaration() : skipStatement();
            return false;
        }
        bool isFunction = at(TokenKind::leftParen) && (declarator.isOperator || startsFunctionParameters() ||
                                                       (context == Context::class_ && isFirst));
        if (specifiers.isTypedef) {
            auto* alias = makeDecl<TypeAliasDecl>(declarator.name, declarator.location);
            alias->attributes = join(specifiers.attributes, &declarator.attributes);
            alias->aliased = finishType(specifiers, declarator);
            if (header)
                alias->templateParameters = header->parameters;
            if (at(TokenKind::leftParen)) {
                unsupported(token().location, "a function type");
                skipBalanced();
            }
            names_.declare(declarator.name, NameClass::type);
            out.add(alias);
        } else if (isFunction) {
            FunctionDecl* function = parseFunction(specifiers, declarator, context, header);
            out.add(function);
            if (function->body || closeFunction_)
                return true;
        } else {
            VarDecl* variable = parseVariable(specifiers, declarator, context);
            if (header)
                unsupported(variable->location, "a variable template");
            out.add(variable);
        }
        specifiers.type = baseType;
        isFirst = false;
        if (!accept(TokenKind::comma))
            break;
    }
    if (context == Context::forInit)
        return true;
    expectSemicolon(context == Context::file     ? "expected ';' after top level declarator"
                    : context == Context::class_ ? "expected ';' at end of declaration list"
                                                 : "expected ';' at end of declaration");
    return true;
}

VarDecl* Parser::parseVariable(Specifiers& specifiers, Declarator& declarator, Context context) {
    auto* variable = makeDecl<VarDecl>(declarator.name, declarator.location);
    variable->typeSyntax = finishType(specifiers, declarator);
    variable->attributes = join(specifiers.attributes, &declarator.attributes);
    variable->isStatic = specifiers.isStatic;
    variable->isConstexpr = specifiers.isConstexpr;
    variable->isConst = specifiers.type.isConst;
    variable->isInvalid = declarator.isInvalid || specifiers.isInvalid;
    variable->varKind = context == Context::file || (context == Context::class_ && specifiers.isStatic) ? VarKind::global
                        : context == Context::class_                                                   ? VarKind::field
                                                                                                       : VarKind::local;
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
        if (!accept(TokenKind::coloncolon))
            break;
    }
    if (at(TokenKind::equal)) {
        unsupported(begin, "a namespace alias");
        skipDeclaration();
        return;
    }
    SourceLocation open = token().location;
    if (!expect(TokenKind::leftBrace, "expected '{'")) {
        skipDeclaration();
        return;
    }
    if (names.isEmpty())
        names.add(Token{});
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
    if (at(TokenKind::identifier) && (peek(1).is(TokenKind::equal) || peek(1).is(TokenKind::leftBracket))) {
        auto* alias = makeDecl<TypeAliasDecl>(token().identifier, token().location);
        advance();
        Attributes attributes;
        parseAttributes(attributes);
        alias->attributes = attributes.copyTo(arena_);
        expect(TokenKind::equal, "expected '='");
        alias->aliased = parseTypeId();
        if (header)
            alias->templateParameters = header->parameters;
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
    if (as != NameClass::unknown)
        names_.declare(decl->name, as);
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

// ------------------------------------------------------------------------------------------------------ templates

TemplateParameterDecl* Parser::parseTemplateParameter(std::uint32_t index) {
    auto* parameter = makeDecl<TemplateParameterDecl>(nullptr, token().location);
    parameter->index = index;
    bool isType = (at(TokenKind::kwTypename) || at(TokenKind::kwClass)) && !peek(2).is(TokenKind::coloncolon);
    if (at(TokenKind::kwTemplate)) {
        unsupported(token().location, "a template template parameter");
        while (!at(TokenKind::greater) && !atEnd())
            advance();
        accept(TokenKind::greater);
        return parameter;
    }
    if (isType) {
        advance();
        parameter->isPack = accept(TokenKind::ellipsis);
        if (at(TokenKind::identifier)) {
            parameter->name = token().identifier;
            parameter->location = advance();
            names_.declare(parameter->name, NameClass::type);
        }
        if (accept(TokenKind::equal))
            parameter->defaultType = parseTypeId();
        return parameter;
    }
    parameter->isType = false;
    Specifiers specifiers;
    parseSpecifiers(specifiers, Context::typeId);
    if (!specifiers.hasType) {
        errorHere("expected template parameter");
        specifiers.type.name.identifier = int_;
    }
    Declarator declarator;
    parsePointers(declarator.modifiers, specifiers.type);
    parameter->isPack = accept(TokenKind::ellipsis);
    if (at(TokenKind::identifier)) {
        parameter->name = token().identifier;
        parameter->location = advance();
        names_.declare(parameter->name, NameClass::value);
    }
    parameter->valueType = finishType(specifiers, declarator);
    if (accept(TokenKind::equal))
        parameter->defaultValue = parseConditional();
    return parameter;
}

void Parser::parseTemplate(Declarations& out, Context context) {
    SourceLocation begin = advance();
    SourceLocation open = token().location;
    if (!at(TokenKind::less)) {
        unsupported(begin, "an explicit template instantiation");
        skipDeclaration();
        return;
    }
    advance();
    NameTracker::Mark mark = names_.open();
    TemplateHeader header;
    SmallList<TemplateParameterDecl*, 4> parameters;
    bool outer = noGreater_;
    noGreater_ = true;
    while (!at(TokenKind::greater) && !atEnd()) {
        std::size_t before = position_;
        parameters.add(parseTemplateParameter(static_cast<std::uint32_t>(parameters.size())));
        if (!accept(TokenKind::comma) || position_ == before)
            break;
    }
    noGreater_ = outer;
    if (!accept(TokenKind::greater)) { // what is declared may still be whole
        errorHere("expected '>'");
        note(open, "to match this '<'");
    }
    header.parameters = parameters.copyTo(arena_);
    header.isSpecialization = parameters.isEmpty();

    Declarations made;
    if (at(TokenKind::kwTemplate)) {
        unsupported(token().location, "a template inside of a template's head");
        skipDeclaration();
    } else if (at(TokenKind::kwUsing)) {
        parseUsing(made, &header);
    } else {
        if (at(TokenKind::kwStruct) || at(TokenKind::kwClass) || at(TokenKind::kwUnion)) {
            Specifiers specifiers;
            structIsTemplate_ = true;
            parseSpecifiers(specifiers, context);
            structIsTemplate_ = false;
            if (StructDecl* decl = specifiers.type.inlineStruct) {
                decl->templateParameters = header.parameters;
                decl->isSpecialization = header.isSpecialization;
                if (specifiers.type.name.hasTemplateArguments) {
                    decl->specializationArguments = specifiers.type.name.templateArguments;
                    decl->isSpecialization = true;
                }
                made.add(decl);
                expectSemicolon("expected ';' after struct");
            } else {
                parseDeclarators(made, specifiers, context, &header);
            }
        } else {
            parseSimpleDeclaration(made, context, &header);
        }
    }
    names_.close(mark);
    for (Decl* decl : made) {
        if (decl->kind == DeclKind::struct_ || decl->kind == DeclKind::typeAlias)
            names_.declare(decl->name, NameClass::templateType);
        else if (decl->kind == DeclKind::function)
            names_.declareFunction(decl->name, true);
        out.add(decl);
    }
}

// ------------------------------------------------------------------------------------------------------ functions

FunctionDecl* Parser::parseFunction(Specifiers& specifiers, Declarator& declarator, Context context,
                                    const TemplateHeader* header) {
    auto* function = makeDecl<FunctionDecl>(declarator.name, declarator.location);
    function->stage = specifiers.stage;
    function->returnTypeSyntax = specifiers.hasType || specifiers.isInvalid ? finishType(specifiers, declarator) : nullptr;
    function->isStatic = specifiers.isStatic;
    function->isInline = specifiers.isInline;
    function->isConstexpr = specifiers.isConstexpr;
    function->isOperator = declarator.isOperator && !declarator.isConversion;
    function->isConversion = declarator.isConversion;
    function->owner = context == Context::class_ ? struct_ : nullptr;
    function->isConstructor = function->owner && !specifiers.hasType && !declarator.isOperator && !specifiers.isInvalid;
    function->isInvalid = declarator.isInvalid || specifiers.isInvalid;
    if (header) {
        function->templateParameters = header->parameters;
        function->isSpecialization = header->isSpecialization;
        function->specializationArguments = declarator.templateArguments;
    }
    if (!function->isConstructor)
        names_.declareFunction(declarator.name, header != nullptr);

    NameTracker::Mark mark = names_.open();
    Decl* outerParent = parent_;
    parent_ = function;
    parseParameters(*function);
    parseFunctionQualifiers(*function, declarator.attributes);
    function->attributes = join(specifiers.attributes, &declarator.attributes);
    for (const Attribute& attribute : function->attributes) {
        if (attribute.scope)
            continue;
        if (attribute.name->text == "fragment")
            function->stage = EntryStage::fragment;
        else if (attribute.name->text == "vertex")
            function->stage = EntryStage::vertex;
        else if (attribute.name->text == "kernel")
            function->stage = EntryStage::kernel;
    }
    if (at(TokenKind::colon) && function->isConstructor)
        parseMemberInits(*function);
    if (at(TokenKind::leftBrace)) {
        if (context == Context::local || context == Context::forInit)
            error(token().location, "function definition is not allowed here");
        parseFunctionBody(*function);
    } else if (at(TokenKind::equal)) { // "= default", "= delete"
        advance();
        if (!accept(TokenKind::kwDefault) && !accept(TokenKind::kwDelete)) {
            if (!accept(TokenKind::number))
                errorHere("expected 'default' or 'delete'");
        }
    } else if (!at(TokenKind::semicolon) && !at(TokenKind::comma) && context != Context::local) {
        // The brace is missing when the lines that follow are indented like a body.
        bool isBody = token().has(Token::startOfLine) && !atEnd() &&
                      indentation(token().location) > indentation(function->location) && !at(TokenKind::rightBrace);
        bool isReported = lastErrorPosition_ == position_;
        errorHere(isBody || !token().has(Token::startOfLine) ? "expected function body after function declarator"
                                                             : "expected ';' after top level declarator");
        if (isBody || isReported)
            function->isInvalid |= isReported;
        if (isBody) {
            parseFunctionBody(*function);
        } else {
            closeFunction_ = false;
            if (!token().has(Token::startOfLine) && !atEnd()) {
                skipDeclaration();
            }
            function->body = arena_.make<CompoundStmt>(); // taken as defined: its callers are not at fault
            function->body->location = function->location;
            function->body->end = function->location;
            function->isInvalid = true;
        }
    }
    parent_ = outerParent;
    names_.close(mark);
    return function;
}

void Parser::parseParameters(FunctionDecl& function) {
    SourceLocation open = advance();
    SmallList<VarDecl*, 8> parameters;
    if (at(TokenKind::identifier) && token().identifier->text == "void" && peek(1).is(TokenKind::rightParen))
        advance();
    bool outer = noGreater_;
    noGreater_ = false;
    while (!at(TokenKind::rightParen) && !atEnd()) {
        if (accept(TokenKind::ellipsis)) {
            function.isVariadic = true;
            break;
        }
        Specifiers specifiers;
        parseSpecifiers(specifiers, Context::parameter);
        if (!specifiers.hasType) {
            function.isInvalid = true;
            if (at(TokenKind::identifier))
                error(token().location, "unknown type name '" + std::string(token().identifier->text) + "'");
            else
                errorHere("expected parameter declarator");
            // On to the next parameter.
            while (!at(TokenKind::comma) && !at(TokenKind::rightParen) && !at(TokenKind::leftBrace) &&
                   !at(TokenKind::semicolon) && !at(TokenKind::rightBrace) && !atEnd())
                advance();
            if (accept(TokenKind::comma))
                continue;
            break;
        }
        TypeSyntax base = specifiers.type;
        Declarator declarator;
        parseDeclarator(declarator, specifiers, Context::parameter);
        auto* parameter = makeDecl<VarDecl>(declarator.name, declarator.name ? declarator.location : specifiers.begin);
        parameter->varKind = VarKind::parameter;
        parameter->typeSyntax = finishType(specifiers, declarator);
        parameter->attributes = join(specifiers.attributes, &declarator.attributes);
        parameter->index = static_cast<std::uint32_t>(parameters.size());
        parameter->isConst = base.isConst;
        parameter->isInvalid = declarator.isInvalid || specifiers.isInvalid;
        function.isInvalid |= parameter->isInvalid;
        names_.declare(declarator.name, NameClass::value);
        if (accept(TokenKind::equal))
            parameter->initializer = parseInitializerClause();
        parameters.add(parameter);
        if (!accept(TokenKind::comma))
            break;
        if (at(TokenKind::rightParen) || atEnd()) {
            errorHere("expected parameter declarator");
            function.isInvalid = true;
        }
    }
    noGreater_ = outer;
    function.parameters = parameters.copyTo(arena_);
    if (!expectClosing(TokenKind::rightParen, open))
        function.isInvalid = true;
}

void Parser::parseFunctionQualifiers(FunctionDecl& function, Attributes& attributes) {
    for (;;) {
        switch (kind()) {
        case TokenKind::kwConst: function.isConstMember = true; break;
        case TokenKind::kwVolatile: break;
        case TokenKind::kwThread: function.thisSpace = SpaceSyntax::thread; break;
        case TokenKind::kwConstant: function.thisSpace = SpaceSyntax::constant; break;
        case TokenKind::kwDevice: function.thisSpace = SpaceSyntax::device; break;
        case TokenKind::kwThreadgroup: function.thisSpace = SpaceSyntax::threadgroup; break;
        case TokenKind::kwNoexcept:
            if (peek(1).is(TokenKind::leftParen)) {
                advance();
                skipBalanced();
                continue;
            }
            break;
        case TokenKind::leftBracket:
        case TokenKind::kwAttribute: {
            std::size_t before = position_;
            parseAttributes(attributes);
            if (position_ == before)
                return;
            continue;
        }
        case TokenKind::arrow:
            advance();
            function.returnTypeSyntax = parseTypeId();
            continue;
        case TokenKind::identifier:
            if (token().identifier->text != "override" && token().identifier->text != "final")
                return;
            break;
        default: return;
        }
        advance();
    }
}

// ": a(1), b{2}" of a constructor.
void Parser::parseMemberInits(FunctionDecl& function) {
    advance();
    SmallList<FunctionDecl::MemberInit, 8> inits;
    while (at(TokenKind::identifier)) {
        FunctionDecl::MemberInit init;
        init.name = token().identifier;
        init.location = advance();
        init.isBraced = at(TokenKind::leftBrace);
        if (!at(TokenKind::leftParen) && !at(TokenKind::leftBrace)) {
            errorHere("expected '(' or '{'");
            break;
        }
        SourceLocation open = advance();
        Expressions arguments;
        parseArguments(arguments, init.isBraced ? TokenKind::rightBrace : TokenKind::rightParen, open);
        init.arguments = arguments.copyTo(arena_);
        inits.add(init);
        if (!accept(TokenKind::comma))
            break;
    }
    function.memberInits = inits.copyTo(arena_);
}

// From the opening brace (or where it should be) to behind the closing one.
void Parser::parseFunctionBody(FunctionDecl& function) {
    unsigned outerLoops = loopDepth_;
    unsigned outerSwitches = switchDepth_;
    bool outerDirect = directlyInSwitch_;
    bool outerGreater = noGreater_;
    bool outerInFunction = inFunction_;
    std::size_t outerBrace = functionBrace_;
    std::uint32_t outerIndentation = functionIndentation_;
    std::uint32_t outerFile = functionFile_;
    bool outerIndented = bodyIsIndented_;
    loopDepth_ = switchDepth_ = 0;
    directlyInSwitch_ = noGreater_ = false;
    if (!outerInFunction) { // a lambda, or a function inside a function, belongs to the outer one
        functionBrace_ = position_;
        functionIndentation_ = indentation(function.location);
        functionFile_ = sources_.fileIndex(function.location.offset());
        bodyIsIndented_ = false;
        inFunction_ = true;
    }
    SourceLocation open = token().location;
    accept(TokenKind::leftBrace);
    if (!outerInFunction && token().has(Token::startOfLine) && !at(TokenKind::rightBrace) && !atEnd())
        bodyIsIndented_ = indentation(token().location) > functionIndentation_;
    function.body = parseCompoundAfterBrace(open);
    function.end = function.body->end;
    loopDepth_ = outerLoops;
    switchDepth_ = outerSwitches;
    directlyInSwitch_ = outerDirect;
    noGreater_ = outerGreater;
    inFunction_ = outerInFunction;
    functionBrace_ = outerBrace;
    functionIndentation_ = outerIndentation;
    functionFile_ = outerFile;
    bodyIsIndented_ = outerIndented;
    if (outerInFunction)
        return;
    SourceLocation close = function.body->end;
    doubtfulBrace_ = {};
    if (!closeFunction_ && tokens_[position_ - 1].is(TokenKind::rightBrace) &&
        tokens_[position_ - 1].location == close) {
        bool isOwnLine = tokens_[position_ - 1].has(Token::startOfLine);
        std::uint32_t own = indentation(function.location);
        bool isOneLine = sources_.text().substr(open.offset(), close.offset() - open.offset()).find('\n') ==
                         std::string_view::npos;
        if (isOwnLine ? indentation(close) > own : !isOneLine) {
            doubtfulBrace_ = close;
            doubtfulIndentation_ = own;
        }
    }
    closeFunction_ = false;
}

} // namespace msl
