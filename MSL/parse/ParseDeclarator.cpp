// Declarators (the part of a declaration around its name) and attributes.
#include "MSL/parse/ParserImpl.h"
#include "MSL/parse/TypeTokens.h"

#include <utility>

namespace msl {

namespace {

constexpr std::size_t modifierLimit = 16; // pointers, or dimensions, of one declarator

} // namespace

void Parser::parsePointers(Modifiers& modifiers, TypeSyntax& base) {
    bool isTooDeep = false;
    while (isPointerOperator(kind()) || (isTypeQualifier(kind()) && kind() != TokenKind::kwConst)) {
        if (!isPointerOperator(kind())) { // "float device *p": the pointee's space behind its name
            if (SpaceSyntax space = spaceOf(kind()); space != SpaceSyntax::none && modifiers.isEmpty())
                base.space = space;
            advance();
            continue;
        }
        TypeModifier modifier;
        modifier.kind = at(TokenKind::star)  ? TypeModifier::Kind::pointer
                        : at(TokenKind::amp) ? TypeModifier::Kind::reference
                                             : TypeModifier::Kind::rvalueReference;
        modifier.location = advance();
        while (isTypeQualifier(kind())) {
            if (SpaceSyntax space = spaceOf(kind()); space != SpaceSyntax::none)
                modifier.space = space;
            else
                modifier.isConst |= at(TokenKind::kwConst);
            advance();
        }
        if (modifiers.size() < modifierLimit)
            modifiers.add(modifier);
        else if (!std::exchange(isTooDeep, true))
            error(modifier.location, "type is nested too deeply");
    }
}

// "[2][3]": the first is the outermost.
void Parser::parseArraySuffixes(Modifiers& modifiers) {
    SmallList<TypeModifier, 4> arrays;
    bool isTooDeep = false;
    while (at(TokenKind::leftBracket) && !peek(1).is(TokenKind::leftBracket) && !missesAttributeBracket()) {
        TypeModifier modifier;
        modifier.kind = TypeModifier::Kind::array;
        modifier.location = advance();
        bool outer = noGreater_;
        noGreater_ = false;
        if (!at(TokenKind::rightBracket)) modifier.arraySize = parseConstant();
        noGreater_ = outer;
        expectClosing(TokenKind::rightBracket, modifier.location);
        if (arrays.size() < modifierLimit)
            arrays.add(modifier);
        else if (!std::exchange(isTooDeep, true))
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
    case plus:
    case minus:
    case star:
    case slash:
    case percent:
    case caret:
    case amp:
    case pipe:
    case tilde:
    case exclaim:
    case equal:
    case less:
    case plusEqual:
    case minusEqual:
    case starEqual:
    case slashEqual:
    case percentEqual:
    case caretEqual:
    case ampEqual:
    case pipeEqual:
    case lessless:
    case lesslessEqual:
    case equalequal:
    case exclaimEqual:
    case lessEqual:
    case greaterEqual:
    case ampamp:
    case pipepipe:
    case plusplus:
    case minusminus:
    case comma:
    case arrow:
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
    if (at(TokenKind::ellipsis) && context == Context::parameter) { // "T... xs"
        advance();
        declarator.isPack = true;
        declarator.location = token().location;
    }
    if (at(TokenKind::identifier) && context == Context::file &&
        (peek(1).is(TokenKind::coloncolon) ||
         (peek(1).is(TokenKind::less) && NameTracker::classify(token().identifier) == NameClass::templateType))) {
        Name scope; // "S<T>::" before the name
        if (parseQualifiers(scope)) {
            scope.location = declarator.location;
            declarator.scope = arena_.make<Name>(scope);
            declarator.location = token().location;
        }
    }
    if (at(TokenKind::identifier) || at(TokenKind::kwDouble)) {
        const Identifier* name = token().identifier;
        // A word of the language cannot be a name, and a second type is usually a type too many.
        if (at(TokenKind::kwDouble) || name->text == "float" || name->text == "int" || name->text == "bool" ||
            name->text == "void" || name->text == "uint") {
            if (at(TokenKind::kwDouble) || NameTracker::classify(name) == NameClass::type) {
                if (!specifiers.isInvalid)
                    error(token().location,
                          context == Context::parameter || peek(1).is(TokenKind::identifier)
                              ? "cannot combine with previous '" +
                                    std::string(specifiers.type.name.identifier ? specifiers.type.name.identifier->text
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
            if (at(TokenKind::less) && NameTracker::classify(declarator.name) == NameClass::templateFunction &&
                scanTemplateArguments(0) != 0) {
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

// "[buffer(0)]]" and "[stage_in]]", where one bracket too few opens an attribute.
bool Parser::missesAttributeBracket() {
    if (!at(TokenKind::leftBracket) || !peek(1).is(TokenKind::identifier)) return false;
    const bool hasNumber = peek(2).is(TokenKind::leftParen) && peek(4).is(TokenKind::rightParen);
    const unsigned close = hasNumber ? 5 : 2;
    return peek(close).is(TokenKind::rightBracket) && peek(close + 1).is(TokenKind::rightBracket);
}

void Parser::parseAttributes(Attributes& attributes) {
    for (;;) {
        if (at(TokenKind::leftBracket) && peek(1).is(TokenKind::leftBracket)) {
            SourceLocation open = advance();
            advance();
            parseAttributeList(attributes, TokenKind::rightBracket, false);
            if (!expectClosing(TokenKind::rightBracket, open) || accept(TokenKind::rightBracket)) continue;
            errorHere("expected ']'");
            note(open, "to match this '['");
        } else if (missesAttributeBracket()) {
            errorHere("expected '[[' before an attribute");
            advance();
            parseAttributeList(attributes, TokenKind::rightBracket, false);
            accept(TokenKind::rightBracket);
            accept(TokenKind::rightBracket);
        } else if (at(TokenKind::kwAttribute)) {
            advance();
            SourceLocation open = token().location;
            if (!expect(TokenKind::leftParen, "expected '(' after '__attribute__'")) return;
            SourceLocation second = token().location;
            if (!expect(TokenKind::leftParen, "expected '(' after '('")) return;
            parseAttributeList(attributes, TokenKind::rightParen, true);
            if (expectClosing(TokenKind::rightParen, second)) expectClosing(TokenKind::rightParen, open);
        } else if (at(TokenKind::kwAlignas)) {
            Attribute attribute;
            attribute.name = token().identifier;
            attribute.location = advance();
            SourceLocation open = token().location;
            if (!expect(TokenKind::leftParen, "expected '(' after 'alignas'")) return;
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
        if (accept(TokenKind::comma)) continue;
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
        if (!at(TokenKind::comma)) break;
    }
    noGreater_ = outer;
}

} // namespace msl
