// Declarations: the order of things, redefinitions, names for types, enumerations, namespaces.
#include "MSL/sema/ConstRun.h"
#include "MSL/sema/LambdaScope.h"

#include "MSL/sema/Sema.h"

#include <algorithm>

namespace msl {

void analyze(TranslationUnit& unit, TypeTable& types, IdentifierTable& identifiers, Arena& arena,
             Diagnostics& diagnostics, WorkLimit& limit) {
    Analyzer(unit, types, identifiers, arena, diagnostics, limit).run();
}

Analyzer::Analyzer(TranslationUnit& unit, TypeTable& types, IdentifierTable& identifiers, Arena& arena,
                   Diagnostics& diagnostics, WorkLimit& limit)
    : unit_(unit), types_(types), identifiers_(identifiers), arena_(arena), diagnostics_(diagnostics), limit_(limit),
      scopes_(arena), constants_(std::make_unique<ConstantState>()) {}

void Analyzer::run() {
    declarations(unit_.declarations);
    if (!diagnostics_.hasErrors())
        for (Decl* decl : unit_.declarations)
            if (decl->kind == DeclKind::function) {
                auto* function = static_cast<FunctionDecl*>(decl);
                if (function->isReferenced && !function->definition && !function->body &&
                    function->templateParameters.empty() && !function->isInvalid)
                    error(function->location,
                          "function '" + std::string(function->name->text) + "' is called but never defined");
            }
    if (limit_.exceeded() && !diagnostics_.hasErrors())
        error(limit_.place(), "this text takes too long to compile");
    unit_.entryPoints = arena_.copy(entryPoints_);
    unit_.structs = arena_.copy(structs_);
}

void Analyzer::declarations(std::span<Decl*> decls) {
    for (Decl* decl : decls) {
        if (diagnostics_.isFull() || !limit_.step()) return;
        declaration(decl);
        // Bodies of members and of template instances wait until what they stand in is complete.
        if (!context_.function && !currentStruct_)
            while (!pendingBodies_.empty()) {
                FunctionDecl* pending = pendingBodies_.back();
                pendingBodies_.pop_back();
                resolveBodyNow(pending);
                if (diagnostics_.isFull() || !limit_.step()) return;
            }
    }
}

void Analyzer::declaration(Decl* decl) {
    decl->parent = currentParent_;
    const DepthGuard guard(depth_);
    if (tooDeep(decl->location)) return;
    limit_.reach(decl->location);
    switch (decl->kind) {
    case DeclKind::variable: variable(static_cast<VarDecl*>(decl)); break;
    case DeclKind::function: functionDeclaration(static_cast<FunctionDecl*>(decl)); break;
    case DeclKind::struct_: structure(static_cast<StructDecl*>(decl)); break;
    case DeclKind::enum_: enumeration(static_cast<EnumDecl*>(decl)); break;
    case DeclKind::typeAlias: typeAlias(static_cast<TypeAliasDecl*>(decl)); break;
    case DeclKind::namespace_: namespaceBlock(static_cast<NamespaceDecl*>(decl)); break;
    case DeclKind::using_: usingDeclaration(static_cast<UsingDecl*>(decl)); break;
    case DeclKind::usingNamespace: usingDirective(static_cast<UsingNamespaceDecl*>(decl)); break;
    case DeclKind::namespaceAlias: namespaceAlias(static_cast<NamespaceAliasDecl*>(decl)); break;
    case DeclKind::instantiation: explicitInstantiation(static_cast<InstantiationDecl*>(decl)); break;
    case DeclKind::staticAssert: staticAssertion(static_cast<StaticAssertDecl*>(decl)); break;
    case DeclKind::enumerator:
    case DeclKind::templateParameter:
    case DeclKind::pack:
    case DeclKind::empty: break;
    }
}

// ----------------------------------------------------------------------------------------------------------- names

bool Analyzer::sameSignature(const FunctionDecl* a, const FunctionDecl* b) const {
    if (a->parameters.size() != b->parameters.size() || a->templateParameters.size() != b->templateParameters.size() ||
        a->isConstMember != b->isConstMember || a->thisSpace != b->thisSpace)
        return false;
    if (!a->templateParameters.empty()) return false; // told apart when they are called
    if (a->isConversion && a->returnType != b->returnType) return false;
    for (std::size_t i = 0; i < a->parameters.size(); ++i)
        if (a->parameters[i]->type != b->parameters[i]->type) return false;
    return true;
}

bool Analyzer::declare(Decl* decl) {
    const Identifier* name = decl->name;
    if (!name) return true;
    const auto redefinition = [&](const Decl* previous, std::string_view suffix = "") {
        if (decl->isInvalid) return false;
        error(decl->location, "redefinition of '" + std::string(name->text) + "'" + std::string(suffix));
        if (previous->location) note(previous->location, "previous definition is here");
        decl->isInvalid = true;
        return false;
    };
    for (ScopeEntry* entry = scopes_.findInInnermost(name); entry && entry->depth == scopes_.depth();
         entry = entry->hidden) {
        if (!limit_.step()) return false;
        Decl* previous = entry->decl;
        if (previous == decl) return true;
        if (!previous->location) continue; // the library's
        if (previous->kind == DeclKind::function && decl->kind == DeclKind::function) {
            auto* before = static_cast<FunctionDecl*>(previous);
            auto* now = static_cast<FunctionDecl*>(decl);
            if (!sameSignature(before, now)) continue;
            if (before->returnType != now->returnType && before->returnType && now->returnType) {
                error(now->location, "functions that differ only in their return type cannot be overloaded");
                note(before->location, before->body ? "previous definition is here" : "previous declaration is here");
                return false;
            }
            if (now->body && before->definition) return redefinition(before->definition);
            for (std::size_t i = 0; i < now->parameters.size(); ++i)
                if (!now->parameters[i]->initializer)
                    now->parameters[i]->initializer = before->parameters[i]->initializer;
                else if (!before->parameters[i]->initializer)
                    before->parameters[i]->initializer = now->parameters[i]->initializer;
            if (now->body) {
                before->definition = now;
                now->definition = now;
                now->isReferenced = now->isReferenced || before->isReferenced;
                entry->decl = now;
            } else {
                now->definition = before->definition;
            }
            return true;
        }
        if (previous->kind == DeclKind::typeAlias && decl->kind == DeclKind::typeAlias) {
            const auto* now = static_cast<TypeAliasDecl*>(decl);
            if (static_cast<TypeAliasDecl*>(previous)->type == now->type && now->templateParameters.empty())
                return true;
            error(decl->location, "typedef redefinition with different types ('" + typeName(now->type) + "' vs '" +
                                      typeName(static_cast<TypeAliasDecl*>(previous)->type) + "')");
            note(previous->location, "previous definition is here");
            return false;
        }
        if (decl->kind == DeclKind::typeAlias && previous->kind == DeclKind::enum_ &&
            static_cast<TypeAliasDecl*>(decl)->type == static_cast<EnumDecl*>(previous)->type)
            return true; // "typedef enum E { ... } E;"
        if (previous->kind == DeclKind::namespace_ && decl->kind == DeclKind::namespace_) return true;
        if (previous->kind == DeclKind::struct_ || decl->kind == DeclKind::struct_) {
            if (previous->kind != decl->kind) continue; // "struct stat" and "stat" may live together
        }
        return redefinition(previous, previous->kind == decl->kind ? "" : " as different kind of symbol");
    }
    if (decl->kind == DeclKind::function) {
        auto* function = static_cast<FunctionDecl*>(decl);
        if (function->body) function->definition = function;
    }
    scopes_.add(name, decl);
    if (currentParent_ && currentParent_->kind == DeclKind::namespace_ && !context_.function)
        namespaceOf(static_cast<NamespaceDecl*>(currentParent_))->members.push_back(decl);
    return true;
}

NamespaceInfo* Analyzer::namespaceOf(NamespaceDecl* block) {
    return namespaces_[block];
}

void Analyzer::enterContext(Decl* context) {
    if (!context) return;
    enterContext(context->parent);
    if (context->kind == DeclKind::namespace_) {
        scopes_.open();
        for (Decl* member : namespaceOf(static_cast<NamespaceDecl*>(context))->members)
            if (member->name && limit_.step()) scopes_.add(member->name, member);
    } else if (context->kind == DeclKind::struct_) {
        enterStructure(static_cast<StructDecl*>(context));
    }
}

void Analyzer::namespaceBlock(NamespaceDecl* block) {
    NamespaceInfo* info = nullptr;
    if (block->name)
        if (ScopeEntry* entry = scopes_.findInInnermost(block->name);
            entry && entry->decl->kind == DeclKind::namespace_)
            info = namespaceOf(static_cast<NamespaceDecl*>(entry->decl));
    if (!info) {
        ownedNamespaces_.push_back(std::make_unique<NamespaceInfo>(NamespaceInfo{block, {}}));
        info = ownedNamespaces_.back().get();
        namespaces_[block] = info;
        declare(block);
    }
    namespaces_[block] = info;
    Decl* const outerParent = std::exchange(currentParent_, info->first);
    const bool outerMetal = metalIsVisible_;
    scopes_.open();
    const std::vector<Decl*> earlier = info->members;
    for (Decl* member : earlier)
        if (member->name && limit_.step()) scopes_.add(member->name, member);
    for (Decl* member : block->members) {
        if (diagnostics_.isFull() || !limit_.step()) break;
        declaration(member);
    }
    scopes_.close();
    currentParent_ = outerParent;
    metalIsVisible_ = outerMetal;
    if (!block->name || block->isInline) // without a name its members belong to what is around it
        for (Decl* member : info->members)
            if (member->name) {
                scopes_.add(member->name, member);
                if (currentParent_ && currentParent_->kind == DeclKind::namespace_)
                    namespaceOf(static_cast<NamespaceDecl*>(currentParent_))->members.push_back(member);
            }
}

void Analyzer::namespaceAlias(NamespaceAliasDecl* decl) {
    Name name = decl->target;
    if (!name.identifier) return;
    const bool isMetal = name.identifier->text == "metal" && name.qualifiers.empty() && !name.identifier->scope;
    if (isMetal) {
        unsupported(decl->location, "another name for the namespace 'metal'");
        return;
    }
    Decl* found = nullptr;
    if (name.qualifiers.empty() && !name.isGlobal) {
        for (ScopeEntry* entry = name.identifier->scope; entry && !found; entry = entry->hidden)
            if (entry->decl->kind == DeclKind::namespace_) found = entry->decl;
    } else {
        const NameMeaning meaning = lookUpQualified(name);
        if (meaning.kind == NameMeaning::Kind::failed) return;
        if (meaning.kind == NameMeaning::Kind::declaration && meaning.decl->kind == DeclKind::namespace_)
            found = meaning.decl;
    }
    if (!found) {
        error(name.location, "expected namespace name");
        return;
    }
    for (const ScopeEntry* entry = scopes_.findInInnermost(decl->name); entry && entry->depth == scopes_.depth();
         entry = entry->hidden) {
        if (entry->decl == found) return;
        error(decl->location, "redefinition of '" + std::string(decl->name->text) + "' as different kind of symbol");
        if (entry->decl->location) note(entry->decl->location, "previous definition is here");
        return;
    }
    scopes_.add(decl->name, found);
}

void Analyzer::usingDirective(UsingNamespaceDecl* decl) {
    const Name& target = decl->target;
    if (!target.identifier) return;
    const Identifier* first = target.qualifiers.empty() ? target.identifier : target.qualifiers[0];
    if (!first->scope) {
        if (first->text == "metal") {
            metalIsVisible_ = true;
            if (!target.qualifiers.empty() && target.identifier->text == "fast") visiblePrecision_ = Precision::fast;
            if (!target.qualifiers.empty() && target.identifier->text == "precise")
                visiblePrecision_ = Precision::precise;
            return;
        }
        if (first->text == "simd" || first->text == "raytracing") return;
    }
    Name name = target;
    NameMeaning meaning;
    if (name.qualifiers.empty() && !name.isGlobal) {
        for (ScopeEntry* entry = name.identifier->scope; entry; entry = entry->hidden)
            if (entry->decl->kind == DeclKind::namespace_) {
                meaning.kind = NameMeaning::Kind::declaration;
                meaning.decl = entry->decl;
                break;
            }
    } else {
        meaning = lookUpQualified(name);
        if (meaning.kind == NameMeaning::Kind::failed) return;
    }
    if (meaning.kind != NameMeaning::Kind::declaration || meaning.decl->kind != DeclKind::namespace_) {
        error(target.location, "expected namespace name");
        return;
    }
    for (Decl* member : namespaceOf(static_cast<NamespaceDecl*>(meaning.decl))->members) {
        if (!member->name || !limit_.step()) continue;
        bool isThere = false;
        for (ScopeEntry* entry = scopes_.findInInnermost(member->name);
             entry && entry->depth == scopes_.depth() && !isThere && limit_.step(); entry = entry->hidden)
            isThere = entry->decl == member;
        if (!isThere) scopes_.add(member->name, member);
    }
}

void Analyzer::usingDeclaration(UsingDecl* decl) {
    Name name = decl->target;
    if (!name.identifier) return;
    if (!name.qualifiers.empty() && !name.qualifiers[0]->scope &&
        (name.qualifiers[0]->text == "metal" || name.qualifiers[0]->text == "simd")) {
        if (builtinNamed(name.identifier)) metalIsVisible_ = true;
        return;
    }
    const NameMeaning meaning = lookUpQualified(name);
    if (meaning.kind == NameMeaning::Kind::declaration)
        scopes_.add(name.identifier, meaning.decl);
    else
        for (FunctionDecl* function : meaning.functions)
            scopes_.add(name.identifier, function);
}

void Analyzer::typeAlias(TypeAliasDecl* alias) {
    if (alias->templateParameters.empty()) {
        const DeclaredType declared = resolveType(alias->aliased);
        alias->type = declared.type;
        alias->alignment = declared.alignment;
        alignAlias(alias);
    } else {
        refuseLayoutAttributes(alias, "an alias template");
    }
    declare(alias);
}

// "enum E : int;" said before what follows now, or said again.
EnumDecl* Analyzer::announced(const EnumDecl* decl, TypeRef underlying) const {
    const ScopeEntry* entry = decl->name && decl->underlying ? scopes_.findInInnermost(decl->name) : nullptr;
    if (!entry || entry->depth != scopes_.depth() || entry->decl->kind != DeclKind::enum_) return nullptr;
    auto* earlier = static_cast<EnumDecl*>(entry->decl);
    const bool isDefinedOnce = earlier->enumerators.empty() || decl->enumerators.empty();
    const bool isSame = earlier->underlying && earlier->type && earlier->type->element == underlying &&
                        earlier->isScoped == decl->isScoped;
    return isDefinedOnce && isSame ? earlier : nullptr;
}

void Analyzer::enumeration(EnumDecl* decl) {
    if (decl->type) return;
    refuseLayoutAttributes(decl, "an enumeration");
    decl->parent = currentParent_;
    TypeRef underlying = types_.int_();
    if (decl->underlying) {
        underlying = resolveTypeOnly(decl->underlying);
        if (!underlying->isScalar() || isFloating(underlying->scalar)) {
            if (!underlying->isError())
                error(decl->underlying->location,
                      "non-integral type '" + typeName(underlying) + "' is an invalid underlying type");
            underlying = types_.int_();
        }
    }
    if (EnumDecl* earlier = announced(decl, underlying)) {
        decl->type = earlier->type;
        if (!decl->enumerators.empty()) earlier->enumerators = decl->enumerators;
    } else {
        decl->type = types_.enum_(decl, declaredName(decl), underlying);
        if (decl->name) declare(decl);
    }
    if (decl->isScoped) scopes_.open();
    std::int64_t next = 0;
    for (EnumeratorDecl* enumerator : decl->enumerators) {
        if (!limit_.step()) break;
        enumerator->owner = decl;
        enumerator->parent = currentParent_;
        if (enumerator->valueExpr) {
            const std::optional<std::int64_t> value = integerConstant(enumerator->valueExpr, "enumerator value");
            if (value)
                next = *value;
            else
                enumerator->isInvalid = true;
        }
        enumerator->value = next;
        next = static_cast<std::int64_t>(static_cast<std::uint64_t>(next) + 1);
        if (!enumerator->name) continue;
        if (ScopeEntry* entry = scopes_.findInInnermost(enumerator->name); entry && entry->decl->location) {
            error(enumerator->location, "redefinition of enumerator '" + std::string(enumerator->name->text) + "'");
            note(entry->decl->location, "previous definition is here");
            continue;
        }
        scopes_.add(enumerator->name, enumerator);
    }
    if (decl->isScoped) scopes_.close();
}

void Analyzer::staticAssertion(StaticAssertDecl* decl) {
    Expr* condition = toBool(value(decl->condition));
    if (condition->type->isError()) return;
    decl->condition = condition;
    const ConstantValue constant = evaluate(condition);
    const SourceLocation at = condition->begin ? condition->begin : decl->location;
    if (!constant) {
        error(at, "static assertion expression is not an integral constant expression");
        noteFault(at);
    } else if (!constant->isTrue())
        error(at, decl->message.empty() ? std::string("static assertion failed")
                                        : "static assertion failed: " + std::string(decl->message));
}

} // namespace msl
