// Structs, classes and unions: members and layout.
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {

bool Analyzer::isComplete(TypeRef type) const {
    while (type->is(TypeKind::array))
        type = type->element;
    if (type->is(TypeKind::struct_)) return type->structDecl->isComplete;
    return !type->is(TypeKind::void_);
}

bool Analyzer::requireComplete(TypeRef type, SourceLocation at, std::string_view what) {
    if (isComplete(type)) return true;
    TypeRef inner = type;
    while (inner->is(TypeKind::array))
        inner = inner->element;
    if (inner->is(TypeKind::struct_) && inner->structDecl->isInvalid) return false; // its own errors say enough
    error(at, std::string(what) + " incomplete type '" + typeName(inner) + "'");
    if (inner->is(TypeKind::struct_) && inner->structDecl->location)
        note(inner->structDecl->location,
             inner->structDecl->isDefinition
                 ? "definition of '" + typeName(inner) + "' is not complete until the closing '}'"
                 : "forward declaration of '" + typeName(inner) + "'");
    return false;
}

VarDecl* Analyzer::findField(const StructDecl* decl, const Identifier* name) const {
    for (VarDecl* candidate : decl->fields)
        if (candidate->name == name) return candidate;
    return nullptr;
}

Decl* Analyzer::findMember(const StructDecl* decl, const Identifier* name) const {
    for (Decl* member : decl->members) {
        if (member->name == name) return member;
        if (member->kind == DeclKind::enum_ && !static_cast<EnumDecl*>(member)->isScoped)
            for (EnumeratorDecl* enumerator : static_cast<EnumDecl*>(member)->enumerators)
                if (enumerator->name == name) return enumerator;
    }
    return nullptr;
}

std::span<FunctionDecl*> Analyzer::findMethods(const StructDecl* decl, const Identifier* name) {
    std::vector<FunctionDecl*> found;
    for (Decl* member : decl->members)
        if (member->kind == DeclKind::function && member->name == name)
            found.push_back(static_cast<FunctionDecl*>(member));
    return arena_.copy(found);
}

std::span<FunctionDecl*> Analyzer::constructorsOf(const StructDecl* decl) {
    std::vector<FunctionDecl*> found;
    for (Decl* member : decl->members)
        if (member->kind == DeclKind::function && static_cast<FunctionDecl*>(member)->isConstructor)
            found.push_back(static_cast<FunctionDecl*>(member));
    return arena_.copy(found);
}

void Analyzer::structure(StructDecl* decl) {
    if (decl->type) return;
    decl->parent = currentParent_;
    if (!decl->templateParameters.empty()) {
        declare(decl);
        return;
    }
    if (decl->isSpecialization) {
        StructDecl* primary = nullptr;
        for (ScopeEntry* entry = decl->name ? decl->name->scope : nullptr; entry; entry = entry->hidden)
            if (entry->decl->kind == DeclKind::struct_ &&
                !static_cast<StructDecl*>(entry->decl)->templateParameters.empty()) {
                primary = static_cast<StructDecl*>(entry->decl);
                break;
            }
        if (!primary) {
            error(decl->location, "explicit specialization of undeclared template struct");
            return;
        }
        for (std::size_t i = 0; i < decl->specializationArguments.size() && i < primary->templateParameters.size(); ++i)
            if (primary->templateParameters[i]->isType)
                templateArgumentType(decl->specializationArguments[i], true);
            else
                templateArgumentValue(decl->specializationArguments[i], decl->location);
        decl->instanceOf = primary;
        decl->instanceArguments = decl->specializationArguments;
        decl->type = types_.struct_(decl);
        structSpecializations_[primary].push_back(decl);
        if (decl->isDefinition) completeStructure(decl);
        return;
    }
    // A definition completes the type that an earlier "struct S;" introduced.
    if (decl->name) {
        for (ScopeEntry* entry = scopes_.findInInnermost(decl->name); entry && entry->depth == scopes_.depth();
             entry = entry->hidden) {
            if (entry->decl->kind != DeclKind::struct_) continue;
            auto* previous = static_cast<StructDecl*>(entry->decl);
            if (!previous->type || !previous->location) break;
            decl->type = previous->type;
            decl->definition = previous;
            if (!decl->isDefinition) return;
            if (previous->isDefinition) {
                error(decl->location, "redefinition of '" + std::string(decl->name->text) + "'");
                note(previous->location, "previous definition is here");
                decl->isInvalid = true;
                return;
            }
            previous->members = decl->members;
            previous->bases = decl->bases;
            previous->isDefinition = true;
            previous->isUnion = decl->isUnion;
            previous->attributes = decl->attributes;
            previous->location = decl->location;
            completeStructure(previous);
            return;
        }
    }
    decl->type = types_.struct_(decl);
    decl->definition = decl;
    if (decl->name && !declare(decl)) {
        decl->isInvalid = true;
        return;
    }
    if (decl->isDefinition) completeStructure(decl);
}

void Analyzer::field(StructDecl* owner, VarDecl* var, std::vector<VarDecl*>& fields) {
    var->varKind = VarKind::field;
    var->index = static_cast<std::uint32_t>(fields.size());
    const DeclaredType declared = resolveType(var->typeSyntax);
    var->type = declared.type;
    var->isConst = declared.isConst;
    const auto invalid = [&] {
        var->type = types_.error();
        var->isInvalid = true;
        owner->isInvalid = true;
    };
    if (declared.type->isError()) {
        invalid();
    } else if (!var->name) {
        unsupported(var->location ? var->location : owner->location, "an anonymous struct or union member");
        invalid();
    } else if (declared.type->is(TypeKind::auto_)) {
        error(var->location, "'auto' not allowed in non-static struct member");
        invalid();
    } else if (declared.hasSpace && !declared.type->is(TypeKind::pointer) && !declared.type->is(TypeKind::reference)) {
        error(var->location, "field may not be qualified with an address space");
        invalid();
    } else if (declared.type->is(TypeKind::array) && declared.type->count == 0) {
        error(var->location, "field '" + std::string(var->name->text) + "' of array type needs an explicit size");
        invalid();
    } else if (!declared.type->is(TypeKind::pointer) && !declared.type->is(TypeKind::reference)) {
        if (!requireComplete(declared.type, var->location, "field has")) invalid();
    }
    if (var->bitWidth > 0) {
        unsupported(var->location, "a bit-field");
        invalid();
    }
    checkAttributes(var);
    if (var->name)
        for (const VarDecl* earlier : fields)
            if (limit_.step() && earlier->name == var->name) {
                error(var->location, "duplicate member '" + std::string(var->name->text) + "'");
                note(earlier->location, "previous declaration is here");
                var->isInvalid = true;
                return;
            }
    fields.push_back(var);
    if (var->name) scopes_.add(var->name, var);
}

void Analyzer::completeStructure(StructDecl* decl) {
    if (!decl->bases.empty()) {
        unsupported(decl->bases[0]->location, "struct inheritance");
        decl->isInvalid = true;
    }
    Decl* const outerParent = std::exchange(currentParent_, decl);
    StructDecl* const outerStruct = std::exchange(currentStruct_, decl);
    const FunctionContext outerContext = std::exchange(context_, {});
    scopes_.open();
    if (decl->name) scopes_.add(decl->name, decl); // the name of an instance means the instance inside it
    std::vector<VarDecl*> fields;
    for (Decl* member : decl->members) {
        if (diagnostics_.isFull() || !limit_.step()) break;
        member->parent = decl;
        switch (member->kind) {
        case DeclKind::variable: {
            auto* var = static_cast<VarDecl*>(member);
            if (!var->isStatic) {
                field(decl, var, fields);
                break;
            }
            var->varKind = VarKind::global;
            if (var->isConstexpr) { // lies in constant space without saying so
                const DeclaredType declared = resolveType(var->typeSyntax);
                DeclaredType constant = declared;
                constant.hasSpace = true;
                constant.space = AddressSpace::constant;
                finishVariable(var, constant);
            } else {
                finishVariable(var, resolveType(var->typeSyntax));
            }
            break;
        }
        case DeclKind::function: {
            auto* function = static_cast<FunctionDecl*>(member);
            function->owner = decl;
            function->definition = function->body ? function : nullptr;
            if (!function->name) break;
            if (function->templateParameters.empty()) {
                functionSignature(function);
                checkAttributes(function);
            }
            if (!function->isConstructor) scopes_.add(function->name, function);
            for (const Decl* other : decl->members) {
                if (other == member || !limit_.step()) break;
                if (other->kind == DeclKind::function && other->name == member->name &&
                    sameSignature(static_cast<const FunctionDecl*>(other), function)) {
                    error(function->location, function->isConstructor ? "constructor cannot be redeclared"
                                                                      : "class member cannot be redeclared");
                    note(other->location, "previous definition is here");
                    function->isInvalid = true;
                    break;
                }
            }
            break;
        }
        case DeclKind::struct_:
            if (!member->name) {
                unsupported(member->location ? member->location : decl->location,
                            "an anonymous struct or union member");
                decl->isInvalid = true;
                break;
            }
            declaration(member);
            break;
        default: declaration(member); break;
        }
    }
    decl->fields = arena_.copy(fields);
    layOut(decl);
    decl->isComplete = true;
    for (VarDecl* member : fields)
        if (member->initializer && !member->type->isError())
            member->initializer = initialize(member->type, member->initializer, Purpose::member, member->location);
    scopes_.close();
    context_ = outerContext;
    currentStruct_ = outerStruct;
    currentParent_ = outerParent;
    if (!decl->isInvalid) structs_.push_back(decl);
    for (Decl* member : decl->members)
        if (member->kind == DeclKind::function) {
            auto* function = static_cast<FunctionDecl*>(member);
            if (function->body && function->templateParameters.empty() && function->returnType && !function->isInvalid)
                pendingBodies_.push_back(function);
        }
}

void Analyzer::layOut(StructDecl* decl) {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint32_t alignment = 1;
    for (VarDecl* member : decl->fields) {
        // Each level of arrays and structs counts; an array's elements multiply what they hold.
        TypeRef inner = member->type;
        std::uint64_t count = 1;
        std::uint32_t nesting = 1;
        while (inner->is(TypeKind::array)) {
            count *= inner->count;
            ++nesting;
            inner = inner->element;
        }
        if (inner->is(TypeKind::struct_)) {
            count *= inner->structDecl->scalarCount;
            nesting += inner->structDecl->nesting;
            decl->hasDefaultInitializers = decl->hasDefaultInitializers || inner->structDecl->hasDefaultInitializers;
        }
        decl->scalarCount += count;
        decl->hasDefaultInitializers = decl->hasDefaultInitializers || member->initializer;
        if (nesting > decl->nesting) decl->nesting = nesting;
        if (nesting > maxTypeNesting && !decl->isInvalid) {
            error(member->location,
                  "types are nested too deeply (more than " + std::to_string(maxTypeNesting) + " levels)");
            decl->isInvalid = true;
            decl->nesting = 1; // say it once
            member->type = types_.error();
        }
        Layout layout = layoutOf(member->type);
        if (member->type->is(TypeKind::reference)) layout = {8, 8};
        alignment = std::max(alignment, layout.alignment);
        offset = decl->isUnion ? 0 : (offset + layout.alignment - 1) / layout.alignment * layout.alignment;
        member->offset = offset;
        offset += layout.size;
        size = std::max(size, offset);
        if (size > maxObjectSize) {
            error(member->location, "struct '" + std::string(decl->name ? decl->name->text : "") + "' is too large");
            decl->isInvalid = true;
            size = 0;
            break;
        }
    }
    decl->alignment = alignment;
    decl->size = std::max<std::uint64_t>((size + alignment - 1) / alignment * alignment, 1);
}

void Analyzer::enterStructure(StructDecl* decl) {
    if (decl->instanceOf && !decl->isSpecialization) {
        scopes_.open();
        pushBindings(decl->instanceOf->templateParameters, decl->instanceArguments);
    }
    scopes_.open();
    if (decl->name) scopes_.add(decl->name, decl);
    for (Decl* member : decl->members) {
        if (member->kind == DeclKind::enum_ && !static_cast<EnumDecl*>(member)->isScoped)
            for (EnumeratorDecl* enumerator : static_cast<EnumDecl*>(member)->enumerators)
                if (enumerator->name) scopes_.add(enumerator->name, enumerator);
        if (!member->name || !limit_.step()) continue;
        if (member->kind == DeclKind::function && static_cast<FunctionDecl*>(member)->isConstructor) continue;
        scopes_.add(member->name, member);
    }
}

} // namespace msl
