// Names, types, specifiers and declarators, and the look-ahead that tells declarations from expressions.
#include "MSL/lex/Literals.h"
#include "MSL/parse/ParserImpl.h"

namespace msl {

namespace {

constexpr std::size_t scanLimit = 4096; // tokens of look-ahead; what is longer is not what the scan looks for

SpaceSyntax spaceOf(TokenKind kind) {
    switch (kind) {
    case TokenKind::kwThread: return SpaceSyntax::thread;
    case TokenKind::kwConstant: return SpaceSyntax::constant;
    case TokenKind::kwDevice: return SpaceSyntax::device;
    case TokenKind::kwThreadgroup: return SpaceSyntax::threadgroup;
    default: return SpaceSyntax::none;
    }
}

bool isQualifier(TokenKind kind) {
    return kind == TokenKind::kwConst || kind == TokenKind::kwVolatile || kind == TokenKind::kwRestrict ||
           spaceOf(kind) != SpaceSyntax::none;
}

bool isPointerOperator(TokenKind kind) {
    return kind == TokenKind::star || kind == TokenKind::amp || kind == TokenKind::ampamp;
}

} // namespace

// ----------------------------------------------------------------------------------------------------- look-ahead

// After the bracket that begins here and its partner.
std::size_t Parser::scanBalanced(std::size_t from) {
    std::size_t i = from;
    unsigned depth = 0;
    do {
        switch (peek(i).kind) {
        case TokenKind::leftParen:
        case TokenKind::leftBracket:
        case TokenKind::leftBrace: ++depth; break;
        case TokenKind::rightParen:
        case TokenKind::rightBracket:
        case TokenKind::rightBrace:
            if (depth == 0)
                return 0;
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
        if (!isStandard && !isGnu)
            return i;
        std::size_t after = scanBalanced(isGnu ? i + 1 : i);
        if (after == 0 || after - from > scanLimit)
            return i;
        i = after;
    }
}

// After "<...>"; 0 when what begins here does not look like template arguments.
std::size_t Parser::scanTemplateArguments(std::size_t from) {
    unsigned angles = 0;
    std::size_t i = from;
    while (i - from < scanLimit) {
        switch (peek(i).kind) {
        case TokenKind::less: ++angles; break;
        case TokenKind::greater:
            if (--angles == 0)
                return i + 1;
            break;
        case TokenKind::leftParen:
        case TokenKind::leftBracket: {
            std::size_t after = scanBalanced(i);
            if (after == 0)
                return 0;
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
        if (k == TokenKind::kwTypename || k == TokenKind::kwStruct || k == TokenKind::kwClass || k == TokenKind::kwEnum ||
            k == TokenKind::kwUnion)
            isTypename = true;
        else if (!isQualifier(k))
            break;
    }
    if (peek(i).is(TokenKind::kwUnsigned) || peek(i).is(TokenKind::kwSigned)) {
        ++i;
        while (peek(i).is(TokenKind::identifier) && (peek(i).identifier == int_ || peek(i).identifier == short_ ||
                                                     peek(i).identifier == char_ || peek(i).identifier == long_))
            ++i;
    } else if (peek(i).is(TokenKind::kwAuto)) {
        ++i;
    } else if (peek(i).is(TokenKind::kwDecltype)) {
        std::size_t after = peek(i + 1).is(TokenKind::leftParen) ? scanBalanced(i + 1) : 0;
        if (after == 0)
            return 0;
        i = after;
    } else {
        bool isQualified = peek(i).is(TokenKind::coloncolon);
        if (isQualified)
            ++i;
        for (;;) {
            if (!peek(i).is(TokenKind::identifier))
                return 0;
            const Identifier* name = peek(i).identifier;
            NameClass as = isQualified ? NameTracker::classifyQualified(name) : NameTracker::classify(name);
            ++i;
            bool isTemplate = as == NameClass::templateType || (isQualified && isTypename);
            if (isTemplate && peek(i).is(TokenKind::less)) {
                std::size_t after = scanTemplateArguments(i);
                if (after == 0)
                    return 0;
                i = after;
            }
            if (peek(i).is(TokenKind::coloncolon)) {
                isQualified = true;
                ++i;
                continue;
            }
            if (as != NameClass::type && as != NameClass::templateType && !isTypename)
                return 0;
            // "int" and its kin may follow one another: "long int".
            while (peek(i).is(TokenKind::identifier) &&
                   (peek(i).identifier == int_ || peek(i).identifier == long_ || peek(i).identifier == short_))
                ++i;
            break;
        }
    }
    while (isQualifier(peek(i).kind) || isPointerOperator(peek(i).kind))
        ++i;
    return i;
}

bool Parser::isTypeNameAt(std::size_t from) {
    std::size_t i = from;
    if (!peek(i).is(TokenKind::identifier) && !peek(i).is(TokenKind::coloncolon))
        return false;
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
    case TokenKind::kwAlignas: return true;
    case TokenKind::kwTypename:
    case TokenKind::kwUnsigned:
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
        if (next == TokenKind::identifier)
            return true;
        if (next == TokenKind::leftParen || next == TokenKind::leftBrace || next == TokenKind::period)
            return false;
        break;
    }
    case NameClass::templateType: break;
    case NameClass::value:
    case NameClass::templateFunction:
        if (!peek(1).is(TokenKind::coloncolon))
            return false;
        break;
    default:
        if (peek(1).is(TokenKind::identifier))
            return !peek(1).has(Token::startOfLine);
        if (!peek(1).is(TokenKind::coloncolon))
            return false;
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
    case TokenKind::kwSigned:
    case TokenKind::kwDecltype: break;
    default: return false;
    }
    if (std::size_t after = scanType(from); after != 0) {
        TokenKind next = peek(after).kind;
        return next != TokenKind::leftParen && next != TokenKind::leftBrace && next != TokenKind::period;
    }
    if (!first.is(TokenKind::identifier) || NameTracker::classify(first.identifier) != NameClass::unknown)
        return false;
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
    if (peek(1).is(TokenKind::rightParen) || startsParameter(1))
        return true;
    std::size_t after = scanBalanced(0);
    return after != 0 && after < scanLimit && peek(after).is(TokenKind::leftBrace) &&
           !peek(1).is(TokenKind::number);
}

// A whole function head up to its opening brace. Nothing inside a function looks like it.
bool Parser::startsFunctionDefinition() {
    std::size_t i = scanAttributes(0);
    bool hasType = false;
    for (;; ++i) {
        TokenKind k = peek(i).kind;
        if (k == TokenKind::kwStatic || k == TokenKind::kwInline || k == TokenKind::kwConstexpr || isQualifier(k))
            continue;
        if (k == TokenKind::kwFragment || k == TokenKind::kwVertex || k == TokenKind::kwKernel)
            continue;
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
    if (!hasType || !peek(i).is(TokenKind::identifier) || !peek(i + 1).is(TokenKind::leftParen))
        return false;
    std::size_t after = scanBalanced(i + 1);
    if (after == 0 || after > scanLimit)
        return false;
    i = scanAttributes(after);
    return peek(i).is(TokenKind::leftBrace);
}

// ---------------------------------------------------------------------------------------------------------- names

// "a::b::" before the last name. Returns whether there was any.
bool Parser::parseQualifiers(Name& name) {
    SmallList<const Identifier*, 4> parts;
    if (at(TokenKind::coloncolon)) {
        name.isGlobal = true;
        advance();
    }
    while (at(TokenKind::identifier)) {
        if (peek(1).is(TokenKind::coloncolon)) {
            parts.add(token().identifier);
            advance();
            advance();
            accept(TokenKind::kwTemplate);
            continue;
        }
        NameClass as = parts.isEmpty() ? NameTracker::classify(token().identifier)
                                       : NameTracker::classifyQualified(token().identifier);
        if (as == NameClass::templateType && peek(1).is(TokenKind::less)) {
            std::size_t after = scanTemplateArguments(1);
            if (after != 0 && peek(after).is(TokenKind::coloncolon)) {
                Nesting nesting(*this);
                auto* type = arena_.make<TypeSyntax>();
                type->location = token().location;
                type->name.isGlobal = name.isGlobal;
                type->name.qualifierType = name.qualifierType;
                type->name.qualifiers = parts.copyTo(arena_);
                type->name.identifier = token().identifier;
                type->name.location = advance();
                type->name.hasTemplateArguments = true;
                type->name.templateArguments = parseTemplateArguments();
                name.qualifierType = type;
                name.isGlobal = false;
                parts = {};
                if (!accept(TokenKind::coloncolon))
                    break;
                accept(TokenKind::kwTemplate);
                continue;
            }
        }
        break;
    }
    name.qualifiers = parts.copyTo(arena_);
    return !parts.isEmpty() || name.isGlobal || name.qualifierType;
}

// "<...>" after a template's name.
std::span<TemplateArgument> Parser::parseTemplateArguments() {
    SmallList<TemplateArgument, 4> arguments;
    SourceLocation open = advance();
    bool outer = noGreater_;
    noGreater_ = true;
    Nesting nesting(*this);
    while (nesting && !at(TokenKind::greater) && !atEnd()) {
        TemplateArgument argument;
        std::size_t after = scanType(0);
        if (after != 0) {
            TokenKind next = peek(after).kind;
            if (next != TokenKind::comma && next != TokenKind::greater && next != TokenKind::leftBracket)
                after = 0;
        }
        if (after != 0)
            argument.typeSyntax = parseTypeId();
        else
            argument.expression = parseConditional();
        arguments.add(argument);
        if (!accept(TokenKind::comma))
            break;
    }
    noGreater_ = outer;
    expectClosing(TokenKind::greater, open);
    return arguments.copyTo(arena_);
}

// The name of a type into type.name.
void Parser::parseTypeName(TypeSyntax& type) {
    bool isQualified = parseQualifiers(type.name);
    type.name.location = token().location;
    if (!at(TokenKind::identifier)) {
        errorHere("expected a type");
        type.name.identifier = int_;
        return;
    }
    type.name.identifier = token().identifier;
    NameClass as = isQualified ? NameTracker::classifyQualified(token().identifier)
                               : NameTracker::classify(token().identifier);
    advance();
    bool mayBeTemplate = as == NameClass::templateType || as == NameClass::unknown;
    if (at(TokenKind::less) && mayBeTemplate && scanTemplateArguments(0) != 0) {
        type.name.hasTemplateArguments = true;
        type.name.templateArguments = parseTemplateArguments();
    }
}

// A type where only a type may stand: "device float*", "float[3]".
TypeSyntax* Parser::parseTypeId() {
    Specifiers specifiers;
    parseSpecifiers(specifiers, Context::typeId);
    if (!specifiers.hasType) {
        errorHere("expected a type");
        specifiers.type.name.identifier = int_;
    }
    Declarator declarator;
    parsePointers(declarator.modifiers, specifiers.type);
    parseArraySuffixes(declarator.modifiers);
    return finishType(specifiers, declarator);
}

// ----------------------------------------------------------------------------------------------------- specifiers

// "unsigned", "signed", "short", "long", "char" and "int" in all their orders become one identifier.
bool Parser::parseFundamental(Specifiers& specifiers) {
    auto isPart = [&](const Token& t) {
        return t.is(TokenKind::kwUnsigned) || t.is(TokenKind::kwSigned) ||
               (t.is(TokenKind::identifier) &&
                (t.identifier == int_ || t.identifier == short_ || t.identifier == char_ || t.identifier == long_));
    };
    if (!isPart(token()))
        return false;
    SourceLocation begin = token().location;
    bool isUnsigned = false;
    const Identifier* size = int_;
    unsigned longCount = 0;
    const Identifier* only = token().identifier;
    unsigned count = 0;
    for (; isPart(token()); advance(), ++count) {
        if (at(TokenKind::kwUnsigned))
            isUnsigned = true;
        else if (at(TokenKind::identifier) && token().identifier != int_) {
            size = token().identifier;
            longCount += size == long_;
        }
    }
    if (longCount > 1)
        error(begin, "'long long' is not supported in Metal");
    if (count > 1 || isUnsigned || only->keyword)
        only = !isUnsigned       ? size
               : size == int_    ? identifiers_.get("uint")
               : size == short_  ? identifiers_.get("ushort")
               : size == char_   ? identifiers_.get("uchar")
                                 : identifiers_.get("ulong");
    specifiers.type.name.identifier = only;
    specifiers.type.name.location = begin;
    specifiers.type.location = begin;
    specifiers.hasType = true;
    return true;
}

bool Parser::parseSpecifier(Specifiers& specifiers, Context context) {
    TypeSyntax& type = specifiers.type;
    if (SpaceSyntax space = spaceOf(kind()); space != SpaceSyntax::none) {
        if (type.space != SpaceSyntax::none && type.space != space)
            error(token().location, "multiple address spaces specified for type");
        type.space = space;
        if (!specifiers.hasType)
            type.location = token().location;
        advance();
        return true;
    }
    switch (kind()) {
    case TokenKind::kwConst: type.isConst = true; break;
    case TokenKind::kwVolatile: type.isVolatile = true; break;
    case TokenKind::kwRestrict:
    case TokenKind::kwMutable:
    case TokenKind::kwExplicit:
    case TokenKind::kwExtern: break;
    case TokenKind::kwConstexpr: specifiers.isConstexpr = true; break;
    case TokenKind::kwStatic: specifiers.isStatic = true; break;
    case TokenKind::kwInline: specifiers.isInline = true; break;
    case TokenKind::kwTypedef: specifiers.isTypedef = true; break;
    case TokenKind::kwVertex: specifiers.stage = EntryStage::vertex; break;
    case TokenKind::kwFragment: specifiers.stage = EntryStage::fragment; break;
    case TokenKind::kwKernel: specifiers.stage = EntryStage::kernel; break;
    case TokenKind::kwVirtual: error(token().location, "'virtual' is not supported here"); break;
    case TokenKind::kwFriend: error(token().location, "'friend' is not supported here"); break;
    case TokenKind::kwTypename: type.isTypename = true; break;
    case TokenKind::kwAlignas:
    case TokenKind::kwAttribute: parseAttributes(specifiers.attributes); return true;
    case TokenKind::leftBracket:
        if (!peek(1).is(TokenKind::leftBracket))
            return false;
        parseAttributes(specifiers.attributes);
        return true;
    case TokenKind::kwAuto:
        if (specifiers.hasType)
            return false;
        type.name.identifier = token().identifier;
        type.name.location = type.location = token().location;
        specifiers.hasType = true;
        break;
    case TokenKind::kwDecltype: {
        if (specifiers.hasType)
            return false;
        type.location = type.name.location = advance();
        SourceLocation open = token().location;
        if (expect(TokenKind::leftParen, "expected '(' after 'decltype'")) {
            type.decltypeOf = parseExpression();
            expectClosing(TokenKind::rightParen, open);
        }
        specifiers.hasType = true;
        return true;
    }
    case TokenKind::kwStruct:
    case TokenKind::kwClass:
    case TokenKind::kwUnion:
        if (specifiers.hasType)
            return false;
        parseStruct(specifiers);
        return true;
    case TokenKind::kwEnum:
        if (specifiers.hasType)
            return false;
        parseEnum(specifiers);
        return true;
    case TokenKind::kwUnsigned:
    case TokenKind::kwSigned:
        if (specifiers.hasType)
            return false;
        return parseFundamental(specifiers);
    case TokenKind::identifier:
    case TokenKind::coloncolon: {
        if (specifiers.hasType)
            return false;
        if (parseFundamental(specifiers))
            return true;
        if (context == Context::class_ && isConstructor())
            return false;
        if (at(TokenKind::identifier) && token().identifier == double_ &&
            NameTracker::classify(double_) != NameClass::value) {
            error(token().location, "'double' is not supported in Metal");
            type.name.identifier = identifiers_.get("float");
            type.name.location = type.location = advance();
            specifiers.hasType = true;
            return true;
        }
        if (scanType(0) == 0 && !type.isTypename) {
            // A name that is no type. It is one mistyped when a declarator can follow.
            if (!at(TokenKind::identifier))
                return false;
            std::size_t i = 1;
            while (peek(i).is(TokenKind::coloncolon) && peek(i + 1).is(TokenKind::identifier))
                i += 2;
            if (peek(i).is(TokenKind::less))
                if (std::size_t after = scanTemplateArguments(i); after != 0)
                    i = after;
            bool isReference = isPointerOperator(peek(i).kind) && peek(i + 1).is(TokenKind::identifier);
            bool namesOperator = peek(i).is(TokenKind::kwOperator);
            if (!peek(i).is(TokenKind::identifier) && !isReference && !namesOperator &&
                !(context == Context::typeId && !at(TokenKind::coloncolon)))
                return false;
            // "in float x", "uniform float x": the word before the type is the stranger.
            if (i == 1 && peek(1).is(TokenKind::identifier) && !peek(1).has(Token::startOfLine)) {
                std::size_t after = scanType(1);
                if (after == 0 && peek(2).is(TokenKind::identifier))
                    after = 2;
                if (after != 0 && peek(after).is(TokenKind::identifier)) {
                    error(token().location, "unknown type name '" + std::string(token().identifier->text) + "'");
                    specifiers.isInvalid = true;
                    advance();
                    return true;
                }
            }
        }
        type.location = token().location;
        parseTypeName(type);
        specifiers.hasType = true;
        return true;
    }
    default: return false;
    }
    advance();
    return true;
}

void Parser::parseSpecifiers(Specifiers& specifiers, Context context) {
    specifiers.begin = token().location;
    specifiers.type.location = specifiers.begin;
    while (parseSpecifier(specifiers, context)) {
    }
}

// ---------------------------------------------------------------------------------------------------- declarators

void Parser::parsePointers(Modifiers& modifiers, TypeSyntax& base) {
    while (isPointerOperator(kind()) || (isQualifier(kind()) && kind() != TokenKind::kwConst)) {
        if (!isPointerOperator(kind())) { // "float device *p": the pointee's space behind its name
            if (SpaceSyntax space = spaceOf(kind()); space != SpaceSyntax::none && modifiers.isEmpty())
                base.space = space;
            advance();
            continue;
        }
        TypeModifier modifier;
        modifier.kind = at(TokenKind::star) ? TypeModifier::Kind::pointer
                        : at(TokenKind::amp) ? TypeModifier::Kind::reference
                                             : TypeModifier::Kind::rvalueReference;
        modifier.location = advance();
        while (isQualifier(kind())) {
            if (SpaceSyntax space = spaceOf(kind()); space != SpaceSyntax::none)
                modifier.space = space;
            else
                modifier.isConst |= at(TokenKind::kwConst);
            advance();
        }
        if (modifiers.size() >= 16) {
            error(modifier.location, "type is nested too deeply");
            continue;
        }
        modifiers.add(modifier);
    }
}

// "[2][3]": the first is the outermost.
void Parser::parseArraySuffixes(Modifiers& modifiers) {
    SmallList<TypeModifier, 4> arrays;
    while (at(TokenKind::leftBracket) && !peek(1).is(TokenKind::leftBracket)) {
        TypeModifier modifier;
        modifier.kind = TypeModifier::Kind::array;
        modifier.location = advance();
        bool outer = noGreater_;
        noGreater_ = false;
        if (!at(TokenKind::rightBracket))
            modifier.arraySize = parseConstant();
        noGreater_ = outer;
        expectClosing(TokenKind::rightBracket, modifier.location);
        if (arrays.size() < 16)
            arrays.add(modifier);
        else
            error(modifier.location, "type is nested too deeply");
    }
    for (std::size_t i = arrays.size(); i > 0; --i)
        modifiers.add(arrays[i - 1]);
}

void Parser::parseOperatorName(Declarator& declarator, Specifiers& specifiers) {
    using enum TokenKind;
    declarator.location = advance();
    declarator.isOperator = true;
    std::string name = "operator";
    switch (kind()) {
    case leftParen:
        advance();
        expect(rightParen, "expected ')'");
        name += "()";
        break;
    case leftBracket:
        advance();
        expect(rightBracket, "expected ']'");
        name += "[]";
        break;
    case greater:
        name += '>';
        advance();
        if ((at(greater) || at(greaterEqual)) && token().touchesPrevious()) {
            name += punctuation(kind());
            advance();
        }
        break;
    case plus: case minus: case star: case slash: case percent: case caret: case amp: case pipe: case tilde:
    case exclaim: case equal: case less: case plusEqual: case minusEqual: case starEqual: case slashEqual:
    case percentEqual: case caretEqual: case ampEqual: case pipeEqual: case lessless: case lesslessEqual: case equalequal:
    case exclaimEqual: case lessEqual: case greaterEqual: case ampamp: case pipepipe: case plusplus: case minusminus:
    case comma: case arrow:
        name += punctuation(kind());
        advance();
        break;
    default: // operator float()
        if (scanType(0) == 0) {
            errorHere("expected a type");
            declarator.isInvalid = true;
            break;
        }
        declarator.isConversion = true;
        specifiers.type = *parseTypeId();
        specifiers.hasType = true;
        name += " conversion";
        break;
    }
    declarator.name = identifiers_.get(name);
}

void Parser::parseDeclarator(Declarator& declarator, Specifiers& specifiers, Context context) {
    parsePointers(declarator.modifiers, specifiers.type);
    parseAttributes(declarator.attributes);
    declarator.location = token().location;
    SmallList<TypeModifier, 4> inner;
    bool isNested = at(TokenKind::leftParen) && isPointerOperator(peek(1).kind);
    SourceLocation open = token().location;
    if (isNested) { // "float (&w)[4]"
        advance();
        parsePointers(inner, specifiers.type);
    }
    if (at(TokenKind::identifier)) {
        const Identifier* name = token().identifier;
        // A word of the language cannot be a name, and a second type is usually a type too many.
        if (name->text == "float" || name->text == "int" || name->text == "bool" || name->text == "void" ||
            name->text == "uint") {
            if (NameTracker::classify(name) == NameClass::type) {
                if (!specifiers.isInvalid)
                    error(token().location, context == Context::parameter || peek(1).is(TokenKind::identifier)
                                            ? "cannot combine with previous '" +
                                                  std::string(specifiers.type.name.identifier
                                                                  ? specifiers.type.name.identifier->text
                                                                  : std::string_view("type")) +
                                                  "' declaration specifier"
                                            : "expected unqualified-id");
                declarator.isInvalid = true;
                declarator.name = identifiers_.get("<unnamed>");
                advance();
            }
        }
        if (at(TokenKind::identifier)) {
            declarator.location = token().location;
            declarator.name = token().identifier;
            advance();
            if (at(TokenKind::coloncolon)) {
                unsupported(declarator.location, "a definition outside of its struct or namespace");
                declarator.isInvalid = true;
                while (accept(TokenKind::coloncolon) && (at(TokenKind::identifier) || at(TokenKind::kwOperator))) {
                    declarator.name = token().identifier;
                    advance();
                }
            }
            if (at(TokenKind::less) && NameTracker::classify(declarator.name) == NameClass::templateFunction) {
                declarator.templateArguments = parseTemplateArguments();
                declarator.hasTemplateArguments = true;
            }
        }
    } else if (at(TokenKind::kwOperator)) {
        parseOperatorName(declarator, specifiers);
    } else if (at(TokenKind::tilde) && context == Context::class_) {
        unsupported(token().location, "a destructor");
        advance();
        declarator.name = at(TokenKind::identifier) ? token().identifier : nullptr;
        accept(TokenKind::identifier);
        declarator.isInvalid = true;
    }
    if (isNested) {
        expectClosing(TokenKind::rightParen, open);
        if (at(TokenKind::leftParen)) {
            unsupported(open, "a pointer to a function");
            declarator.isInvalid = true;
            skipBalanced();
        }
    }
    parseAttributes(declarator.attributes);
    parseArraySuffixes(declarator.modifiers);
    for (TypeModifier& modifier : inner)
        declarator.modifiers.add(modifier);
    parseAttributes(declarator.attributes);
}

TypeSyntax* Parser::finishType(const Specifiers& specifiers, Declarator& declarator) {
    auto* type = arena_.make<TypeSyntax>(specifiers.type);
    type->modifiers = declarator.modifiers.copyTo(arena_);
    return type;
}

// ----------------------------------------------------------------------------------------------------- attributes

void Parser::parseAttributes(Attributes& attributes) {
    for (;;) {
        if (at(TokenKind::leftBracket) && peek(1).is(TokenKind::leftBracket)) {
            SourceLocation open = advance();
            advance();
            parseAttributeList(attributes, TokenKind::rightBracket, false);
            if (expectClosing(TokenKind::rightBracket, open))
                expectClosing(TokenKind::rightBracket, open);
        } else if (at(TokenKind::kwAttribute)) {
            advance();
            SourceLocation open = token().location;
            if (!expect(TokenKind::leftParen, "expected '(' after '__attribute__'"))
                return;
            SourceLocation second = token().location;
            if (!expect(TokenKind::leftParen, "expected '(' after '('"))
                return;
            parseAttributeList(attributes, TokenKind::rightParen, true);
            if (expectClosing(TokenKind::rightParen, second))
                expectClosing(TokenKind::rightParen, open);
        } else if (at(TokenKind::kwAlignas)) {
            Attribute attribute;
            attribute.name = token().identifier;
            attribute.location = advance();
            SourceLocation open = token().location;
            if (!expect(TokenKind::leftParen, "expected '(' after 'alignas'"))
                return;
            Expressions arguments;
            if (scanType(0) != 0) { // alignas(T) is alignas(alignof(T))
                auto* size = make<SizeOf>(token().location, token().location);
                size->typeSyntax = parseTypeId();
                size->isAlignOf = true;
                arguments.add(size);
            } else {
                arguments.add(parseConstant());
            }
            attribute.arguments = arguments.copyTo(arena_);
            attributes.add(attribute);
            expectClosing(TokenKind::rightParen, open);
        } else {
            return;
        }
    }
}

void Parser::parseAttributeList(Attributes& attributes, TokenKind end, bool isGnu) {
    bool outer = noGreater_;
    noGreater_ = false;
    while (!at(end) && !atEnd()) {
        if (accept(TokenKind::comma))
            continue;
        Attribute attribute;
        attribute.isGnu = isGnu;
        attribute.location = token().location;
        if (!token().isWord()) {
            errorHere("expected identifier");
            break;
        }
        attribute.name = token().identifier;
        advance();
        if (at(TokenKind::coloncolon) && peek(1).isWord()) {
            attribute.scope = attribute.name;
            advance();
            attribute.location = token().location;
            attribute.name = token().identifier;
            advance();
        }
        if (at(TokenKind::leftParen)) {
            SourceLocation open = advance();
            Expressions arguments;
            parseArguments(arguments, TokenKind::rightParen, open);
            attribute.arguments = arguments.copyTo(arena_);
        }
        attributes.add(attribute);
        if (!at(TokenKind::comma))
            break;
    }
    noGreater_ = outer;
}

} // namespace msl
