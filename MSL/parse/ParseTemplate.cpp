// Templates: their heads, what stands behind one, and explicit instantiations.
#include "MSL/parse/ParserImpl.h"
#include "MSL/parse/TypeTokens.h"

#include <algorithm>
#include <iterator>

namespace msl {

TemplateParameterDecl* Parser::parseTemplateParameter(std::uint32_t index) {
    auto* parameter = makeDecl<TemplateParameterDecl>(nullptr, token().location);
    parameter->index = index;
    bool isType = at(TokenKind::kwTypename) || at(TokenKind::kwClass);
    if (isType && peek(1).is(TokenKind::identifier)) { // not "typename S<T>::type = 0"
        const Token& next = peek(2);
        isType = !next.is(TokenKind::less) && !next.is(TokenKind::coloncolon);
    }
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
        if (accept(TokenKind::equal)) parameter->defaultType = parseTypeId();
        return parameter;
    }
    parameter->isType = false;
    Specifiers specifiers;
    if (!takeLibraryEnum(specifiers)) {
        parseSpecifiers(specifiers, Context::typeId);
    }
    if (!specifiers.hasType) {
        errorHere("expected template parameter");
        specifiers.type.name.identifier = int_;
    }
    Declarator declarator;
    parsePointers(declarator.modifiers, specifiers.type);
    parameter->isPack = accept(TokenKind::ellipsis);
    const SourceLocation open = token().location;
    const bool isNested = at(TokenKind::leftParen) && isPointerOperator(peek(1).kind); // "void (*f)(float)"
    if (isNested) {
        advance();
        Modifiers ofFunction;
        parsePointers(ofFunction, specifiers.type);
    }
    if (at(TokenKind::identifier)) {
        parameter->name = token().identifier;
        parameter->location = advance();
        names_.declare(parameter->name, NameClass::value);
    }
    if (isNested) expectClosing(TokenKind::rightParen, open);
    if (at(TokenKind::leftParen) && (isNested || parameter->name)) {
        parameter->functionType = makeDecl<FunctionDecl>(parameter->name, parameter->location);
        const NameTracker::Mark mark = names_.open();
        parseParameters(*parameter->functionType);
        names_.close(mark);
    }
    parameter->valueType = finishType(specifiers, declarator);
    if (accept(TokenKind::equal)) parameter->defaultValue = parseConditional();
    return parameter;
}

// "<typename T, int N>"
void Parser::parseTemplateHeader(TemplateHeader& header) {
    SourceLocation open = advance();
    SmallList<TemplateParameterDecl*, 4> parameters;
    bool outer = noGreater_;
    noGreater_ = true;
    while (!at(TokenKind::greater) && !atEnd()) {
        std::size_t before = position_;
        parameters.add(parseTemplateParameter(static_cast<std::uint32_t>(parameters.size())));
        if (!accept(TokenKind::comma) || position_ == before) break;
    }
    noGreater_ = outer;
    if (!accept(TokenKind::greater)) { // what is declared may still be whole
        errorHere("expected '>'");
        note(open, "to match this '<'");
    }
    header.parameters = parameters.copyTo(arena_);
    header.isSpecialization = parameters.isEmpty();
}

// An enumeration of the library before the name of what is declared: its values are integers. A user may have other
// things of these names.
bool Parser::takeLibraryEnum(Specifiers& specifiers) {
    static constexpr std::string_view enumerations[] = {"access", "address", "component", "coord", "filter"};
    if (!at(TokenKind::identifier) || token().identifier->scope != nullptr ||
        (!peek(1).is(TokenKind::identifier) && !peek(1).is(TokenKind::equal)) ||
        std::ranges::find(enumerations, token().identifier->text) == std::end(enumerations))
        return false;
    specifiers.begin = advance();
    specifiers.hasType = true;
    specifiers.type.name.identifier = int_;
    return true;
}

// "template struct S<int>;", "template float f<float>(float);" behind the word template.
void Parser::parseInstantiation(Declarations& out) {
    auto* made = makeDecl<InstantiationDecl>(nullptr, token().location);
    Specifiers specifiers;
    parseSpecifiers(specifiers, Context::file);
    if (at(TokenKind::semicolon) && specifiers.hasType) {
        specifiers.type.inlineStruct = nullptr; // only its name counts
        made->type = arena_.make<TypeSyntax>(specifiers.type);
        advance();
        out.add(made);
        return;
    }
    requireType(specifiers);
    Declarator declarator;
    parseDeclarator(declarator, specifiers, Context::file);
    if (!declarator.name || !at(TokenKind::leftParen)) {
        if (declarator.name && !declarator.templateArguments.empty() && at(TokenKind::semicolon)) {
            made->function = makeDecl<FunctionDecl>(declarator.name, declarator.location);
            made->function->stage = specifiers.stage;
            made->function->attributes = join(specifiers.attributes, &declarator.attributes);
            made->function->returnTypeSyntax = arena_.make<TypeSyntax>(specifiers.type);
            made->function->specializationArguments = declarator.templateArguments;
            made->location = declarator.location;
            made->isByName = true;
            out.add(made);
        }
        if (declarator.name) // also "template constant int x<int>;", which says nothing new
            accept(TokenKind::semicolon);
        else
            errorHere("expected unqualified-id");
        if (!declarator.name) skipDeclaration();
        return;
    }
    made->function = parseFunction(specifiers, declarator, Context::file, nullptr);
    made->function->specializationArguments = declarator.templateArguments;
    made->location = made->function->location;
    if (made->function->body)
        error(made->function->location, "explicit template instantiation cannot have a definition");
    else
        expectSemicolon("expected ';' after top level declarator");
    out.add(made);
}

void Parser::parseTemplate(Declarations& out, Context context) {
    advance();
    if (!at(TokenKind::less)) {
        parseInstantiation(out);
        return;
    }
    NameTracker::Mark mark = names_.open();
    TemplateHeader header;
    parseTemplateHeader(header);
    if (at(TokenKind::kwTemplate) && peek(1).is(TokenKind::less)) { // a member template of S<T>
        advance();
        header.outerParameters = header.parameters;
        parseTemplateHeader(header);
    }

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
        else if (decl->kind == DeclKind::variable && static_cast<VarDecl*>(decl)->scope)
            ;
        else if (decl->kind == DeclKind::function ? !static_cast<FunctionDecl*>(decl)->scope
                                                  : decl->kind == DeclKind::variable)
            names_.declareFunction(decl->name, true);
        out.add(decl);
    }
}

} // namespace msl
