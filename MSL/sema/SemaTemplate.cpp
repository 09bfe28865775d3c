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
        if (a[i].function != b[i].function) return false;
        if (a[i].resolvedType != b[i].resolvedType || (!a[i].resolvedType && a[i].value != b[i].value)) return false;
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
        if (argument.function) return argument.function;
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

FunctionDecl* Analyzer::instantiate(FunctionDecl* pattern, std::span<TemplateArgument> explicitArguments,
                                    std::span<Expr*> given) {
    // What does not fit is no error: another function of the name may be meant.
    const auto before = diagnostics_.mark();
    const auto failed = [&] {
        diagnostics_.rollBack(before);
        return nullptr;
    };
    Bindings bindings = makeBindings(pattern->templateParameters);
    if (!bindExplicit(bindings, explicitArguments, pattern->parent, pattern->location, false)) return failed();
    const bool takesPack = !pattern->parameters.empty() && pattern->parameters.back()->isPack;
    const std::size_t plainCount = pattern->parameters.size() - (takesPack ? 1 : 0);
    if (given.size() > plainCount && !takesPack) return nullptr;
    for (std::size_t i = 0; i < given.size() && i < plainCount; ++i) {
        if (given[i]->kind == ExprKind::initList) {
            if (!deduceFromList(pattern->parameters[i]->typeSyntax, static_cast<InitList*>(given[i]), bindings))
                return failed();
            continue;
        }
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
    if (!bindExplicit(bindings, name.templateArguments, pattern->parent, name.location, true) ||
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
    if (!bindExplicit(bindings, name.templateArguments, pattern->parent, name.location, true) ||
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
    if (!bindExplicit(bindings, name.templateArguments, pattern->parent, name.location, true) ||
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
