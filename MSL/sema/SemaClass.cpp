// What classes have beyond their members: base classes and anonymous members, definitions outside of the struct,
// friends, and how constructors and variables without an initialiser start.
//
// A base is a field without a name that lies first; so is an anonymous struct or union, where it stands. What is
// inherited is reached by a Member for each of them.
#include "MSL/ast/Clone.h"
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {

// ------------------------------------------------------------------------------------------- bases and anonymous
// members

Analyzer::MemberPath Analyzer::findPath(const StructDecl* decl, const Identifier* name) {
    MemberPath path;
    path.found = findMember(decl, name);
    if (path.found) return path;
    const DepthGuard guard(depth_);
    if (tooDeep(decl->location)) return path;
    for (VarDecl* field : decl->inherited) {
        MemberPath inner = findPath(field->type->structDecl, name);
        if (!inner.found) continue;
        path.found = inner.found;
        path.steps.push_back(field);
        path.steps.insert(path.steps.end(), inner.steps.begin(), inner.steps.end());
        return path;
    }
    return path;
}

bool Analyzer::findSteps(const StructDecl* from, const StructDecl* to, std::vector<VarDecl*>& steps) {
    if (from == to) return true;
    const DepthGuard guard(depth_);
    if (tooDeep(from->location)) return false;
    for (VarDecl* field : from->inherited) {
        steps.push_back(field);
        if (findSteps(field->type->structDecl, to, steps)) return true;
        steps.pop_back();
    }
    return false;
}

bool Analyzer::derivesFrom(TypeRef derived, TypeRef base) {
    if (derived == base || !derived->is(TypeKind::struct_) || !base->is(TypeKind::struct_)) return false;
    for (const VarDecl* field : derived->structDecl->inherited)
        if (field->isBase && limit_.step() && (field->type == base || derivesFrom(field->type, base))) return true;
    return false;
}

Expr* Analyzer::fieldOf(Expr* object, VarDecl* field, SourceLocation at) {
    Member* node = arena_.make<Member>();
    node->location = at;
    node->begin = object->begin;
    node->base = object;
    node->name.identifier = field->name;
    node->field = field;
    node->type = field->type;
    if (object->type->is(TypeKind::pointer)) {
        node->base = load(object);
        node->isArrow = true;
        node->category = ValueCategory::lvalue;
        node->space = object->type->space;
        node->isConst = object->type->pointeeConst || field->isConst;
    } else {
        node->category = object->category;
        node->space = object->space;
        node->isConst = object->isConst || field->isConst;
    }
    return node;
}

Expr* Analyzer::throughFields(Expr* object, std::span<VarDecl* const> steps, SourceLocation at) {
    for (VarDecl* step : steps)
        object = step->isEmptyBase ? zeroValue(step->type, at) : fieldOf(object, step, at);
    return object;
}

Expr* Analyzer::toBase(Expr* object, TypeRef base) {
    const bool isPointer = object->type->is(TypeKind::pointer);
    const TypeRef type = isPointer ? object->type->element : object->type;
    // The pattern of a class template has no type; a broken one may still own what is called.
    if (!base || !type->is(TypeKind::struct_) || !base->is(TypeKind::struct_)) return nullptr;
    std::vector<VarDecl*> steps;
    if (!findSteps(type->structDecl, base->structDecl, steps)) return nullptr;
    if (steps.empty()) return object;
    Expr* inner = throughFields(object, steps, object->location);
    if (!isPointer || inner->category == ValueCategory::rvalue) return inner;
    Unary* pointer = make<Unary>(object);
    pointer->op = UnaryOp::addressOf;
    pointer->operand = inner;
    pointer->type = types_.pointer(inner->type, inner->space, inner->isConst);
    return pointer;
}

Expr* Analyzer::toDerived(Expr* object, TypeRef derived) {
    Expr* made = makeCast(CastKind::toDerived, object, derived);
    made->category = object->category;
    made->space = object->space;
    made->isConst = object->isConst;
    return made;
}

void Analyzer::baseClasses(StructDecl* decl, std::vector<VarDecl*>& fields, std::vector<VarDecl*>& inherited) {
    for (TypeSyntax* base : decl->bases) {
        const TypeRef type = resolveTypeOnly(base);
        if (type->isError()) {
            decl->isInvalid = true;
            continue;
        }
        if (!type->is(TypeKind::struct_) || type->structDecl->isUnion || decl->isUnion) {
            error(base->location,
                  type->is(TypeKind::struct_) ? "unions cannot be base classes" : "base specifier must name a class");
            decl->isInvalid = true;
            continue;
        }
        if (!requireComplete(type, base->location, "base class has")) {
            decl->isInvalid = true;
            continue;
        }
        if (std::ranges::any_of(inherited, [&](const VarDecl* other) { return other->type == type; })) {
            error(base->location,
                  "base class '" + typeName(type) + "' specified more than once as a direct base class");
            decl->isInvalid = true;
            continue;
        }
        VarDecl* field = arena_.make<VarDecl>();
        field->location = base->location;
        field->parent = decl;
        field->varKind = VarKind::field;
        field->isBase = true;
        field->typeSyntax = base;
        field->type = type;
        field->index = static_cast<std::uint32_t>(fields.size());
        inherited.push_back(field);
        const auto inner = type->structDecl->fields;
        field->isEmptyBase = inner.size() == 1 && !inner[0]->name && !inner[0]->type->is(TypeKind::struct_);
        if (!field->isEmptyBase) fields.push_back(field);
    }
}

// A byte for a struct that has no members: no writer has to know of structs without any.
void Analyzer::fillEmpty(StructDecl* decl) {
    VarDecl* byte = arena_.make<VarDecl>();
    byte->location = decl->location;
    byte->parent = decl;
    byte->varKind = VarKind::field;
    byte->type = types_.scalar(ScalarKind::uchar);
    VarDecl* only[] = {byte};
    decl->fields = arena_.copy(std::span<VarDecl* const>(only));
}

// What a struct inherits is seen behind its own members: a scope of its own for each base.
void Analyzer::openBaseScopes(StructDecl* decl) {
    const DepthGuard guard(depth_);
    if (tooDeep(decl->location)) return;
    for (const VarDecl* field : decl->inherited) {
        StructDecl* inner = field->type->structDecl;
        openBaseScopes(inner);
        scopes_.open();
        if (inner->name) scopes_.add(inner->name, inner);
        for (Decl* member : inner->members) {
            if (!limit_.step()) return;
            if (member->kind == DeclKind::enum_ && !static_cast<EnumDecl*>(member)->isScoped)
                for (EnumeratorDecl* enumerator : static_cast<EnumDecl*>(member)->enumerators)
                    if (enumerator->name) scopes_.add(enumerator->name, enumerator);
            if (!member->name) continue;
            if (member->kind == DeclKind::function &&
                (static_cast<FunctionDecl*>(member)->isConstructor || static_cast<FunctionDecl*>(member)->isFriend))
                continue;
            scopes_.add(member->name, member);
        }
    }
}

// ----------------------------------------------------------------------------------- definitions outside of the struct

// The struct or namespace that "S::" or "S<T>::" before a name means; for a template the template itself.
Decl* Analyzer::scopeOfDefinition(Name& scope, bool isTemplate) {
    if (scope.qualifierType) {
        Name& name = scope.qualifierType->name;
        StructDecl* pattern = nullptr;
        if (name.qualifiers.empty()) {
            for (ScopeEntry* entry = name.identifier->scope; entry && !pattern; entry = entry->hidden)
                if (entry->decl->kind == DeclKind::struct_) pattern = static_cast<StructDecl*>(entry->decl);
        } else {
            const NameMeaning meaning = lookUpQualified(name);
            if (meaning.kind == NameMeaning::Kind::failed) return nullptr;
            if (meaning.kind == NameMeaning::Kind::declaration && meaning.decl->kind == DeclKind::struct_)
                pattern = static_cast<StructDecl*>(meaning.decl);
        }
        if (isTemplate && pattern && scope.qualifiers.empty()) return pattern;
        const TypeRef type = resolveTypeOnly(scope.qualifierType);
        if (type->is(TypeKind::struct_)) return type->structDecl;
        if (!type->isError()) error(scope.location, "'" + typeName(type) + "' is not a class or namespace");
        return nullptr;
    }
    if (scope.qualifiers.empty()) return nullptr;
    Name name;
    name.identifier = scope.qualifiers.back();
    name.qualifiers = scope.qualifiers.first(scope.qualifiers.size() - 1);
    name.isGlobal = scope.isGlobal;
    name.location = scope.location;
    if (name.qualifiers.empty() && !name.isGlobal) {
        for (ScopeEntry* entry = name.identifier->scope; entry; entry = entry->hidden)
            if (entry->decl->kind == DeclKind::struct_ || entry->decl->kind == DeclKind::namespace_) return entry->decl;
        error(scope.location, "use of undeclared identifier '" + std::string(name.identifier->text) + "'");
        return nullptr;
    }
    const NameMeaning meaning = lookUpQualified(name);
    if (meaning.kind == NameMeaning::Kind::declaration &&
        (meaning.decl->kind == DeclKind::struct_ || meaning.decl->kind == DeclKind::namespace_))
        return meaning.decl;
    if (meaning.kind != NameMeaning::Kind::failed)
        error(scope.location, "'" + std::string(name.identifier->text) + "' is not a class, namespace, or enumeration");
    return nullptr;
}

void Analyzer::attach(FunctionDecl* member, FunctionDecl* definition) {
    member->body = definition->body;
    member->memberInits = definition->memberInits;
    member->end = definition->end;
    member->location = definition->location;
    member->hasSyntaxErrors = definition->hasSyntaxErrors;
    member->definition = member;
    member->outerParameters = definition->outerParameters;
    for (std::size_t i = 0; i < member->parameters.size(); ++i) {
        member->parameters[i]->name = definition->parameters[i]->name;
        member->parameters[i]->location = definition->parameters[i]->location;
    }
}

namespace {

bool isSameSyntax(const TypeSyntax* a, const TypeSyntax* b) {
    if (!a || !b) return a == b;
    return a->name.identifier == b->name.identifier && a->modifiers.size() == b->modifiers.size() &&
           a->space == b->space && a->isConst == b->isConst;
}

} // namespace

bool Analyzer::outerDefinition(FunctionDecl* definition) {
    const bool hasParameters = !definition->templateParameters.empty() || !definition->outerParameters.empty();
    Decl* where = scopeOfDefinition(*definition->scope, hasParameters);
    if (!where) return false;
    const std::string name(definition->name->text);
    if (where->kind == DeclKind::namespace_) {
        definition->scope = nullptr;
        Scopes::Suspended suspended = scopes_.suspend();
        enterContext(where);
        Decl* const outerParent = std::exchange(currentParent_, where);
        definition->parent = where;
        functionDeclaration(definition);
        currentParent_ = outerParent;
        while (scopes_.depth() > 0)
            scopes_.close();
        scopes_.resume(std::move(suspended));
        return true;
    }
    auto* owner = static_cast<StructDecl*>(where);
    if (!owner->definition && owner->templateParameters.empty()) return false;
    const bool isPattern = !owner->templateParameters.empty();
    if (isPattern && definition->outerParameters.empty()) {
        definition->outerParameters = definition->templateParameters;
        definition->templateParameters = {};
    }
    definition->owner = owner;
    if (!isPattern && definition->templateParameters.empty()) { // its parameters' types decide which member it is
        Scopes::Suspended suspended = scopes_.suspend();
        enterContext(owner);
        functionSignature(definition);
        while (scopes_.depth() > 0)
            scopes_.close();
        scopes_.resume(std::move(suspended));
    }
    FunctionDecl* member = nullptr;
    FunctionDecl* near = nullptr;
    std::size_t position = 0;
    for (std::size_t i = 0; i < owner->members.size() && limit_.step(); ++i) {
        if (owner->members[i]->kind != DeclKind::function) continue;
        auto* candidate = static_cast<FunctionDecl*>(owner->members[i]);
        const bool isNamed = definition->isConstructor ? candidate->isConstructor : candidate->name == definition->name;
        if (!isNamed || candidate->isFriend) continue;
        near = candidate;
        if (candidate->parameters.size() != definition->parameters.size() ||
            candidate->isConstMember != definition->isConstMember || candidate->thisSpace != definition->thisSpace ||
            candidate->templateParameters.size() != definition->templateParameters.size())
            continue;
        bool fits = true;
        for (std::size_t p = 0; p < candidate->parameters.size() && fits; ++p) {
            const VarDecl* theirs = candidate->parameters[p];
            const VarDecl* ours = definition->parameters[p];
            if (!isPattern && definition->templateParameters.empty())
                fits = theirs->type == ours->type;
            else
                fits = isSameSyntax(theirs->typeSyntax, ours->typeSyntax) ||
                       definition->outerParameters.size() == owner->templateParameters.size();
        }
        if (!fits) continue;
        if (member && isPattern) { // several of one name and count: the one that is written the same way
            bool isSame = true;
            for (std::size_t p = 0; p < candidate->parameters.size(); ++p)
                isSame =
                    isSame && isSameSyntax(candidate->parameters[p]->typeSyntax, definition->parameters[p]->typeSyntax);
            if (!isSame) continue;
        }
        member = candidate;
        position = i;
    }
    if (!member) {
        error(definition->location, "out-of-line definition of '" + name + "' does not match any declaration in '" +
                                        std::string(owner->name ? owner->name->text : "") + "'");
        if (near) note(near->location, "member declaration does not match");
        return false;
    }
    if (member->body || member->isDefaulted || member->isDeleted) {
        error(definition->location, "redefinition of '" + name + "'");
        note(member->location, "previous definition is here");
        return false;
    }
    if (isPattern) {
        for (StructDecl* instance : structInstances_[owner]) {
            if (position >= instance->members.size() || !limit_.step()) continue;
            auto* theirs = static_cast<FunctionDecl*>(instance->members[position]);
            attach(theirs, clone(arena_, *definition));
            if (theirs->returnType && !theirs->isInvalid && theirs->templateParameters.empty())
                pendingBodies_.push_back(theirs);
        }
    }
    attach(member, definition);
    if (!isPattern && member->templateParameters.empty() && member->returnType && !member->isInvalid)
        pendingBodies_.push_back(member);
    return true;
}

bool Analyzer::outerDefinition(VarDecl* definition) {
    Decl* where = scopeOfDefinition(*definition->scope, false);
    if (!where || where->kind != DeclKind::struct_) {
        if (where) unsupported(definition->location, "a variable defined outside of its namespace");
        return false;
    }
    auto* owner = static_cast<StructDecl*>(where);
    Decl* found = findMember(owner, definition->name);
    if (!found || found->kind != DeclKind::variable || !static_cast<VarDecl*>(found)->isStatic) {
        error(definition->location, "no static member named '" + std::string(definition->name->text) + "' in '" +
                                        std::string(owner->name ? owner->name->text : "") + "'");
        return false;
    }
    auto* member = static_cast<VarDecl*>(found);
    if (!definition->initializer && !definition->isParenInit) return true;
    if (member->initializer) {
        error(definition->location, "redefinition of '" + std::string(definition->name->text) + "'");
        note(member->location, "previous definition is here");
        return false;
    }
    member->initializer = definition->initializer;
    member->isParenInit = definition->isParenInit;
    member->isBraceInit = definition->isBraceInit;
    member->parenArguments = definition->parenArguments;
    member->isInvalid = false;
    Scopes::Suspended suspended = scopes_.suspend();
    enterContext(owner);
    initializeVariable(member);
    while (scopes_.depth() > 0)
        scopes_.close();
    scopes_.resume(std::move(suspended));
    return true;
}

// ------------------------------------------------------------------------------------------------- starting and
// friends

Expr* Analyzer::defaultInitializer(TypeRef type, SourceLocation at) {
    if (type->is(TypeKind::array)) {
        Expr* element = defaultInitializer(type->element, at);
        constexpr std::uint64_t maxElements = 4096;
        if (!element || element->type->isError()) return element;
        if (type->count > maxElements) {
            unsupported(at, "an array of more than 4096 objects with constructors");
            return errorAt(at);
        }
        Construct* node = arena_.make<Construct>();
        node->location = node->begin = at;
        node->type = type;
        node->constructKind = ConstructKind::aggregate;
        node->arguments = arena_.makeArray<Expr*>(static_cast<std::size_t>(type->count));
        std::ranges::fill(node->arguments, element);
        return node;
    }
    if (!type->is(TypeKind::struct_) || type->structDecl->isUnion) return nullptr;
    if (!isAggregate(type)) return callConstructor(type, {}, false, nullptr, at);
    return type->structDecl->hasDefaultInitializers ? zeroValue(type, at) : nullptr;
}

// A friend with a body is a function of the namespace around the struct, which sees the struct's names.
void Analyzer::friendFunction(StructDecl* decl, FunctionDecl* function) {
    function->parent = decl;
    function->owner = nullptr;
    if (!function->name || !function->templateParameters.empty()) {
        if (function->body) unsupported(function->location, "a friend function template defined in its class");
        return;
    }
    functionSignature(function);
    checkAttributes(function);
    if (!function->body) return;
    function->definition = function;
    friends_.push_back(function);
    if (function->returnType && !function->isInvalid) pendingBodies_.push_back(function);
}

void Analyzer::memberInitializers(FunctionDecl* function) {
    StructDecl* owner = function->owner;
    for (FunctionDecl::MemberInit& init : function->memberInits) {
        if (!init.name) continue;
        TypeRef type = nullptr;
        if (!init.base) init.field = findField(owner, init.name);
        if (init.field) {
            type = init.field->type;
        } else {
            // A base by its name, or the class itself: a delegating constructor.
            TypeRef named = nullptr;
            if (init.base) {
                named = resolveTypeOnly(init.base);
            } else {
                Name name;
                name.identifier = init.name;
                name.location = init.location;
                for (const VarDecl* field : owner->fields)
                    if (field->isBase && field->type && field->type->structDecl->name == init.name) named = field->type;
                if (init.name == owner->name) named = owner->type;
                if (!named && init.name->scope)
                    if (const std::optional<TypeRef> found = tryTypeName(name)) named = *found;
            }
            if (named && named->isError()) continue;
            if (named == owner->type) {
                type = named;
                if (function->memberInits.size() > 1) {
                    error(init.location, "an initializer for a delegating constructor must appear alone");
                    continue;
                }
            }
            for (VarDecl* field : owner->fields)
                if (named && field->isBase && field->type == named) {
                    init.field = field;
                    type = named;
                }
        }
        if (!type) {
            error(init.location, "member initializer '" + std::string(init.name->text) +
                                     "' does not name a non-static data member or base class");
            continue;
        }
        init.arguments = expandPacks(init.arguments);
        if (init.isBraced && !type->is(TypeKind::reference) &&
            (init.arguments.size() != 1 || init.arguments[0]->kind == ExprKind::initList ||
             type->is(TypeKind::struct_))) {
            InitList* list = arena_.make<InitList>();
            list->location = list->begin = init.location;
            list->initializers = arena_.makeArray<Initializer>(init.arguments.size());
            for (std::size_t i = 0; i < init.arguments.size(); ++i) {
                list->initializers[i].value = init.arguments[i];
                list->initializers[i].location = init.arguments[i]->location;
            }
            init.value = initializeFromList(type, list, Purpose::member);
            continue;
        }
        bool hasErrors = false;
        for (Expr*& argument : init.arguments) {
            if (argument->kind != ExprKind::initList) argument = expression(argument);
            hasErrors = hasErrors || (argument->type && argument->type->isError());
        }
        if (hasErrors) continue;
        if (init.arguments.size() == 1 && init.arguments[0]->kind != ExprKind::initList &&
            (!type->is(TypeKind::struct_) || init.arguments[0]->type == type))
            init.value = convert(init.arguments[0], type, Purpose::member, init.location);
        else
            init.value = constructType(type, init.arguments, init.isBraced, nullptr, init.location);
    }
}

} // namespace msl
