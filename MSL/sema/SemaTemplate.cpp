// Templates. A template is not looked into until it is used: an instance is a copy of the tree in which the parameters'
// names are bound to the arguments, resolved where the template stands.
#include "MSL/sema/Analyzer.h"

#include "MSL/ast/Clone.h"

#include <algorithm>
#include <limits>

namespace msl {

bool Analyzer::sameArguments(std::span<TemplateArgument> a, std::span<TemplateArgument> b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i].isPack != b[i].isPack || (a[i].isPack && !sameArguments(a[i].pack, b[i].pack))) return false;
        if (a[i].resolvedType != b[i].resolvedType || (!a[i].resolvedType && a[i].value != b[i].value)) return false;
    }
    return true;
}

Analyzer::Bindings Analyzer::makeBindings(std::span<TemplateParameterDecl*> parameters) {
    return {parameters, arena_.makeArray<TemplateArgument>(parameters.size()),
            std::vector<bool>(parameters.size(), false), std::vector<bool>(parameters.size(), false)};
}

bool Analyzer::bind(Bindings& bindings, std::size_t index, TypeRef type, std::int64_t value) {
    TemplateArgument& argument = bindings.arguments[index];
    if (bindings.isExplicit[index]) return true; // the argument is converted to it
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
    const bool hasPack = !bindings.parameters.empty() && bindings.parameters.back()->isPack;
    if (given.size() > bindings.parameters.size() && !hasPack) {
        if (report) error(at, "too many template arguments");
        return false;
    }
    for (std::size_t i = 0; i < given.size(); ++i) {
        const TemplateParameterDecl* parameter = bindings.parameters[i];
        if (parameter->isPack) { // takes the rest
            const std::span<TemplateArgument> pack = arena_.makeArray<TemplateArgument>(given.size() - i);
            for (std::size_t k = 0; k < pack.size(); ++k) {
                if (!limit_.step()) return false;
                if (parameter->isType) {
                    pack[k].resolvedType = templateArgumentType(given[i + k], report);
                    if (!pack[k].resolvedType || pack[k].resolvedType->isError()) return false;
                } else {
                    const std::optional<std::int64_t> value = templateArgumentValue(given[i + k], at, report);
                    if (!value) return false;
                    pack[k].value = *value;
                }
            }
            bindings.arguments[i].isPack = true;
            bindings.arguments[i].pack = pack;
            bindings.isBound[i] = true;
            bindings.isExplicit[i] = true;
            return true;
        }
        if (parameter->isType) {
            const TypeRef type = templateArgumentType(given[i], report);
            if (!type || !bind(bindings, i, type, 0)) return false;
        } else {
            const std::optional<std::int64_t> value = templateArgumentValue(given[i], at, report);
            if (!value || !bind(bindings, i, nullptr, *value)) return false;
        }
        bindings.isExplicit[i] = true;
    }
    return true;
}

void Analyzer::pushBindings(std::span<TemplateParameterDecl*> parameters, std::span<TemplateArgument> given) {
    const auto makeDecl = [&](const TemplateParameterDecl* parameter, const TemplateArgument& argument) -> Decl* {
        if (parameter->isType) {
            TypeAliasDecl* alias = arena_.make<TypeAliasDecl>();
            alias->name = parameter->name;
            alias->location = parameter->location;
            alias->type = argument.resolvedType ? argument.resolvedType : types_.error();
            return alias;
        }
        VarDecl* value = arena_.make<VarDecl>();
        value->name = parameter->name;
        value->location = parameter->location;
        value->type = parameter->valueType ? resolveTypeOnly(clone(arena_, parameter->valueType)) : types_.int_();
        value->isConst = value->isConstexpr = true;
        value->hasConstantValue = true;
        value->constantValue = argument.value;
        return value;
    };
    for (std::size_t i = 0; i < parameters.size() && i < given.size(); ++i) {
        const TemplateParameterDecl* parameter = parameters[i];
        if (!parameter->name) continue;
        if (!given[i].isPack) {
            scopes_.add(parameter->name, makeDecl(parameter, given[i]));
            continue;
        }
        PackDecl* pack = arena_.make<PackDecl>();
        pack->name = parameter->name;
        pack->location = parameter->location;
        const std::span<Decl*> elements = arena_.makeArray<Decl*>(given[i].pack.size());
        for (std::size_t k = 0; k < elements.size() && limit_.step(); ++k)
            elements[k] = makeDecl(parameter, given[i].pack[k]);
        pack->elements = elements;
        scopes_.add(parameter->name, pack);
    }
}

bool Analyzer::completeBindings(Bindings& bindings, Decl* parent, SourceLocation at, bool report) {
    for (std::size_t i = 0; i < bindings.parameters.size(); ++i) {
        if (bindings.isBound[i]) continue;
        const TemplateParameterDecl* parameter = bindings.parameters[i];
        if (parameter->isPack) { // nothing is left for it
            bindings.arguments[i].isPack = true;
            bindings.isBound[i] = true;
            continue;
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
            if (parameter->valueType && resolveTypeOnly(clone(arena_, parameter->valueType))->isError())
                argument.expression = errorAt(at); // "typename enable_if<...>::type = 0" that is none
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
    return deduceList(parts, actual, bindings);
}

// The arguments of a template against those of an instance; the last pattern may be "T...".
bool Analyzer::deduceList(std::span<const TemplateArgument> patterns, std::span<const TemplateArgument> actual,
                          Bindings& bindings) {
    std::vector<TemplateArgument> flat;
    for (const TemplateArgument& argument : actual) {
        if (!argument.isPack)
            flat.push_back(argument);
        else
            flat.insert(flat.end(), argument.pack.begin(), argument.pack.end());
    }
    for (std::size_t i = 0; i < patterns.size(); ++i) {
        if (patterns[i].isExpansion) {
            std::vector<const Identifier*> names;
            if (patterns[i].typeSyntax) namesIn(arena_, patterns[i].typeSyntax, names);
            if (patterns[i].expression) namesIn(arena_, patterns[i].expression, names);
            for (std::size_t p = 0; p < bindings.parameters.size(); ++p)
                if (bindings.parameters[p]->isPack &&
                    std::ranges::find(names, bindings.parameters[p]->name) != names.end() && !bindings.isBound[p]) {
                    bindings.arguments[p].isPack = true;
                    bindings.arguments[p].pack =
                        arena_.copy(std::span<const TemplateArgument>(flat).subspan(std::min(i, flat.size())));
                    bindings.isBound[p] = true;
                }
            return true;
        }
        if (i >= flat.size()) return false;
        if (!limit_.step() || !deduceArgument(patterns[i], flat[i].resolvedType, flat[i].value, bindings)) return false;
    }
    return patterns.size() == flat.size();
}

bool Analyzer::matchPartial(std::span<TemplateParameterDecl*> parameters, std::span<TemplateArgument> patterns,
                            std::span<TemplateArgument> actual, Bindings& bindings) {
    bindings = makeBindings(parameters);
    if (!deduceList(patterns, actual, bindings)) return false;
    for (std::size_t i = 0; i < parameters.size(); ++i)
        if (!bindings.isBound[i]) return false;
    // What the patterns are with these bindings must be what was given: deduction passes over what is fixed in them.
    std::vector<TemplateArgument> wanted;
    for (const TemplateArgument& argument : patterns) {
        wanted.push_back(argument);
        wanted.back().typeSyntax = clone(arena_, argument.typeSyntax);
        wanted.back().expression = clone(arena_, argument.expression);
    }
    const auto before = diagnostics_.mark();
    Scopes::Suspended suspended = scopes_.suspend();
    enterContext(parameters.empty() ? nullptr : parameters[0]->parent);
    scopes_.open();
    pushBindings(parameters, bindings.arguments);
    const std::span<TemplateArgument> made = expandPacks(std::span<TemplateArgument>(wanted));
    std::vector<TemplateArgument> flat;
    for (const TemplateArgument& argument : actual) {
        if (!argument.isPack)
            flat.push_back(argument);
        else
            flat.insert(flat.end(), argument.pack.begin(), argument.pack.end());
    }
    bool fits = made.size() == flat.size();
    for (std::size_t i = 0; i < made.size() && fits; ++i) {
        if (flat[i].resolvedType) {
            fits = templateArgumentType(made[i], false) == flat[i].resolvedType;
        } else {
            const std::optional<std::int64_t> value = templateArgumentValue(made[i], SourceLocation{}, false);
            fits = value && *value == flat[i].value;
        }
    }
    fits = fits && diagnostics_.errorCount() == before.errors;
    while (scopes_.depth() > 0)
        scopes_.close();
    scopes_.resume(std::move(suspended));
    diagnostics_.rollBack(before);
    return fits;
}

// How much a specialisation's patterns leave open: the more is written out, the better it fits what it fits.
int Analyzer::specificity(std::span<TemplateParameterDecl*> parameters, std::span<TemplateArgument> patterns) const {
    const auto isOpen = [&](const Identifier* name) {
        return std::ranges::any_of(parameters, [&](const TemplateParameterDecl* one) { return one->name == name; });
    };
    int total = -static_cast<int>(parameters.size());
    const auto count = [&](auto&& self, std::span<const TemplateArgument> list) -> void {
        for (const TemplateArgument& argument : list) {
            if (argument.isExpansion) total -= 1;
            if (argument.typeSyntax) {
                const Name& name = argument.typeSyntax->name;
                total += 2 * static_cast<int>(argument.typeSyntax->modifiers.size());
                if (!isOpen(name.identifier)) total += 2;
                self(self, name.templateArguments);
            } else if (argument.expression) {
                const bool isName = argument.expression->kind == ExprKind::nameRef;
                if (!isName || !isOpen(static_cast<const NameRef*>(argument.expression)->name.identifier)) total += 2;
            }
        }
    };
    count(count, patterns);
    return total;
}

FunctionDecl* Analyzer::instantiate(FunctionDecl* pattern, std::span<TemplateArgument> explicitArguments,
                                    std::span<Expr*> given) {
    // What does not fit is no error: another function of the name may be meant.
    const auto before = diagnostics_.mark();
    const auto failed = [&] {
        diagnostics_.rollBack(before);
        return nullptr;
    };
    Bindings bindings = makeBindings(pattern->templateParameters);
    if (!bindExplicit(bindings, explicitArguments, pattern->location, false)) return failed();
    const bool takesPack = !pattern->parameters.empty() && pattern->parameters.back()->isPack;
    const std::size_t plainCount = pattern->parameters.size() - (takesPack ? 1 : 0);
    if (given.size() > plainCount && !takesPack) return nullptr;
    for (std::size_t i = 0; i < given.size() && i < plainCount; ++i) {
        if (given[i]->kind == ExprKind::initList) continue;
        if (!deduce(pattern->parameters[i]->typeSyntax, given[i]->type, bindings)) return failed();
    }
    if (takesPack &&
        !deducePack(pattern->parameters.back(), given.subspan(std::min(plainCount, given.size())), bindings))
        return failed();
    if (!completeBindings(bindings, pattern->parent, pattern->location, false)) return failed();
    FunctionDecl* instance = instanceWith(pattern, bindings.arguments);
    if (instance && instance->isInvalid && instance->instanceOf == pattern && !instance->isSpecialization)
        return nullptr;
    return instance;
}

// "Rest... rest" against the arguments that are left.
bool Analyzer::deducePack(const VarDecl* parameter, std::span<Expr*> given, Bindings& bindings) {
    std::vector<const Identifier*> names;
    namesIn(arena_, parameter->typeSyntax, names);
    for (std::size_t p = 0; p < bindings.parameters.size(); ++p) {
        TemplateParameterDecl* pack = bindings.parameters[p];
        if (!pack->isPack || std::ranges::find(names, pack->name) == names.end()) continue;
        if (bindings.isBound[p]) return bindings.arguments[p].pack.size() == given.size();
        const std::span<TemplateArgument> elements = arena_.makeArray<TemplateArgument>(given.size());
        for (std::size_t i = 0; i < given.size(); ++i) {
            if (!limit_.step() || given[i]->kind == ExprKind::initList) return false;
            TemplateParameterDecl* only[] = {pack};
            Bindings one = makeBindings(only);
            if (!deduce(parameter->typeSyntax, given[i]->type, one) || !one.isBound[0]) return false;
            elements[i] = one.arguments[0];
        }
        bindings.arguments[p].isPack = true;
        bindings.arguments[p].pack = elements;
        bindings.isBound[p] = true;
    }
    return true;
}

FunctionDecl* Analyzer::instanceWith(FunctionDecl* pattern, std::span<TemplateArgument> arguments) {
    for (FunctionDecl* special : functionSpecializations_[pattern])
        if (sameArguments(special->instanceArguments, arguments)) return special;
    for (FunctionDecl* instance : functionInstances_[pattern])
        if (sameArguments(instance->instanceArguments, arguments)) return instance;
    if (++instanceCount_ > maxInstances || instantiationDepth_ >= maxInstantiationDepth || !limit_.step()) {
        if (instanceCount_ == maxInstances + 1 || instantiationDepth_ >= maxInstantiationDepth)
            error(pattern->location, "recursive template instantiation exceeded maximum depth of " +
                                         std::to_string(maxInstantiationDepth));
        return nullptr;
    }
    FunctionDecl* instance = clone(arena_, *pattern);
    instance->templateParameters = {};
    instance->instanceOf = pattern;
    instance->instanceArguments = arguments;
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
    pushBindings(pattern->templateParameters, arguments);
    const auto before = diagnostics_.mark();
    expandParameters(instance, pattern->templateParameters, arguments);
    functionSignature(instance);
    if (diagnostics_.errorCount() != before.errors) {
        diagnostics_.rollBack(before);
        instance->isInvalid = true;
    }
    while (scopes_.depth() > 0)
        scopes_.close();
    depth_ = outerDepth;
    context_ = outerContext;
    scopes_.resume(std::move(suspended));
    --instantiationDepth_;
    return instance;
}

TypeRef Analyzer::instantiateStructure(StructDecl* pattern, Name& name) {
    name.templateArguments = expandPacks(name.templateArguments);
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
    StructDecl* chosen = pattern;
    Bindings partial;
    int most = 0;
    bool isAmbiguous = false;
    if (const auto known = partialSpecializations_.find(pattern); known != partialSpecializations_.end())
        for (StructDecl* special : std::vector<StructDecl*>(known->second)) {
            Bindings found;
            if (!limit_.step() ||
                !matchPartial(special->templateParameters, special->specializationArguments, bindings.arguments, found))
                continue;
            const int specific = specificity(special->templateParameters, special->specializationArguments);
            isAmbiguous = chosen != pattern && specific == most;
            if (chosen != pattern && specific <= most) continue;
            chosen = special;
            most = specific;
            partial = found;
        }
    if (isAmbiguous) {
        error(name.location, "ambiguous partial specializations of '" + std::string(pattern->name->text) + "'");
        return types_.error();
    }
    StructDecl* instance = clone(arena_, *chosen);
    instance->isSpecialization = false;
    instance->instanceOf = pattern;
    instance->instanceArguments = bindings.arguments;
    instance->patternParameters = chosen == pattern ? pattern->templateParameters : chosen->templateParameters;
    instance->patternArguments = chosen == pattern ? bindings.arguments : partial.arguments;
    instance->templateParameters = {};
    instance->parent = pattern->parent;
    instance->definition = instance;
    giveType(instance);
    structInstances_[pattern].push_back(instance);
    if (!chosen->isDefinition) return instance->type;
    ++instantiationDepth_;
    Scopes::Suspended suspended = scopes_.suspend();
    const unsigned outerDepth = std::exchange(depth_, 0U);
    Decl* const outerParent = std::exchange(currentParent_, pattern->parent);
    enterContext(pattern->parent);
    scopes_.open();
    pushBindings(instance->patternParameters, instance->patternArguments);
    completeStructure(instance);
    while (scopes_.depth() > 0)
        scopes_.close();
    currentParent_ = outerParent;
    depth_ = outerDepth;
    scopes_.resume(std::move(suspended));
    --instantiationDepth_;
    return instance->type;
}

VarDecl* Analyzer::instantiateVariable(VarDecl* pattern, Name& name) {
    name.templateArguments = expandPacks(name.templateArguments);
    Bindings bindings = makeBindings(pattern->variableTemplate->parameters);
    if (!bindExplicit(bindings, name.templateArguments, name.location, true) ||
        !completeBindings(bindings, pattern->parent, name.location, true))
        return nullptr;
    for (const auto& [arguments, instance] : variableInstances_[pattern])
        if (sameArguments(arguments, bindings.arguments)) return instance;
    if (++instanceCount_ > maxInstances || instantiationDepth_ >= maxInstantiationDepth || !limit_.step()) {
        error(name.location,
              "recursive template instantiation exceeded maximum depth of " + std::to_string(maxInstantiationDepth));
        return nullptr;
    }
    VarDecl* chosen = pattern;
    Bindings best = bindings;
    int most = 0;
    for (VarDecl* special : std::vector<VarDecl*>(variableSpecializations_[pattern])) {
        Bindings found;
        const VariableTemplate& head = *special->variableTemplate;
        if (!matchPartial(head.parameters, head.specializationArguments, bindings.arguments, found)) continue;
        const int specific = specificity(head.parameters, head.specializationArguments);
        if (chosen != pattern && specific <= most) continue;
        chosen = special;
        most = specific;
        best = found;
    }
    VarDecl* instance = clone(arena_, *chosen);
    instance->variableTemplate = nullptr;
    instance->varKind = VarKind::global;
    variableInstances_[pattern].emplace_back(bindings.arguments, instance);
    ++instantiationDepth_;
    Scopes::Suspended suspended = scopes_.suspend();
    const FunctionContext outerContext = std::exchange(context_, {});
    enterContext(pattern->parent);
    scopes_.open();
    pushBindings(chosen->variableTemplate->parameters, best.arguments);
    scopes_.open();
    DeclaredType declared = resolveType(instance->typeSyntax);
    if (instance->isConstexpr && !declared.hasSpace) { // as a static member, it lies in constant space unsaid
        declared.hasSpace = true;
        declared.space = AddressSpace::constant;
    }
    finishVariable(instance, declared);
    while (scopes_.depth() > 0)
        scopes_.close();
    context_ = outerContext;
    scopes_.resume(std::move(suspended));
    --instantiationDepth_;
    return instance;
}

// "template struct S<int>;" checks the instance; "template [[host_name("f")]] kernel void f<int>(...);" makes an entry
// point of it.
void Analyzer::explicitInstantiation(InstantiationDecl* decl) {
    if (decl->type) {
        resolveTypeOnly(decl->type);
        return;
    }
    FunctionDecl* declared = decl->function;
    if (!declared || !declared->name || declared->isInvalid) return;
    if (decl->isByName) {
        resolveTypeOnly(declared->returnTypeSyntax);
        if (declared->name->scope != nullptr && declared->name->scope->decl->kind == DeclKind::variable) return;
    } else {
        functionSignature(declared);
    }
    std::vector<Expr*> arguments;
    for (const VarDecl* parameter : declared->parameters) {
        if (!parameter->type || parameter->type->isError()) return;
        Expr* stand = errorAt(parameter->location);
        stand->type = parameter->type;
        if (stand->type->is(TypeKind::reference)) {
            stand->category = ValueCategory::lvalue;
            stand->space = stand->type->space;
            stand->isConst = stand->type->pointeeConst;
            stand->type = stand->type->element;
        }
        arguments.push_back(stand);
    }
    FunctionDecl* instance = nullptr;
    if (declared->scope) return; // of a member: made when it is called
    for (ScopeEntry* entry = declared->name->scope; entry && !instance; entry = entry->hidden) {
        if (entry->decl->kind != DeclKind::function) continue;
        auto* pattern = static_cast<FunctionDecl*>(entry->decl);
        if (pattern->templateParameters.empty() || (!decl->isByName && pattern->parameters.size() != arguments.size()))
            continue;
        instance = instantiate(pattern, declared->specializationArguments, arguments);
        for (std::size_t i = 0; instance && i < arguments.size(); ++i)
            if (instance->parameters[i]->type != declared->parameters[i]->type) instance = nullptr;
    }
    if (!instance) {
        error(declared->location, "explicit instantiation of '" + std::string(declared->name->text) +
                                      "' does not refer to a function template");
        return;
    }
    if (instance->stage != EntryStage::none && !instance->isEntry) {
        instance->isEntry = true;
        if (!declared->attributes.empty()) {
            std::vector<Attribute> all(instance->attributes.begin(), instance->attributes.end());
            all.insert(all.end(), declared->attributes.begin(), declared->attributes.end());
            instance->attributes = arena_.copy(all);
        }
        const unsigned before = diagnostics_.errorCount();
        for (VarDecl* parameter : instance->parameters)
            checkAttributes(parameter);
        entryPoint(instance);
        resolveBodyNow(instance);
        if (!instance->isInvalid && diagnostics_.errorCount() == before) entryPoints_.push_back(instance);
        return;
    }
    if (instance->body && !instance->isResolved) pendingBodies_.push_back(instance);
}

TypeRef Analyzer::instantiateAlias(TypeAliasDecl* pattern, Name& name) {
    name.templateArguments = expandPacks(name.templateArguments);
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

} // namespace msl
