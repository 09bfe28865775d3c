// Names of types, template arguments, and the specifiers that begin a declaration.
#include "MSL/parse/ParserImpl.h"
#include "MSL/parse/TypeTokens.h"

namespace msl {

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
                if (!accept(TokenKind::coloncolon)) break;
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
            if (next != TokenKind::comma && next != TokenKind::greater && next != TokenKind::leftBracket &&
                next != TokenKind::ellipsis)
                after = 0;
        }
        if (after != 0)
            argument.typeSyntax = parseTypeId();
        else
            argument.expression = parseConditional();
        argument.isExpansion = accept(TokenKind::ellipsis);
        arguments.add(argument);
        if (!accept(TokenKind::comma)) break;
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
    NameClass as =
        isQualified ? NameTracker::classifyQualified(token().identifier) : NameTracker::classify(token().identifier);
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

// "unsigned", "signed", "short", "long", "char" and "int" in all their orders become one identifier; "double" is none
// of the language's types, and goes on as a float.
bool Parser::parseFundamental(Specifiers& specifiers) {
    auto isPart = [&](const Token& t) {
        return t.is(TokenKind::kwUnsigned) || t.is(TokenKind::kwSigned) || t.is(TokenKind::kwDouble) ||
               (t.is(TokenKind::identifier) &&
                (t.identifier == int_ || t.identifier == short_ || t.identifier == char_ || t.identifier == long_));
    };
    if (!isPart(token())) return false;
    SourceLocation begin = token().location;
    bool isUnsigned = false;
    SourceLocation atDouble;
    const Identifier* size = int_;
    unsigned longCount = 0;
    const Identifier* only = token().identifier;
    unsigned count = 0;
    for (; isPart(token()); advance(), ++count) {
        if (at(TokenKind::kwUnsigned))
            isUnsigned = true;
        else if (at(TokenKind::kwDouble))
            atDouble = token().location;
        else if (at(TokenKind::identifier) && token().identifier != int_) {
            size = token().identifier;
            longCount += size == long_;
        }
    }
    if (atDouble) error(atDouble, "'double' is not supported in Metal");
    if (longCount > 1) error(begin, "'long long' is not supported in Metal");
    if (atDouble)
        only = identifiers_.get("float");
    else if (count > 1 || isUnsigned || only->keyword)
        only = !isUnsigned      ? size
               : size == int_   ? identifiers_.get("uint")
               : size == short_ ? identifiers_.get("ushort")
               : size == char_  ? identifiers_.get("uchar")
                                : identifiers_.get("ulong");
    specifiers.type.name.identifier = only;
    specifiers.type.name.location = begin;
    specifiers.type.location = begin;
    specifiers.hasType = true;
    return true;
}

bool Parser::parseSpecifier(Specifiers& specifiers, Context context) {
    TypeSyntax& type = specifiers.type;
    if (specifiers.hasType && token().has(Token::startOfLine) && startsStatementOnNewLine())
        return false; // the next declaration
    if (SpaceSyntax space = spaceOf(kind()); space != SpaceSyntax::none) {
        if (type.space != SpaceSyntax::none && type.space != space)
            error(token().location, "multiple address spaces specified for type");
        type.space = space;
        if (!specifiers.hasType) type.location = token().location;
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
    case TokenKind::kwFriend:
        if (context != Context::class_) error(token().location, "'friend' used outside of class");
        specifiers.isFriend = true;
        break;
    case TokenKind::kwTypename: type.isTypename = true; break;
    case TokenKind::kwAlignas:
    case TokenKind::kwAttribute: parseAttributes(specifiers.attributes); return true;
    case TokenKind::leftBracket:
        if (!peek(1).is(TokenKind::leftBracket)) return false;
        parseAttributes(specifiers.attributes);
        return true;
    case TokenKind::kwAuto:
        if (specifiers.hasType) return false;
        type.name.identifier = token().identifier;
        type.name.location = type.location = token().location;
        specifiers.hasType = true;
        break;
    case TokenKind::kwDecltype: {
        if (specifiers.hasType) return false;
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
        if (specifiers.hasType) return false;
        parseStruct(specifiers);
        return true;
    case TokenKind::kwEnum:
        if (specifiers.hasType) return false;
        parseEnum(specifiers);
        return true;
    case TokenKind::kwUnsigned:
    case TokenKind::kwSigned:
    case TokenKind::kwDouble:
        if (specifiers.hasType) return false;
        return parseFundamental(specifiers);
    case TokenKind::identifier:
    case TokenKind::coloncolon: {
        if (specifiers.hasType) return false;
        if (parseFundamental(specifiers)) return true;
        if (context == Context::class_ && isConstructor()) return false;
        if (context == Context::file && startsOuterConstructor()) return false;
        if (scanType(0) == 0 && !type.isTypename) {
            // A name that is no type. It is one mistyped when a declarator can follow.
            if (!at(TokenKind::identifier)) return false;
            std::size_t i = 1;
            while (peek(i).is(TokenKind::coloncolon) && peek(i + 1).is(TokenKind::identifier))
                i += 2;
            if (peek(i).is(TokenKind::less))
                if (std::size_t after = scanTemplateArguments(i); after != 0) i = after;
            bool isReference = isPointerOperator(peek(i).kind) && peek(i + 1).is(TokenKind::identifier);
            bool namesOperator = peek(i).is(TokenKind::kwOperator);
            if (!peek(i).is(TokenKind::identifier) && !isReference && !namesOperator &&
                !(context == Context::typeId && !at(TokenKind::coloncolon)))
                return false;
            // "in float x", "uniform float x": the word before the type is the stranger.
            if (i == 1 && peek(1).is(TokenKind::identifier) && !peek(1).has(Token::startOfLine)) {
                std::size_t after = scanType(1);
                if (after == 0 && peek(2).is(TokenKind::identifier)) after = 2;
                if (after != 0 && peek(after).is(TokenKind::identifier)) {
                    reportUnknownWord();
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

} // namespace msl
