// Structs, classes, unions and enumerations.
#include "MSL/parse/ParserImpl.h"

namespace msl {

// "Name(" inside struct Name: a constructor, not a member of type Name.
bool Parser::isConstructor() {
    return struct_ && at(TokenKind::identifier) && token().identifier == struct_->name &&
           peek(1).is(TokenKind::leftParen);
}

// A constructor or conversion of S, defined outside of it: it has no type before its name.
bool Parser::startsOuterConstructor() {
    std::size_t i = 0;
    const Identifier* last = nullptr;
    while (peek(i).is(TokenKind::identifier)) {
        const Identifier* name = peek(i).identifier;
        std::size_t after = i + 1;
        if (peek(after).is(TokenKind::less) && NameTracker::classify(name) == NameClass::templateType) {
            after = scanTemplateArguments(after);
            if (after == 0) return false;
        }
        if (!peek(after).is(TokenKind::coloncolon)) return last == name && peek(after).is(TokenKind::leftParen);
        last = name;
        i = after + 1;
    }
    return last && peek(i).is(TokenKind::kwOperator);
}

// "struct S", "struct S { ... }" or "struct { ... }" as a specifier. Null when S is only named; a forward declaration
// "struct S;" declares it.
StructDecl* Parser::parseStruct(Specifiers& specifiers) {
    TypeSyntax& type = specifiers.type;
    bool isClass = at(TokenKind::kwClass);
    bool isUnion = at(TokenKind::kwUnion);
    const std::uint32_t packing = token().packing();
    SourceLocation begin = advance();
    type.location = begin;
    specifiers.hasType = true;
    Attributes attributes;
    parseAttributes(attributes);

    if (at(TokenKind::identifier) || at(TokenKind::coloncolon)) {
        bool isQualified = parseQualifiers(type.name);
        type.name.location = token().location;
        if (at(TokenKind::identifier)) {
            type.name.identifier = token().identifier;
            advance();
        }
        if (at(TokenKind::less) && scanTemplateArguments(0) != 0) {
            type.name.hasTemplateArguments = true;
            type.name.templateArguments = parseTemplateArguments();
        }
        if (at(TokenKind::identifier) && token().identifier->text == "final" && peek(1).is(TokenKind::leftBrace))
            advance();
        bool isDefinition = at(TokenKind::leftBrace) || at(TokenKind::colon);
        bool isForward = at(TokenKind::semicolon) && !isQualified;
        if (!isDefinition && !isForward) {
            type.isElaborated = true;
            return nullptr;
        }
    } else if (!at(TokenKind::leftBrace)) {
        errorHere("expected identifier or '{'");
        type.name.identifier = int_;
        specifiers.isInvalid = true;
        return nullptr;
    }

    auto* decl = makeDecl<StructDecl>(type.name.identifier, type.name.identifier ? type.name.location : begin);
    decl->isClass = isClass;
    decl->isUnion = isUnion;
    decl->packing = packing;
    decl->attributes = attributes.copyTo(arena_);
    type.inlineStruct = decl;
    if (decl->name && !type.name.hasTemplateArguments && type.name.qualifiers.empty())
        names_.declare(decl->name, structIsTemplate_ ? NameClass::templateType : NameClass::type);
    structIsTemplate_ = false;
    if (at(TokenKind::semicolon)) return decl;
    if (accept(TokenKind::colon)) {
        SmallList<TypeSyntax*, 4> bases;
        while (!at(TokenKind::leftBrace) && !at(TokenKind::semicolon) && !atEnd()) {
            while (accept(TokenKind::kwPublic) || accept(TokenKind::kwPrivate) || accept(TokenKind::kwProtected) ||
                   accept(TokenKind::kwVirtual)) {
            }
            bases.add(parseTypeId());
            if (!accept(TokenKind::comma)) break;
        }
        decl->bases = bases.copyTo(arena_);
    }
    decl->isDefinition = true;
    parseMembers(*decl);
    parseAttributesBehind(attributes, specifiers);
    decl->attributes = attributes.copyTo(arena_);
    return decl;
}

// "struct { ... } __attribute__((packed)) x;" is about the struct, "struct { ... } [[attribute]] x;" about x.
void Parser::parseAttributesBehind(Attributes& own, Specifiers& specifiers) {
    Attributes behind;
    parseAttributes(behind);
    for (Attribute& attribute : behind)
        (attribute.isGnu ? own : specifiers.attributes).add(attribute);
}

void Parser::parseMembers(StructDecl& decl) {
    SourceLocation open = token().location;
    if (!expect(TokenKind::leftBrace, "expected '{' after base class list")) return;
    Nesting nesting(*this);
    StructDecl* outerStruct = struct_;
    Decl* outerParent = parent_;
    bool outerInFunction = inFunction_;
    bool outerGreater = noGreater_;
    struct_ = &decl;
    parent_ = &decl;
    inFunction_ = false;
    noGreater_ = false;
    NameTracker::Mark mark = names_.open();
    Declarations members;
    while (nesting && !at(TokenKind::rightBrace) && !atEnd()) {
        if (at(TokenKind::kwPublic) || at(TokenKind::kwPrivate) || at(TokenKind::kwProtected)) {
            advance();
            expect(TokenKind::colon, "expected ':'");
            continue;
        }
        if (at(TokenKind::kwNamespace) || at(TokenKind::kwFragment) || at(TokenKind::kwVertex) ||
            at(TokenKind::kwKernel))
            break; // never a member: the closing brace is missing
        std::size_t before = position_;
        parseDeclaration(members, Context::class_);
        if (position_ == before) {
            if (at(TokenKind::rightBrace) || atEnd()) break;
            errorHere("expected member name or ';' after declaration specifiers");
            advance();
        }
    }
    decl.members = members.copyTo(arena_);
    names_.close(mark);
    struct_ = outerStruct;
    parent_ = outerParent;
    inFunction_ = outerInFunction;
    noGreater_ = outerGreater;
    if (!accept(TokenKind::rightBrace)) {
        error(previousEnd(), "expected '}'");
        note(open, "to match this '{'");
    }
}

EnumDecl* Parser::parseEnum(Specifiers& specifiers) {
    TypeSyntax& type = specifiers.type;
    SourceLocation begin = advance();
    type.location = begin;
    specifiers.hasType = true;
    bool isScoped = accept(TokenKind::kwClass) || accept(TokenKind::kwStruct);
    Attributes attributes;
    parseAttributes(attributes);
    if (at(TokenKind::identifier) || at(TokenKind::coloncolon)) {
        parseQualifiers(type.name);
        type.name.location = token().location;
        if (at(TokenKind::identifier)) {
            type.name.identifier = token().identifier;
            advance();
        }
    }
    bool isDefinition = at(TokenKind::leftBrace) || at(TokenKind::colon) || (isScoped && at(TokenKind::semicolon));
    if (!isDefinition) {
        if (!type.name.identifier) {
            errorHere("expected identifier or '{'");
            type.name.identifier = int_;
            specifiers.isInvalid = true;
        }
        type.isElaborated = true;
        return nullptr;
    }
    auto* decl = makeDecl<EnumDecl>(type.name.identifier, type.name.identifier ? type.name.location : begin);
    decl->isScoped = isScoped;
    decl->attributes = attributes.copyTo(arena_);
    type.inlineEnum = decl;
    names_.declare(decl->name, NameClass::type);
    if (accept(TokenKind::colon)) decl->underlying = parseTypeId();
    if (at(TokenKind::semicolon) || (decl->underlying && at(TokenKind::identifier))) return decl; // defined later
    SourceLocation open = token().location;
    if (!expect(TokenKind::leftBrace, "expected '{'")) return decl;
    SmallList<EnumeratorDecl*, 16> enumerators;
    while (!at(TokenKind::rightBrace) && !atEnd()) {
        if (!at(TokenKind::identifier)) {
            errorHere("expected identifier");
            skipToClosing(TokenKind::rightBrace);
            break;
        }
        auto* enumerator = makeDecl<EnumeratorDecl>(token().identifier, token().location);
        enumerator->owner = decl;
        advance();
        Attributes own;
        parseAttributes(own);
        enumerator->attributes = own.copyTo(arena_);
        if (accept(TokenKind::equal)) enumerator->valueExpr = parseConditional();
        if (!isScoped) names_.declare(enumerator->name, NameClass::value);
        enumerators.add(enumerator);
        if (!accept(TokenKind::comma)) {
            if (at(TokenKind::identifier)) {
                error(previousEnd(), "missing ',' between enumerators");
                continue;
            }
            break;
        }
    }
    decl->enumerators = enumerators.copyTo(arena_);
    expectClosing(TokenKind::rightBrace, open);
    parseAttributesBehind(attributes, specifiers);
    decl->attributes = attributes.copyTo(arena_);
    return decl;
}

} // namespace msl
