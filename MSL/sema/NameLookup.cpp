// What a name means where it stands.
#include "MSL/sema/Analyzer.h"

#include "MSL/sema/LibraryConstants.h"

namespace msl {

const BuiltinFunction* Analyzer::builtinNamed(const Identifier* identifier) {
    const std::span<const BuiltinFunction> all = builtinFunctions();
    if (identifier->builtin == -1) {
        const BuiltinFunction* found = findBuiltin(identifier->text);
        identifier->builtin = found ? static_cast<std::int32_t>(found - all.data()) : -2;
    }
    return identifier->builtin >= 0 ? &all[static_cast<std::size_t>(identifier->builtin)] : nullptr;
}

NameMeaning Analyzer::meaningOf(ScopeEntry* entry) {
    NameMeaning meaning;
    if (entry->decl->kind != DeclKind::function) {
        meaning.kind = NameMeaning::Kind::declaration;
        meaning.decl = entry->decl;
        return meaning;
    }
    meaning.kind = NameMeaning::Kind::functions;
    if (!entry->hidden || entry->hidden->depth != entry->depth || entry->hidden->decl->kind != DeclKind::function) {
        FunctionDecl* only[] = {static_cast<FunctionDecl*>(entry->decl)};
        meaning.functions = arena_.copy(std::span<FunctionDecl* const>(only));
        return meaning;
    }
    std::vector<FunctionDecl*> functions;
    for (ScopeEntry* at = entry; at && at->depth == entry->depth; at = at->hidden)
        if (at->decl->kind == DeclKind::function) functions.push_back(static_cast<FunctionDecl*>(at->decl));
    meaning.functions = arena_.copy(functions);
    return meaning;
}

NameMeaning Analyzer::lookUpUnqualified(const Identifier* identifier) {
    NameMeaning meaning;
    if (ScopeEntry* entry = identifier->scope) meaning = meaningOf(entry);
    // Inside a function or a namespace an overload set there hides the file's, but never the library's.
    if (meaning.kind == NameMeaning::Kind::nothing || meaning.kind == NameMeaning::Kind::functions) {
        if (metalIsVisible_) {
            meaning.builtin = builtinNamed(identifier);
            meaning.precision = visiblePrecision_;
            if (meaning.builtin && meaning.kind == NameMeaning::Kind::nothing)
                meaning.kind = NameMeaning::Kind::builtin;
        }
        if (meaning.kind == NameMeaning::Kind::nothing)
            if (const LibraryConstant* constant = findLibraryConstant({}, identifier->text)) {
                meaning.kind = NameMeaning::Kind::libraryConstant;
                meaning.constant = constant->value;
                meaning.constantType = types_.int_();
            }
    }
    return meaning;
}

NameMeaning Analyzer::meaningOfMembers(std::span<Decl* const> members, const Identifier* identifier) {
    NameMeaning meaning;
    std::vector<FunctionDecl*> functions;
    for (Decl* member : members) {
        if (member->name == identifier) {
            if (member->kind == DeclKind::function) {
                functions.push_back(static_cast<FunctionDecl*>(member));
            } else if (functions.empty()) {
                meaning.kind = NameMeaning::Kind::declaration;
                meaning.decl = member;
                return meaning;
            }
        } else if (member->kind == DeclKind::enum_ && !static_cast<EnumDecl*>(member)->isScoped) {
            for (EnumeratorDecl* enumerator : static_cast<EnumDecl*>(member)->enumerators)
                if (enumerator->name == identifier) {
                    meaning.kind = NameMeaning::Kind::declaration;
                    meaning.decl = enumerator;
                    return meaning;
                }
        }
    }
    if (!functions.empty()) {
        meaning.kind = NameMeaning::Kind::functions;
        meaning.functions = arena_.copy(functions);
    }
    return meaning;
}

NameMeaning Analyzer::meaningInStruct(const StructDecl* decl, const Identifier* identifier) {
    NameMeaning meaning = meaningOfMembers(members_.candidates(decl, identifier), identifier);
    if (meaning.kind != NameMeaning::Kind::nothing) return meaning;
    const DepthGuard guard(depth_);
    if (tooDeep(decl->location)) return meaning;
    for (const VarDecl* field : decl->inherited) {
        meaning = meaningInStruct(field->type->structDecl, identifier);
        if (meaning.kind != NameMeaning::Kind::nothing) break;
        StructDecl* base = field->type->structDecl; // a base's own name
        if (base->name == identifier) {
            meaning.kind = NameMeaning::Kind::declaration;
            meaning.decl = base;
            break;
        }
    }
    return meaning;
}

NameMeaning Analyzer::lookUpQualified(Name& name) {
    NameMeaning meaning;
    const auto failed = [&](std::string message) {
        error(name.location, std::move(message));
        meaning.kind = NameMeaning::Kind::failed;
        return meaning;
    };
    if (name.qualifierType) { // S<float>::name
        const TypeRef type = resolveTypeOnly(name.qualifierType);
        if (!type->is(TypeKind::struct_)) {
            if (!type->isError()) return failed("'" + typeName(type) + "' has no members to name");
            meaning.kind = NameMeaning::Kind::failed;
            return meaning;
        }
        meaning = meaningInStruct(type->structDecl, name.identifier);
        if (meaning.kind == NameMeaning::Kind::nothing)
            return failed("no member named '" + std::string(name.identifier->text) + "' in '" + typeName(type) + "'");
        return meaning;
    }
    if (name.qualifiers.empty()) { // "::name"
        ScopeEntry* entry = name.identifier->scope;
        while (entry && entry->depth > 0)
            entry = entry->hidden;
        if (entry) return meaningOf(entry);
        return failed("no member named '" + std::string(name.identifier->text) + "' in the global namespace");
    }
    std::size_t at = 0;
    const Identifier* first = name.qualifiers[0];
    Decl* scope = nullptr;
    if (first->scope) {
        for (ScopeEntry* entry = first->scope; entry; entry = entry->hidden)
            if (entry->decl->kind != DeclKind::function && entry->decl->kind != DeclKind::variable) {
                scope = entry->decl;
                break;
            }
        // The alias that stands for a type of the library: mem_flags::mem_device
        if (scope && scope->kind == DeclKind::typeAlias && !scope->location && isLibraryEnum(first->text))
            scope = nullptr;
    }
    if (!scope) {
        // The library: metal::x, metal::fast::x, metal::precise::x, fast::x, simd::x, filter::linear ...
        bool isMetal = false;
        if (first->text == "metal" || first->text == "simd") {
            isMetal = true;
            ++at;
        }
        Precision precision = Precision::standard;
        bool hasPrecision = false;
        if (at < name.qualifiers.size() &&
            (name.qualifiers[at]->text == "fast" || name.qualifiers[at]->text == "precise") &&
            (isMetal || metalIsVisible_)) {
            precision = name.qualifiers[at]->text == "fast" ? Precision::fast : Precision::precise;
            hasPrecision = true;
            ++at;
        }
        if (at == name.qualifiers.size()) {
            const BuiltinFunction* builtin = builtinNamed(name.identifier);
            if (builtin && (!hasPrecision || builtin->hasPrecisions)) {
                meaning.kind = NameMeaning::Kind::builtin;
                meaning.builtin = builtin;
                meaning.precision = precision;
                return meaning;
            }
            if (const LibraryConstant* constant = findLibraryConstant({}, name.identifier->text)) {
                meaning.kind = NameMeaning::Kind::libraryConstant;
                meaning.constant = constant->value;
                meaning.constantType = types_.int_();
                return meaning;
            }
            std::string where = isMetal ? std::string(first->text) : std::string();
            if (hasPrecision)
                where += std::string(where.empty() ? "" : "::") + std::string(name.qualifiers[at - 1]->text);
            if (isMetal || hasPrecision)
                return failed("no member named '" + std::string(name.identifier->text) + "' in namespace '" + where +
                              "'");
        }
        if (at + 1 == name.qualifiers.size()) {
            if (const LibraryConstant* constant =
                    findLibraryConstant(name.qualifiers[at]->text, name.identifier->text)) {
                meaning.kind = NameMeaning::Kind::libraryConstant;
                meaning.constant = constant->value;
                meaning.constantType = types_.uint();
                return meaning;
            }
            if (isLibraryEnum(name.qualifiers[at]->text))
                return failed("no member named '" + std::string(name.identifier->text) + "' in '" +
                              std::string(name.qualifiers[at]->text) + "'");
        }
        return failed("use of undeclared identifier '" +
                      std::string(name.qualifiers[at < name.qualifiers.size() ? at : 0]->text) + "'");
    }
    for (at = 1;; ++at) {
        const Identifier* next = at < name.qualifiers.size() ? name.qualifiers[at] : name.identifier;
        const bool isLast = at >= name.qualifiers.size();
        if (scope->kind == DeclKind::typeAlias) {
            const TypeRef aliased = static_cast<TypeAliasDecl*>(scope)->type;
            if (aliased && aliased->is(TypeKind::struct_))
                scope = aliased->structDecl;
            else if (aliased && aliased->is(TypeKind::enum_))
                scope = aliased->enumDecl;
        }
        NameMeaning found;
        std::string where;
        switch (scope->kind) {
        case DeclKind::namespace_: {
            const NamespaceInfo* info = namespaceOf(static_cast<NamespaceDecl*>(scope));
            found = meaningOfMembers(info->members, next);
            where = "namespace '" + std::string(scope->name->text) + "'";
            break;
        }
        case DeclKind::struct_: {
            const auto* decl = static_cast<StructDecl*>(scope);
            found = meaningInStruct(decl, next);
            where = "'" + std::string(scope->name ? scope->name->text : "") + "'";
            break;
        }
        case DeclKind::enum_:
            for (EnumeratorDecl* enumerator : static_cast<EnumDecl*>(scope)->enumerators)
                if (enumerator->name == next) {
                    found.kind = NameMeaning::Kind::declaration;
                    found.decl = enumerator;
                }
            where = "'" + std::string(scope->name ? scope->name->text : "") + "'";
            break;
        default:
            return failed("'" + std::string(scope->name ? scope->name->text : "") +
                          "' is not a class, namespace, or enumeration");
        }
        if (found.kind == NameMeaning::Kind::nothing)
            return failed("no member named '" + std::string(next->text) + "' in " + where);
        if (isLast) return found;
        if (found.kind != NameMeaning::Kind::declaration)
            return failed("'" + std::string(next->text) + "' is not a class, namespace, or enumeration");
        scope = found.decl;
    }
}

// A function or variable of program scope whose name stands further down in the text.
const Decl* Analyzer::declaredLater(const Identifier* name) const {
    for (const Decl* decl : unit_.declarations)
        if (decl != nullptr && decl->name == name && decl->location &&
            (decl->kind == DeclKind::function || decl->kind == DeclKind::variable))
            return decl;
    return nullptr;
}

NameMeaning Analyzer::lookUp(Name& name, bool forCall, std::size_t argumentCount) {
    if (!name.qualifiers.empty() || name.isGlobal || name.qualifierType) return lookUpQualified(name);
    NameMeaning meaning = lookUpUnqualified(name.identifier);
    if (meaning.kind != NameMeaning::Kind::nothing) return meaning;
    if (context_.function && context_.function->isInvalid) { // its head could not be read: a parameter may be missing
        meaning.kind = NameMeaning::Kind::failed;
        return meaning;
    }
    std::string message = "use of undeclared identifier '" + std::string(name.identifier->text) + "'";
    Decl* decl = nullptr;
    std::string_view suggestion;
    if (!metalIsVisible_ && builtinNamed(name.identifier)) {
        errorOfName(name.location, std::move(message), name.identifier->text,
                    "metal::" + std::string(name.identifier->text));
        meaning.builtin = builtinNamed(name.identifier);
        meaning.kind = NameMeaning::Kind::builtin;
        return meaning;
    }
    if (const Decl* later = declaredLater(name.identifier)) {
        error(name.location, std::move(message));
        note(later->location, "'" + std::string(name.identifier->text) + "' is declared here, behind its use");
        meaning.kind = NameMeaning::Kind::failed;
        return meaning;
    }
    suggestion =
        closestName(name.identifier->text, forCall ? TypoKind::call : TypoKind::expression, &decl, argumentCount);
    errorOfName(name.location, std::move(message), name.identifier->text, suggestion);
    if (suggestion.empty()) {
        meaning.kind = NameMeaning::Kind::failed;
        return meaning;
    }
    const Identifier* corrected = identifiers_.get(suggestion);
    if (decl && decl->location) note(decl->location, "'" + std::string(suggestion) + "' declared here");
    meaning = lookUpUnqualified(corrected);
    meaning.isCorrected = true;
    if (!forCall && meaning.kind == NameMeaning::Kind::builtin) meaning.kind = NameMeaning::Kind::failed;
    if (meaning.kind == NameMeaning::Kind::nothing)
        if (TypeRef type = builtinType(types_, suggestion)) {
            TypeAliasDecl* alias = arena_.make<TypeAliasDecl>();
            alias->name = corrected;
            alias->type = type;
            meaning.kind = NameMeaning::Kind::declaration;
            meaning.decl = alias;
        }
    if (meaning.kind == NameMeaning::Kind::nothing) meaning.kind = NameMeaning::Kind::failed;
    return meaning;
}

} // namespace msl
