// Templates. A template is not looked into until it is used: an instance is a copy of the tree in which the parameters'
// names are bound to the arguments, resolved where the template stands.
#include "MSL/sema/Analyzer.h"

#include "MSL/ast/Clone.h"

#include <algorithm>
#include <limits>

namespace msl {

bool Analyzer::sameArguments(std::span<TemplateArgument> a, std::span<TemplateArgument> b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i].resolvedType != b[i].resolvedType || (!a[i].resolvedType && a[i].value != b[i].value)) return false;
    return true;
}

Analyzer::Bindings Analyzer::makeBindings(std::span<TemplateParameterDecl*> parameters) {
    return {parameters, arena_.makeArray<TemplateArgument>(parameters.size()),
            std::vector<bool>(parameters.size(), false)};
}

bool Analyzer::bind(Bindings& bindings, std::size_t index, TypeRef type, std::int64_t value) {
    TemplateArgument& argument = bindings.arguments[index];
    if (bindings.isBound[index])
        return bindings.parameters[index]->isType ? argument.resolvedType == type : argument.value == value;
    if (bindings.parameters[index]->isType) {
        if (!type || type->isError()) return false;
        argument.resolvedType = type;
    } else {
        argument.value = value;
    }
    bindings.isBound[index] = true;
    return true;
}

bool Analyzer::bindExplicit(Bindings& bindings, std::span<TemplateArgument> given, SourceLocation at, bool report) {
    if (given.size() > bindings.parameters.size()) {
        if (report) error(at, "too many template arguments");
        return false;
    }
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (bindings.parameters[i]->isType) {
            const TypeRef type = templateArgumentType(given[i], report);
            if (!type || !bind(bindings, i, type, 0)) return false;
        } else {
            const std::optional<std::int64_t> value = templateArgumentValue(given[i], at, report);
            if (!value || !bind(bindings, i, nullptr, *value)) return false;
        }
    }
    return true;
}

void Analyzer::pushBindings(std::span<TemplateParameterDecl*> parameters, std::span<TemplateArgument> given) {
    for (std::size_t i = 0; i < parameters.size() && i < given.size(); ++i) {
        const TemplateParameterDecl* parameter = parameters[i];
        if (!parameter->name) continue;
        if (parameter->isType) {
            TypeAliasDecl* alias = arena_.make<TypeAliasDecl>();
            alias->name = parameter->name;
            alias->location = parameter->location;
            alias->type = given[i].resolvedType ? given[i].resolvedType : types_.error();
            scopes_.add(parameter->name, alias);
            continue;
        }
        VarDecl* value = arena_.make<VarDecl>();
        value->name = parameter->name;
        value->location = parameter->location;
        value->type = parameter->valueType ? resolveTypeOnly(parameter->valueType) : types_.int_();
        value->isConst = value->isConstexpr = true;
        value->hasConstantValue = true;
        value->constantValue = given[i].value;
        scopes_.add(parameter->name, value);
    }
}

bool Analyzer::completeBindings(Bindings& bindings, Decl* parent, SourceLocation at, bool report) {
    for (std::size_t i = 0; i < bindings.parameters.size(); ++i) {
        if (bindings.isBound[i]) continue;
        const TemplateParameterDecl* parameter = bindings.parameters[i];
        if (parameter->isPack) {
            unsupported(parameter->location, "a template parameter pack");
            return false;
        }
        if (!parameter->defaultType && !parameter->defaultValue) {
            if (report)
                error(at, "too few template arguments: '" +
                              std::string(parameter->name ? parameter->name->text : std::string_view("parameter")) +
                              "' is missing");
            return false;
        }
        Scopes::Suspended suspended = scopes_.suspend();
        enterContext(parent);
        scopes_.open();
        pushBindings(bindings.parameters.first(i), bindings.arguments.first(i));
        bool bound = false;
        if (parameter->isType) {
            bound = bind(bindings, i, resolveTypeOnly(clone(arena_, parameter->defaultType)), 0);
        } else {
            TemplateArgument argument;
            argument.expression = clone(arena_, parameter->defaultValue);
            const std::optional<std::int64_t> value = templateArgumentValue(argument, at, report);
            bound = value && bind(bindings, i, nullptr, *value);
        }
        while (scopes_.depth() > 0)
            scopes_.close();
        scopes_.resume(std::move(suspended));
        if (!bound) return false;
    }
    return true;
}

bool Analyzer::deduceArgument(const TemplateArgument& pattern, TypeRef type, std::int64_t value, Bindings& bindings) {
    if (type && pattern.typeSyntax) return deduce(pattern.typeSyntax, type, bindings);
    const Identifier* name = nullptr;
    if (pattern.expression && pattern.expression->kind == ExprKind::nameRef)
        name = static_cast<const NameRef*>(pattern.expression)->name.identifier;
    else if (pattern.typeSyntax && pattern.typeSyntax->modifiers.empty())
        name = pattern.typeSyntax->name.identifier;
    for (std::size_t i = 0; name && i < bindings.parameters.size(); ++i)
        if (bindings.parameters[i]->name == name)
            return bindings.parameters[i]->isType ? (type && bind(bindings, i, type, 0))
                                                  : (!type && bind(bindings, i, nullptr, value));
    return true; // fixed: checked when the argument is converted
}

bool Analyzer::deduce(const TypeSyntax* pattern, TypeRef from, Bindings& bindings) {
    if (!pattern || !from || from->isError()) return false;
    for (std::size_t i = pattern->modifiers.size(); i > 0; --i) {
        const TypeModifier& modifier = pattern->modifiers[i - 1];
        switch (modifier.kind) {
        case TypeModifier::Kind::reference:
        case TypeModifier::Kind::rvalueReference:
            if (from->is(TypeKind::reference)) from = from->element;
            break;
        case TypeModifier::Kind::pointer:
            if (!from->is(TypeKind::pointer) && !from->is(TypeKind::array))
                return true; // nothing to learn; the conversion will tell
            from = from->element;
            break;
        case TypeModifier::Kind::array:
            if (from->is(TypeKind::array)) {
                if (modifier.arraySize) {
                    TemplateArgument size;
                    size.expression = modifier.arraySize;
                    if (!deduceArgument(size, nullptr, static_cast<std::int64_t>(from->count), bindings)) return false;
                }
            } else if (!from->is(TypeKind::pointer)) {
                return true;
            }
            from = from->element;
            break;
        }
    }
    const Name& name = pattern->name;
    if (!name.identifier || !name.qualifiers.empty() || name.qualifierType) return true;
    if (!name.hasTemplateArguments) {
        for (std::size_t i = 0; i < bindings.parameters.size(); ++i)
            if (bindings.parameters[i]->name == name.identifier && bindings.parameters[i]->isType)
                return bind(bindings, i, from, 0);
        return true;
    }
    const std::span<const TemplateArgument> parts = name.templateArguments;
    const std::string_view text = name.identifier->text;
    const auto part = [&](std::size_t i, TypeRef type, std::int64_t value) {
        return i >= parts.size() || deduceArgument(parts[i], type, value, bindings);
    };
    if (!name.identifier->scope) {
        if ((text == "vec" && from->isVector()) || (text == "packed_vec" && from->is(TypeKind::packedVector)))
            return part(0, types_.scalar(from->scalar), 0) && part(1, nullptr, from->columns);
        if (text == "matrix" && from->isMatrix())
            return part(0, types_.scalar(from->scalar), 0) && part(1, nullptr, from->columns) &&
                   part(2, nullptr, from->rows);
        if (text == "array" && from->is(TypeKind::array))
            return part(0, from->element, 0) && part(1, nullptr, static_cast<std::int64_t>(from->count));
        if (text == "atomic" && from->is(TypeKind::atomic)) return part(0, types_.scalar(from->scalar), 0);
        if ((text.starts_with("texture") || text.starts_with("depth")) && from->is(TypeKind::texture))
            return part(0, types_.scalar(from->scalar), 0) &&
                   part(1, nullptr, static_cast<std::int64_t>(from->textureAccess));
        return false;
    }
    if (!from->is(TypeKind::struct_) || !from->structDecl->instanceOf || from->structDecl->name != name.identifier)
        return false;
    const std::span<TemplateArgument> actual = from->structDecl->instanceArguments;
    for (std::size_t i = 0; i < actual.size(); ++i)
        if (!part(i, actual[i].resolvedType, actual[i].value)) return false;
    return true;
}

FunctionDecl* Analyzer::instantiate(FunctionDecl* pattern, std::span<TemplateArgument> explicitArguments,
                                    std::span<Expr*> given) {
    Bindings bindings = makeBindings(pattern->templateParameters);
    if (!bindExplicit(bindings, explicitArguments, pattern->location, false)) return nullptr;
    if (given.size() > pattern->parameters.size()) return nullptr;
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (given[i]->kind == ExprKind::initList) continue;
        if (!deduce(pattern->parameters[i]->typeSyntax, given[i]->type, bindings)) return nullptr;
    }
    if (!completeBindings(bindings, pattern->parent, pattern->location, false)) return nullptr;
    for (FunctionDecl* special : functionSpecializations_[pattern])
        if (sameArguments(special->instanceArguments, bindings.arguments)) return special;
    for (FunctionDecl* instance : functionInstances_[pattern])
        if (sameArguments(instance->instanceArguments, bindings.arguments)) return instance;
    if (++instanceCount_ > maxInstances || instantiationDepth_ >= maxInstantiationDepth || !limit_.step()) {
        if (instanceCount_ == maxInstances + 1 || instantiationDepth_ >= maxInstantiationDepth)
            error(pattern->location, "recursive template instantiation exceeded maximum depth of " +
                                         std::to_string(maxInstantiationDepth));
        return nullptr;
    }
    FunctionDecl* instance = clone(arena_, *pattern);
    instance->templateParameters = {};
    instance->instanceOf = pattern;
    instance->instanceArguments = bindings.arguments;
    instance->parent = pattern->parent;
    instance->owner = pattern->owner;
    instance->definition = instance->body ? instance : nullptr;
    functionInstances_[pattern].push_back(instance);
    ++instantiationDepth_;
    Scopes::Suspended suspended = scopes_.suspend();
    const FunctionContext outerContext = std::exchange(context_, {});
    const unsigned outerDepth = std::exchange(depth_, 0U);
    enterContext(pattern->parent);
    scopes_.open();
    pushBindings(pattern->templateParameters, bindings.arguments);
    const unsigned before = diagnostics_.errorCount();
    functionSignature(instance);
    if (diagnostics_.errorCount() != before) instance->isInvalid = true;
    while (scopes_.depth() > 0)
        scopes_.close();
    depth_ = outerDepth;
    context_ = outerContext;
    scopes_.resume(std::move(suspended));
    --instantiationDepth_;
    return instance;
}

TypeRef Analyzer::instantiateStructure(StructDecl* pattern, Name& name) {
    Bindings bindings = makeBindings(pattern->templateParameters);
    if (!bindExplicit(bindings, name.templateArguments, name.location, true) ||
        !completeBindings(bindings, pattern->parent, name.location, true))
        return types_.error();
    for (StructDecl* special : structSpecializations_[pattern])
        if (sameArguments(special->instanceArguments, bindings.arguments)) return special->type;
    for (StructDecl* instance : structInstances_[pattern])
        if (sameArguments(instance->instanceArguments, bindings.arguments)) return instance->type;
    if (++instanceCount_ > maxInstances || instantiationDepth_ >= maxInstantiationDepth || !limit_.step()) {
        error(name.location,
              "recursive template instantiation exceeded maximum depth of " + std::to_string(maxInstantiationDepth));
        return types_.error();
    }
    StructDecl* instance = clone(arena_, *pattern);
    instance->templateParameters = {};
    instance->instanceOf = pattern;
    instance->instanceArguments = bindings.arguments;
    instance->parent = pattern->parent;
    instance->definition = instance;
    instance->type = types_.struct_(instance);
    structInstances_[pattern].push_back(instance);
    if (!pattern->isDefinition) return instance->type;
    ++instantiationDepth_;
    Scopes::Suspended suspended = scopes_.suspend();
    const unsigned outerDepth = std::exchange(depth_, 0U);
    Decl* const outerParent = std::exchange(currentParent_, pattern->parent);
    enterContext(pattern->parent);
    scopes_.open();
    pushBindings(pattern->templateParameters, bindings.arguments);
    completeStructure(instance);
    while (scopes_.depth() > 0)
        scopes_.close();
    currentParent_ = outerParent;
    depth_ = outerDepth;
    scopes_.resume(std::move(suspended));
    --instantiationDepth_;
    return instance->type;
}

TypeRef Analyzer::instantiateAlias(TypeAliasDecl* pattern, Name& name) {
    Bindings bindings = makeBindings(pattern->templateParameters);
    if (!bindExplicit(bindings, name.templateArguments, name.location, true) ||
        !completeBindings(bindings, pattern->parent, name.location, true))
        return types_.error();
    if (instantiationDepth_ >= maxInstantiationDepth || !limit_.step()) return types_.error();
    ++instantiationDepth_;
    Scopes::Suspended suspended = scopes_.suspend();
    enterContext(pattern->parent);
    scopes_.open();
    pushBindings(pattern->templateParameters, bindings.arguments);
    const TypeRef type = resolveTypeOnly(clone(arena_, pattern->aliased));
    while (scopes_.depth() > 0)
        scopes_.close();
    scopes_.resume(std::move(suspended));
    --instantiationDepth_;
    return type;
}

Expr* Analyzer::numericLimit(const Name& name, TypeRef type) {
    const std::string_view what = name.identifier->text;
    if (!type || !type->isScalar()) {
        if (type && !type->isError())
            error(name.location, "numeric_limits is defined for scalar types only, not for '" + typeName(type) + "'");
        return errorAt(name.location);
    }
    if (isFloating(type->scalar)) {
        const bool isHalf = type->scalar == ScalarKind::half;
        std::optional<double> value;
        if (what == "max")
            value = isHalf ? 65504.0 : static_cast<double>(std::numeric_limits<float>::max());
        else if (what == "lowest")
            value = isHalf ? -65504.0 : static_cast<double>(std::numeric_limits<float>::lowest());
        else if (what == "min")
            value = isHalf ? 0x1p-14 : static_cast<double>(std::numeric_limits<float>::min());
        else if (what == "epsilon")
            value = isHalf ? 0x1p-10 : static_cast<double>(std::numeric_limits<float>::epsilon());
        else if (what == "denorm_min")
            value = isHalf ? 0x1p-24 : static_cast<double>(std::numeric_limits<float>::denorm_min());
        else if (what == "infinity")
            value = std::numeric_limits<double>::infinity();
        else if (what == "quiet_NaN" || what == "signaling_NaN")
            value = std::numeric_limits<double>::quiet_NaN();
        if (value) {
            FloatLiteral* literal = arena_.make<FloatLiteral>();
            literal->location = literal->begin = name.location;
            literal->value = *value;
            literal->isHalf = isHalf;
            literal->type = type;
            return literal;
        }
    } else {
        const unsigned bits = type->isBool() ? 1 : byteSize(type->scalar) * 8;
        const bool hasSign = isSigned(type->scalar);
        if (what == "max")
            return makeInteger(static_cast<std::int64_t>(~std::uint64_t{0} >> (64 - bits + (hasSign ? 1 : 0))), type,
                               name.location);
        if (what == "min" || what == "lowest")
            return makeInteger(hasSign ? -(std::int64_t{1} << (bits - 2)) * 2 : 0, type, name.location);
    }
    error(name.location, "no member named '" + std::string(what) + "' in 'numeric_limits<" + typeName(type) + ">'");
    return errorAt(name.location);
}

} // namespace msl
