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

VarDecl* Analyzer::findField(const StructDecl* decl, const Identifier* name) {
    for (Decl* member : members_.candidates(decl, name))
        if (member->name == name && member->kind == DeclKind::variable &&
            static_cast<VarDecl*>(member)->varKind == VarKind::field)
            return static_cast<VarDecl*>(member);
    return nullptr;
}

Decl* Analyzer::findMember(const StructDecl* decl, const Identifier* name) {
    for (Decl* member : members_.candidates(decl, name)) {
        if (!limit_.step()) break;
        if (member->name == name) return member;
        if (member->kind == DeclKind::enum_ && !static_cast<EnumDecl*>(member)->isScoped)
            for (EnumeratorDecl* enumerator : static_cast<EnumDecl*>(member)->enumerators)
                if (enumerator->name == name) return enumerator;
    }
    return nullptr;
}

std::span<FunctionDecl*> Analyzer::findMethods(const StructDecl* decl, const Identifier* name) {
    std::vector<FunctionDecl*> found;
    bool reachesBases = false; // "using Base::f;" beside an f of its own
    for (Decl* member : members_.candidates(decl, name)) {
        if (!limit_.step()) break;
        if (member->kind == DeclKind::function && member->name == name && !static_cast<FunctionDecl*>(member)->isFriend)
            found.push_back(static_cast<FunctionDecl*>(member));
        reachesBases = reachesBases || (member->kind == DeclKind::using_ && member->name == name);
    }
    const DepthGuard guard(depth_);
    if ((found.empty() || reachesBases) && !tooDeep(decl->location))
        for (const VarDecl* field : decl->inherited)
            for (FunctionDecl* inherited : findMethods(field->type->structDecl, name))
                found.push_back(inherited);
    return arena_.copy(found);
}

std::span<FunctionDecl*> Analyzer::constructorsOf(const StructDecl* decl) {
    std::vector<FunctionDecl*> found;
    for (Decl* member : decl->members)
        if (member->kind == DeclKind::function && static_cast<FunctionDecl*>(member)->isConstructor)
            found.push_back(static_cast<FunctionDecl*>(member));
    return arena_.copy(found);
}

namespace {

constexpr std::size_t longestName = 400;

// Only structs, classes, unions and enumerations show the scopes that they lie in.
void appendScopes(std::string& out, const Decl* decl, unsigned depth) {
    if (decl == nullptr || depth > 8) return;
    if (decl->kind != DeclKind::namespace_ && decl->kind != DeclKind::struct_ && decl->kind != DeclKind::enum_) return;
    appendScopes(out, decl->parent, depth + 1);
    if (decl->name != nullptr) {
        out += decl->name->text;
        out += "::";
    }
}

} // namespace

std::string Analyzer::declaredName(const StructDecl* decl) {
    if (decl->isLambdaClosure) return "(lambda)";
    std::string out;
    appendScopes(out, decl->parent, 0);
    if (decl->name != nullptr)
        out += decl->name->text;
    else
        out += decl->isUnion ? "(anonymous union)" : "(anonymous struct)";
    if (decl->instanceArguments.empty()) return out;
    out += '<';
    for (const TemplateArgument& argument : decl->instanceArguments) {
        if (&argument != decl->instanceArguments.data()) out += ", ";
        if (out.size() > longestName) {
            out += "...";
            break;
        }
        if (argument.function != nullptr)
            out += argument.function->name->text;
        else
            out += argument.resolvedType != nullptr ? typeName(argument.resolvedType) : std::to_string(argument.value);
    }
    return out + '>';
}

std::string Analyzer::declaredName(const EnumDecl* decl) {
    std::string out;
    appendScopes(out, decl->parent, 0);
    return out + (decl->name != nullptr ? std::string(decl->name->text) : "(anonymous enum)");
}

void Analyzer::giveType(StructDecl* decl) {
    decl->type = types_.struct_(decl, declaredName(decl), decl->record);
}

void Analyzer::structure(StructDecl* decl) {
    if (decl->type) return;
    decl->parent = currentParent_;
    if (!decl->templateParameters.empty() && !decl->isSpecialization) {
        const ScopeEntry* entry = decl->name ? scopes_.findInInnermost(decl->name) : nullptr;
        if (entry && entry->decl->kind == DeclKind::struct_ && entry->decl != decl) {
            auto* previous = static_cast<StructDecl*>(entry->decl);
            if (previous->templateParameters.size() == decl->templateParameters.size() &&
                !(previous->isDefinition &&
                  decl->isDefinition)) { // "template <typename T> struct S;" and its definition
                if (!decl->isDefinition) return;
                for (std::size_t i = 0; i < decl->templateParameters.size(); ++i) {
                    TemplateParameterDecl* now = decl->templateParameters[i];
                    const TemplateParameterDecl* before = previous->templateParameters[i];
                    if (!now->defaultType) now->defaultType = before->defaultType;
                    if (!now->defaultValue) now->defaultValue = before->defaultValue;
                }
                previous->templateParameters = decl->templateParameters;
                previous->members = decl->members;
                previous->bases = decl->bases;
                previous->isDefinition = true;
                previous->isUnion = decl->isUnion;
                takeLayoutAttributes(previous, decl);
                previous->location = decl->location;
                return;
            }
        }
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
        if (!decl->templateParameters.empty()) {
            partialSpecializations_[primary].push_back(decl);
            return;
        }
        for (std::size_t i = 0; i < decl->specializationArguments.size() && i < primary->templateParameters.size(); ++i)
            if (primary->templateParameters[i]->isType)
                templateArgumentType(decl->specializationArguments[i], true);
            else
                templateArgumentValue(decl->specializationArguments[i], decl->location);
        decl->instanceOf = primary;
        decl->instanceArguments = decl->specializationArguments;
        giveType(decl);
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
            takeLayoutAttributes(previous, decl);
            previous->location = decl->location;
            completeStructure(previous);
            return;
        }
    }
    giveType(decl);
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
    if (var->typeSyntax && !var->typeSyntax->modifiers.empty()) { // "T v[0]" is "T v[]"
        TypeModifier& outermost = var->typeSyntax->modifiers.back();
        if (outermost.kind == TypeModifier::Kind::array && outermost.arraySize &&
            outermost.arraySize->kind == ExprKind::intLiteral &&
            static_cast<const IntLiteral*>(outermost.arraySize)->value == 0)
            outermost.arraySize = nullptr;
    }
    DeclaredType declared = resolveType(var->typeSyntax);
    if (declared.type->is(TypeKind::array) && declared.type->count == 0 &&
        !declared.type->element->is(TypeKind::texture) && !declared.type->element->is(TypeKind::sampler) &&
        !owner->isUnion) {
        declared.type = types_.array(declared.type->element, 1);
        var->isOpenArray = true;
    }
    var->type = declared.type;
    var->isConst = declared.isConst;
    var->alignment = declared.alignment;
    const auto invalid = [&] {
        var->type = types_.error();
        var->isInvalid = true;
        owner->isInvalid = true;
    };
    if (declared.type->isError()) {
        invalid();
    } else if (!var->name && !var->isBase &&
               !(declared.type->is(TypeKind::struct_) && !declared.type->structDecl->name)) {
        error(var->location ? var->location : owner->location, "declaration does not declare anything");
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
    const ScopeEntry* earlier = var->name ? scopes_.findInInnermost(var->name) : nullptr;
    for (; earlier && earlier->depth == scopes_.depth() && limit_.step(); earlier = earlier->hidden)
        if (earlier->decl->parent == owner && earlier->decl->kind == DeclKind::variable &&
            static_cast<VarDecl*>(earlier->decl)->varKind == VarKind::field) {
            error(var->location, "duplicate member '" + std::string(var->name->text) + "'");
            note(earlier->decl->location, "previous declaration is here");
            var->isInvalid = true;
            return;
        }
    fields.push_back(var);
    if (var->name) scopes_.add(var->name, var);
}

void Analyzer::completeStructure(StructDecl* decl) {
    Decl* const outerParent = std::exchange(currentParent_, decl);
    StructDecl* const outerStruct = std::exchange(currentStruct_, decl);
    const FunctionContext outerContext = std::exchange(context_, {});
    const std::uint32_t outerDepth = scopes_.depth();
    std::vector<FunctionDecl*> outerFriends = std::exchange(friends_, {});
    std::vector<VarDecl*> fields;
    std::vector<Decl*> inlineTypes;
    std::vector<VarDecl*> inherited;
    if (!decl->bases.empty()) {
        baseClasses(decl, fields, inherited);
        decl->inherited = arena_.copy(inherited);
        openBaseScopes(decl);
    }
    scopes_.open();
    if (decl->name) scopes_.add(decl->name, decl); // the name of an instance means the instance inside it
    for (Decl* member : decl->members) {
        if (diagnostics_.isFull() || !limit_.step()) break;
        member->parent = decl;
        switch (member->kind) {
        case DeclKind::variable: {
            auto* var = static_cast<VarDecl*>(member);
            if (!var->isStatic) {
                field(decl, var, fields);
                // "enum { a, b } e;" and "struct In { ... } in;" declare the type as a member too.
                if (var->typeSyntax && var->typeSyntax->inlineEnum) inlineTypes.push_back(var->typeSyntax->inlineEnum);
                if (var->typeSyntax && var->typeSyntax->inlineStruct && var->typeSyntax->inlineStruct->name)
                    inlineTypes.push_back(var->typeSyntax->inlineStruct);
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
            if (function->isFriend) {
                friendFunction(decl, function);
                break;
            }
            function->owner = decl;
            function->definition = function->body ? function : nullptr;
            if (!function->name) break;
            if (function->templateParameters.empty()) {
                functionSignature(function);
                checkAttributes(function);
            }
            if (!function->isConstructor) scopes_.add(function->name, function);
            for (const Decl* other : members_.candidates(decl, function->name)) {
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
            declaration(member);
            if (!member->name && static_cast<StructDecl*>(member)->type) { // its members are the outer struct's
                VarDecl* anonymous = arena_.make<VarDecl>();
                anonymous->location = member->location;
                anonymous->parent = decl;
                anonymous->varKind = VarKind::field;
                anonymous->type = static_cast<StructDecl*>(member)->type;
                anonymous->index = static_cast<std::uint32_t>(fields.size());
                if (!static_cast<StructDecl*>(member)->isComplete) {
                    decl->isInvalid = true;
                    break;
                }
                fields.push_back(anonymous);
                inherited.push_back(anonymous);
                for (Decl* inner : static_cast<StructDecl*>(member)->members)
                    if (inner->name && limit_.step()) scopes_.add(inner->name, inner);
            }
            break;
        default: declaration(member); break;
        }
    }
    for (const VarDecl* member : fields)
        if (member->isOpenArray && member != fields.back()) {
            error(member->location, "flexible array member '" + std::string(member->name->text) + "' with type '" +
                                        typeName(member->type->element) + " []' is not at the end of " +
                                        (decl->isClass ? "class" : "struct"));
            decl->isInvalid = true;
        }
    decl->fields = arena_.copy(fields);
    decl->inherited = arena_.copy(inherited);
    if (fields.empty()) fillEmpty(decl);
    if (!inlineTypes.empty()) {
        std::vector<Decl*> members(decl->members.begin(), decl->members.end());
        for (Decl* type : inlineTypes)
            if (std::ranges::find(members, type) == members.end()) members.push_back(type);
        decl->members = arena_.copy(members);
    }
    layOut(decl);
    // A part that is nested too deeply has lost its type: nothing is found through it.
    std::erase_if(inherited, [](const VarDecl* part) { return !part->type->is(TypeKind::struct_); });
    decl->inherited = arena_.copy(inherited);
    decl->isComplete = true;
    for (VarDecl* member : fields)
        if (member->initializer && !member->type->isError()) {
            member->initializer = initialize(member->type, member->initializer, Purpose::member, member->location);
        } else if (!member->type->isError() && !decl->isUnion) {
            const auto before = diagnostics_.mark(); // one that cannot start by itself is a constructor's to start
            member->initializer = defaultInitializer(member->type, member->location);
            if (member->initializer && member->initializer->type->isError()) {
                diagnostics_.rollBack(before);
                member->initializer = nullptr;
            }
            decl->hasDefaultInitializers = decl->hasDefaultInitializers || member->initializer;
        }
    while (scopes_.depth() > outerDepth)
        scopes_.close();
    context_ = outerContext;
    currentStruct_ = outerStruct;
    currentParent_ = outerParent;
    for (FunctionDecl* function : friends_) {
        Decl* const around = decl->parent;
        const ScopeEntry* innermost = function->name->scope;
        if (decl->instanceOf || (innermost && innermost->depth > scopes_.depth())) {
            // An instance is made far from where its template stands: its friends join the namespace's functions.
            if (around && around->kind == DeclKind::namespace_)
                namespaceOf(static_cast<NamespaceDecl*>(around))->members.push_back(function);
            scopes_.addOutermost(function->name, function);
        } else {
            declare(function);
        }
    }
    friends_ = std::move(outerFriends);
    if (!decl->isInvalid) structs_.push_back(decl);
    for (Decl* member : decl->members)
        if (member->kind == DeclKind::function) {
            auto* function = static_cast<FunctionDecl*>(member);
            if (function->isFriend) continue;
            if (function->body && function->templateParameters.empty() && function->returnType && !function->isInvalid)
                pendingBodies_.push_back(function);
        }
}

void Analyzer::enterStructure(StructDecl* decl) {
    if (decl->isLambdaClosure) {
        enterClosure(decl);
        return;
    }
    if (decl->instanceOf && !decl->isSpecialization) {
        scopes_.open();
        pushBindings(decl->patternParameters, decl->patternArguments);
    }
    openBaseScopes(decl);
    scopes_.open();
    if (decl->name) scopes_.add(decl->name, decl);
    for (Decl* member : decl->members) {
        if (member->kind == DeclKind::enum_ && !static_cast<EnumDecl*>(member)->isScoped)
            for (EnumeratorDecl* enumerator : static_cast<EnumDecl*>(member)->enumerators)
                if (enumerator->name) scopes_.add(enumerator->name, enumerator);
        if (!member->name || !limit_.step()) continue;
        if (member->kind == DeclKind::function &&
            (static_cast<FunctionDecl*>(member)->isConstructor || static_cast<FunctionDecl*>(member)->isFriend))
            continue;
        scopes_.add(member->name, member);
    }
}

} // namespace msl
