// Functions: parameters, qualifiers, constructors' initialisers, and bodies.
#include "MSL/parse/ParserImpl.h"

namespace msl {

FunctionDecl* Parser::parseFunction(Specifiers& specifiers, Declarator& declarator, Context context,
                                    const TemplateHeader* header) {
    auto* function = makeDecl<FunctionDecl>(declarator.name, declarator.location);
    function->stage = specifiers.stage;
    function->returnTypeSyntax =
        specifiers.hasType || specifiers.isInvalid ? finishType(specifiers, declarator) : nullptr;
    function->isStatic = specifiers.isStatic;
    function->isInline = specifiers.isInline;
    function->isConstexpr = specifiers.isConstexpr;
    function->isOperator = declarator.isOperator && !declarator.isConversion;
    function->isConversion = declarator.isConversion;
    function->owner = context == Context::class_ ? struct_ : nullptr;
    function->scope = declarator.scope;
    function->isConstructor =
        (function->owner || function->scope) && !specifiers.hasType && !declarator.isOperator && !specifiers.isInvalid;
    function->isFriend = specifiers.isFriend;
    if (function->isFriend) function->owner = nullptr;
    function->isInvalid = declarator.isInvalid || specifiers.isInvalid;
    if (header) {
        function->templateParameters = header->parameters;
        function->outerParameters = header->outerParameters;
        function->isSpecialization = header->isSpecialization;
        function->specializationArguments = declarator.templateArguments;
    }
    if (!function->isConstructor && !function->scope) names_.declareFunction(declarator.name, header != nullptr);

    unsigned errorsBefore = diagnostics_.errorCount();
    NameTracker::Mark mark = names_.open();
    Decl* outerParent = parent_;
    parent_ = function;
    parseParameters(*function);
    parseFunctionQualifiers(*function, declarator.attributes);
    function->attributes = join(specifiers.attributes, &declarator.attributes);
    for (const Attribute& attribute : function->attributes) {
        if (attribute.scope) continue;
        if (attribute.name->text == "fragment")
            function->stage = EntryStage::fragment;
        else if (attribute.name->text == "vertex")
            function->stage = EntryStage::vertex;
        else if (attribute.name->text == "kernel")
            function->stage = EntryStage::kernel;
    }
    if (at(TokenKind::colon) && function->isConstructor) parseMemberInits(*function);
    if (at(TokenKind::leftBrace)) {
        if (context == Context::local || context == Context::forInit)
            error(token().location, "function definition is not allowed here");
        parseFunctionBody(*function);
    } else if (at(TokenKind::equal)) { // "= default", "= delete"
        advance();
        function->isDefaulted = at(TokenKind::kwDefault);
        function->isDeleted = at(TokenKind::kwDelete);
        if (!accept(TokenKind::kwDefault) && !accept(TokenKind::kwDelete)) {
            if (!accept(TokenKind::number)) errorHere("expected 'default' or 'delete'");
        }
    } else if (!at(TokenKind::semicolon) && !at(TokenKind::comma) && context != Context::local) {
        // The brace is missing when the lines that follow are indented like a body.
        bool isBody = token().has(Token::startOfLine) && !atEnd() &&
                      indentation(token().location) > indentation(function->location) && !at(TokenKind::rightBrace);
        isBody = isBody || (at(TokenKind::kwReturn) && lineEndsABlock());
        bool isReported = lastErrorPosition_ == position_;
        errorHere(isBody || !token().has(Token::startOfLine) ? "expected function body after function declarator"
                                                             : "expected ';' after top level declarator");
        if (isBody || isReported) function->isInvalid |= isReported;
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
    function->hasSyntaxErrors = function->isInvalid || diagnostics_.errorCount() != errorsBefore;
    parent_ = outerParent;
    names_.close(mark);
    return function;
}

// Is there a '}' on the line at hand that closes what was not opened on it?
bool Parser::lineEndsABlock() {
    constexpr std::size_t farthest = 256;
    std::size_t open = 0;
    for (std::size_t i = 0; i < farthest; ++i) {
        const Token& next = peek(i);
        if (next.is(TokenKind::eof) || next.is(TokenKind::regionEnd) || (i > 0 && next.has(Token::startOfLine))) break;
        if (next.is(TokenKind::leftBrace)) ++open;
        if (next.is(TokenKind::rightBrace) && open-- == 0) return true;
    }
    return false;
}

// The word at hand stands where a type is wanted. Words of other shading languages get a note.
void Parser::reportUnknownWord() {
    const std::string_view word = token().identifier->text;
    error(token().location, "unknown type name '" + std::string(word) + "'");
    if (word == "out" || word == "inout")
        note(token().location, "a parameter that is written is a reference here: 'thread float &x'");
    else if (word == "in")
        note(token().location, "parameters are values here: leave the word out");
    else if (word == "uniform" || word == "varying")
        note(token().location,
             "values come in as parameters of an entry point here: 'constant float &x [[buffer(0)]]'");
}

void Parser::parseParameters(FunctionDecl& function) {
    SourceLocation open = advance();
    SmallList<VarDecl*, 8> parameters;
    if (at(TokenKind::identifier) && token().identifier->text == "void" && peek(1).is(TokenKind::rightParen)) advance();
    bool outer = noGreater_;
    noGreater_ = false;
    while (!at(TokenKind::rightParen) && !atEnd()) {
        if (accept(TokenKind::ellipsis)) {
            function.isVariadic = true;
            break;
        }
        Specifiers specifiers;
        if (!takeLibraryEnum(specifiers)) parseSpecifiers(specifiers, Context::parameter);
        if (!specifiers.hasType) {
            function.isInvalid = true;
            if (at(TokenKind::identifier))
                reportUnknownWord();
            else
                errorHere("expected parameter declarator");
            // On to the next parameter.
            while (!at(TokenKind::comma) && !at(TokenKind::rightParen) && !at(TokenKind::leftBrace) &&
                   !at(TokenKind::semicolon) && !at(TokenKind::rightBrace) && !atEnd())
                advance();
            if (accept(TokenKind::comma)) continue;
            break;
        }
        TypeSyntax base = specifiers.type;
        Declarator declarator;
        if (!startsStatementOnNewLine()) // else the list broke off here
            parseDeclarator(declarator, specifiers, Context::parameter);
        auto* parameter = makeDecl<VarDecl>(declarator.name, declarator.name ? declarator.location : specifiers.begin);
        parameter->varKind = VarKind::parameter;
        parameter->typeSyntax = finishType(specifiers, declarator);
        parameter->isPack = declarator.isPack;
        parameter->attributes = join(specifiers.attributes, &declarator.attributes);
        parameter->index = static_cast<std::uint32_t>(parameters.size());
        parameter->isConst = base.isConst;
        parameter->isInvalid = declarator.isInvalid || specifiers.isInvalid;
        function.isInvalid |= parameter->isInvalid;
        names_.declare(declarator.name, NameClass::value);
        if (accept(TokenKind::equal)) parameter->initializer = parseInitializerClause();
        parameters.add(parameter);
        if (!accept(TokenKind::comma)) break;
        if (at(TokenKind::rightParen) || atEnd()) {
            errorHere("expected parameter declarator");
            function.isInvalid = true;
        }
    }
    noGreater_ = outer;
    function.parameters = parameters.copyTo(arena_);
    if (!expectClosing(TokenKind::rightParen, open)) function.isInvalid = true;
}

void Parser::parseFunctionQualifiers(FunctionDecl& function, Attributes& attributes) {
    for (;;) {
        switch (kind()) {
        case TokenKind::kwConst: function.isConstMember = true; break;
        case TokenKind::kwVolatile: break;
        case TokenKind::kwMutable: function.isMutable = true; break;
        case TokenKind::amp:
        case TokenKind::ampamp:
            if (function.isLambda) return;
            break; // "float f() const &"
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
            if (position_ == before) return;
            continue;
        }
        case TokenKind::arrow:
            advance();
            function.returnTypeSyntax = parseTypeId();
            continue;
        case TokenKind::identifier:
            if (token().identifier->text != "override" && token().identifier->text != "final") return;
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
    while (at(TokenKind::identifier) || at(TokenKind::coloncolon)) {
        FunctionDecl::MemberInit init;
        init.location = token().location;
        if (peek(1).is(TokenKind::coloncolon) || peek(1).is(TokenKind::less) || at(TokenKind::coloncolon)) {
            init.base = arena_.make<TypeSyntax>(); // "Base<T>(x)"
            init.base->location = init.location;
            parseTypeName(*init.base);
            init.name = init.base->name.identifier;
        } else {
            init.name = token().identifier;
            advance();
        }
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
        if (!accept(TokenKind::comma)) break;
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
        errorsBeforeFunction_ = diagnostics_.errorCount();
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
    if (outerInFunction) return;
    SourceLocation close = function.body->end;
    doubtfulBrace_ = {};
    if (!closeFunction_ && tokens_[position_ - 1].is(TokenKind::rightBrace) &&
        tokens_[position_ - 1].location == close) {
        bool isOwnLine = tokens_[position_ - 1].has(Token::startOfLine);
        std::uint32_t own = indentation(function.location);
        bool isOneLine =
            sources_.text().substr(open.offset(), close.offset() - open.offset()).find('\n') == std::string_view::npos;
        if (isOwnLine ? indentation(close) > own : !isOneLine) {
            doubtfulBrace_ = close;
            functionHadErrors_ = diagnostics_.errorCount() != errorsBeforeFunction_;
            doubtfulIndentation_ = own;
        }
    }
    closeFunction_ = false;
}

} // namespace msl
