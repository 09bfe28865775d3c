// Functions as arguments of templates: "template <void (*f)(float)>". While an instance is resolved the parameter's
// name means the function itself, so a call of it is a call like any other.
#include "MSL/sema/Analyzer.h"

#include "MSL/ast/Clone.h"

#include <algorithm>

namespace msl {

namespace {

// The name in "f", "&f" and "f<int>"; null when the argument is something else.
Name* nameOf(TemplateArgument& argument) {
    Expr* expression = argument.expression;
    if (expression && expression->kind == ExprKind::unary && static_cast<Unary*>(expression)->op == UnaryOp::addressOf)
        expression = static_cast<Unary*>(expression)->operand;
    if (expression && expression->kind == ExprKind::nameRef) return &static_cast<NameRef*>(expression)->name;
    if (!expression && argument.typeSyntax && argument.typeSyntax->modifiers.empty() &&
        argument.typeSyntax->name.identifier)
        return &argument.typeSyntax->name; // a bare name that the parser took for a type
    return nullptr;
}

} // namespace

// The function that an argument names for parameter `index`: the one of its name that takes and returns what the
// parameter says. `parent` is what the template stands in. Null when there is none.
FunctionDecl* Analyzer::templateArgumentFunction(TemplateArgument& argument, std::size_t index,
                                                 const Bindings& bindings, Decl* parent, SourceLocation at,
                                                 bool report) {
    if (argument.function) return argument.function;
    const TemplateParameterDecl* parameter = bindings.parameters[index];
    Name* name = nameOf(argument);
    const auto failed = [&](std::string message) -> FunctionDecl* {
        if (report) error(name ? name->location : at, std::move(message));
        return nullptr;
    };
    const std::string wantedName = parameter->name ? " '" + std::string(parameter->name->text) + "'" : std::string();
    if (!name && argument.expression) at = argument.expression->begin ? argument.expression->begin : at;
    if (!name) return failed("template argument for parameter" + wantedName + " must be the name of a function");
    const NameMeaning meaning = lookUp(*name, true);
    if (meaning.kind != NameMeaning::Kind::functions) {
        if (meaning.kind == NameMeaning::Kind::failed) return nullptr;
        return failed("'" + std::string(name->identifier->text) + "' is not a function of this text");
    }

    // What the parameter says, in the scope of its template.
    Scopes::Suspended suspended = scopes_.suspend();
    enterContext(parent);
    scopes_.open();
    pushBindings(bindings.parameters.first(index), bindings.arguments.first(index));
    const TypeRef result = resolveTypeOnly(clone(arena_, parameter->valueType));
    std::vector<Expr*> stands;
    std::vector<TypeRef> types;
    for (const VarDecl* one : parameter->functionType->parameters) {
        types.push_back(resolveType(clone(arena_, one->typeSyntax), true).type);
        Expr* stand = errorAt(one->location);
        stand->type = types.back();
        if (stand->type->is(TypeKind::reference)) {
            stand->category = ValueCategory::lvalue;
            stand->space = stand->type->space;
            stand->isConst = stand->type->pointeeConst;
            stand->type = stand->type->element;
        }
        stands.push_back(stand);
    }
    while (scopes_.depth() > 0)
        scopes_.close();
    scopes_.resume(std::move(suspended));
    if (result->isError() || std::ranges::any_of(types, &Type::isError)) return nullptr;

    name->templateArguments = expandPacks(name->templateArguments);
    for (FunctionDecl* candidate : meaning.functions) {
        if (candidate->owner && !candidate->isStatic) continue;
        if (candidate->parameters.size() != types.size() || !limit_.step()) continue;
        if (!candidate->templateParameters.empty()) candidate = instantiate(candidate, name->templateArguments, stands);
        if (!candidate || candidate->isInvalid || candidate->returnType != result) continue;
        if (std::ranges::equal(candidate->parameters, types, {}, &VarDecl::type)) return argument.function = candidate;
    }
    return failed("no function '" + std::string(name->identifier->text) + "' takes and returns what parameter" +
                  wantedName + " says");
}

// Whether a pattern of a specialisation names this function.
bool Analyzer::namesFunction(TemplateArgument& pattern, const FunctionDecl* function) {
    Name* name = nameOf(pattern);
    if (!name) return false;
    const NameMeaning meaning = lookUp(*name, true);
    return meaning.kind == NameMeaning::Kind::functions &&
           std::ranges::find(meaning.functions, function) != meaning.functions.end();
}

} // namespace msl
