// Declarations: variables, functions, names for types, namespaces.
#include "MSL/sema/Analyzer.h"

#include "MSL/Reflection.h"
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
      scopes_(arena) {}

void Analyzer::run() {
    declarations(unit_.declarations);
    if (!diagnostics_.hasErrors())
        for (Decl* decl : unit_.declarations)
            if (decl->kind == DeclKind::function) {
                auto* function = static_cast<FunctionDecl*>(decl);
                if (function->isReferenced && !function->definition && !function->body &&
                    function->templateParameters.empty() && !function->isInvalid)
                    error(function->location, "function '" + std::string(function->name->text) +
                                                  "' is called but never defined");
            }
    if (limit_.exceeded() && !diagnostics_.hasErrors())
        error(SourceLocation::atOffset(0), "the program takes too long to compile");
    unit_.entryPoints = arena_.copy(entryPoints_);
    unit_.structs = arena_.copy(structs_);
}

void Analyzer::declarations(std::span<Decl*> decls) {
    for (Decl* decl : decls) {
        if (diagnostics_.isFull() || !limit_.step())
            return;
        declaration(decl);
        // Bodies of members and of template instances wait until what they stand in is complete.
        if (!context_.function && !currentStruct_)
            while (!pendingBodies_.empty()) {
                FunctionDecl* pending = pendingBodies_.back();
                pendingBodies_.pop_back();
                resolveBodyNow(pending);
                if (diagnostics_.isFull() || !limit_.step())
                    return;
            }
    }
}

void Analyzer::declaration(Decl* decl) {
    decl->parent = currentParent_;
    const DepthGuard guard(depth_);
    if (tooDeep(decl->location))
        return;
    switch (decl->kind) {
    case DeclKind::variable: variable(static_cast<VarDecl*>(decl)); break;
    case DeclKind::function: functionDeclaration(static_cast<FunctionDecl*>(decl)); break;
    case DeclKind::struct_: structure(static_cast<StructDecl*>(decl)); break;
    case DeclKind::enum_: enumeration(static_cast<EnumDecl*>(decl)); break;
    case DeclKind::typeAlias: typeAlias(static_cast<TypeAliasDecl*>(decl)); break;
    case DeclKind::namespace_: namespaceBlock(static_cast<NamespaceDecl*>(decl)); break;
    case DeclKind::using_: usingDeclaration(static_cast<UsingDecl*>(decl)); break;
    case DeclKind::usingNamespace: usingDirective(static_cast<UsingNamespaceDecl*>(decl)); break;
    case DeclKind::staticAssert: staticAssertion(static_cast<StaticAssertDecl*>(decl)); break;
    case DeclKind::enumerator:
    case DeclKind::templateParameter:
    case DeclKind::empty: break;
    }
}

// ----------------------------------------------------------------------------------------------------------- names

bool Analyzer::sameSignature(const FunctionDecl* a, const FunctionDecl* b) const {
    if (a->parameters.size() != b->parameters.size() || a->templateParameters.size() != b->templateParameters.size() ||
        a->isConstMember != b->isConstMember || a->thisSpace != b->thisSpace)
        return false;
    if (!a->templateParameters.empty())
        return false; // told apart when they are called
    for (std::size_t i = 0; i < a->parameters.size(); ++i)
        if (a->parameters[i]->type != b->parameters[i]->type)
            return false;
    return true;
}

bool Analyzer::declare(Decl* decl) {
    const Identifier* name = decl->name;
    if (!name)
        return true;
    const auto redefinition = [&](const Decl* previous, std::string_view suffix = "") {
        if (decl->isInvalid)
            return false;
        error(decl->location, "redefinition of '" + std::string(name->text) + "'" + std::string(suffix));
        if (previous->location)
            note(previous->location, "previous definition is here");
        decl->isInvalid = true;
        return false;
    };
    for (ScopeEntry* entry = scopes_.findInInnermost(name); entry && entry->depth == scopes_.depth(); entry = entry->hidden) {
        Decl* previous = entry->decl;
        if (previous == decl)
            return true;
        if (!previous->location)
            continue; // the library's
        if (previous->kind == DeclKind::function && decl->kind == DeclKind::function) {
            auto* before = static_cast<FunctionDecl*>(previous);
            auto* now = static_cast<FunctionDecl*>(decl);
            if (!sameSignature(before, now))
                continue;
            if (before->returnType != now->returnType && before->returnType && now->returnType) {
                error(now->location, "functions that differ only in their return type cannot be overloaded");
                note(before->location, before->body ? "previous definition is here" : "previous declaration is here");
                return false;
            }
            if (now->body && before->definition)
                return redefinition(before->definition);
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
        if (previous->kind == DeclKind::namespace_ && decl->kind == DeclKind::namespace_)
            return true;
        if (previous->kind == DeclKind::struct_ || decl->kind == DeclKind::struct_) {
            if (previous->kind != decl->kind)
                continue; // "struct stat" and "stat" may live together
        }
        return redefinition(previous, previous->kind == decl->kind ? "" : " as different kind of symbol");
    }
    if (decl->kind == DeclKind::function) {
        auto* function = static_cast<FunctionDecl*>(decl);
        if (function->body)
            function->definition = function;
    }
    scopes_.add(name, decl);
    if (currentParent_ && currentParent_->kind == DeclKind::namespace_ && !context_.function)
        namespaceOf(static_cast<NamespaceDecl*>(currentParent_))->members.push_back(decl);
    return true;
}

NamespaceInfo* Analyzer::namespaceOf(NamespaceDecl* block) { return namespaces_[block]; }

void Analyzer::enterContext(Decl* context) {
    if (!context)
        return;
    enterContext(context->parent);
    if (context->kind == DeclKind::namespace_) {
        scopes_.open();
        for (Decl* member : namespaceOf(static_cast<NamespaceDecl*>(context))->members)
            if (member->name)
                scopes_.add(member->name, member);
    } else if (context->kind == DeclKind::struct_) {
        enterStructure(static_cast<StructDecl*>(context));
    }
}

void Analyzer::namespaceBlock(NamespaceDecl* block) {
    NamespaceInfo* info = nullptr;
    if (block->name)
        if (ScopeEntry* entry = scopes_.findInInnermost(block->name); entry && entry->decl->kind == DeclKind::namespace_)
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
        if (member->name)
            scopes_.add(member->name, member);
    for (Decl* member : block->members) {
        if (diagnostics_.isFull() || !limit_.step())
            break;
        declaration(member);
    }
    scopes_.close();
    currentParent_ = outerParent;
    metalIsVisible_ = outerMetal;
    if (!block->name) // without a name its members belong to what is around it
        for (Decl* member : info->members)
            if (member->name)
                scopes_.add(member->name, member);
}

void Analyzer::usingDirective(UsingNamespaceDecl* decl) {
    const Name& target = decl->target;
    if (!target.identifier)
        return;
    const Identifier* first = target.qualifiers.empty() ? target.identifier : target.qualifiers[0];
    if (!first->scope) {
        if (first->text == "metal") {
            metalIsVisible_ = true;
            if (!target.qualifiers.empty() && target.identifier->text == "fast")
                visiblePrecision_ = Precision::fast;
            if (!target.qualifiers.empty() && target.identifier->text == "precise")
                visiblePrecision_ = Precision::precise;
            return;
        }
        if (first->text == "simd" || first->text == "raytracing")
            return;
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
        if (meaning.kind == NameMeaning::Kind::failed)
            return;
    }
    if (meaning.kind != NameMeaning::Kind::declaration || meaning.decl->kind != DeclKind::namespace_) {
        error(target.location, "expected namespace name");
        return;
    }
    for (Decl* member : namespaceOf(static_cast<NamespaceDecl*>(meaning.decl))->members)
        if (member->name)
            scopes_.add(member->name, member);
}

void Analyzer::usingDeclaration(UsingDecl* decl) {
    Name name = decl->target;
    if (!name.identifier)
        return;
    if (!name.qualifiers.empty() && !name.qualifiers[0]->scope &&
        (name.qualifiers[0]->text == "metal" || name.qualifiers[0]->text == "simd")) {
        if (builtinNamed(name.identifier))
            metalIsVisible_ = true;
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
    if (alias->templateParameters.empty())
        alias->type = resolveTypeOnly(alias->aliased);
    declare(alias);
}

void Analyzer::enumeration(EnumDecl* decl) {
    if (decl->type)
        return;
    decl->parent = currentParent_;
    TypeRef underlying = types_.int_();
    if (decl->underlying) {
        underlying = resolveTypeOnly(decl->underlying);
        if (!underlying->isScalar() || isFloating(underlying->scalar)) {
            if (!underlying->isError())
                error(decl->underlying->location, "non-integral type '" + typeName(underlying) +
                                                      "' is an invalid underlying type");
            underlying = types_.int_();
        }
    }
    decl->type = types_.enum_(decl, underlying);
    if (decl->name)
        declare(decl);
    if (decl->isScoped)
        scopes_.open();
    std::int64_t next = 0;
    for (EnumeratorDecl* enumerator : decl->enumerators) {
        if (!limit_.step())
            break;
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
        if (!enumerator->name)
            continue;
        if (ScopeEntry* entry = scopes_.findInInnermost(enumerator->name); entry && entry->decl->location) {
            error(enumerator->location, "redefinition of enumerator '" + std::string(enumerator->name->text) + "'");
            note(entry->decl->location, "previous definition is here");
            continue;
        }
        scopes_.add(enumerator->name, enumerator);
    }
    if (decl->isScoped)
        scopes_.close();
}

void Analyzer::staticAssertion(StaticAssertDecl* decl) {
    Expr* condition = toBool(value(decl->condition));
    if (condition->type->isError())
        return;
    decl->condition = condition;
    const ConstantValue constant = evaluate(condition);
    const SourceLocation at = condition->begin ? condition->begin : decl->location;
    if (!constant)
        error(at, "static assertion expression is not an integral constant expression");
    else if (!constant.isTrue())
        error(at, decl->message.empty() ? std::string("static assertion failed")
                                        : "static assertion failed: " + std::string(decl->message));
}

// ------------------------------------------------------------------------------------------------------- variables

void Analyzer::variable(VarDecl* var) {
    if (context_.function)
        var->varKind = VarKind::local;
    else
        var->varKind = VarKind::global;
    const DeclaredType declared = resolveType(var->typeSyntax);
    finishVariable(var, declared);
}

void Analyzer::finishVariable(VarDecl* var, const DeclaredType& declared) {
    const std::string name(var->name ? var->name->text : std::string_view());
    TypeRef type = declared.type;
    var->type = type;
    var->isConst = declared.isConst || var->isConstexpr;
    var->space = AddressSpace::thread;
    const bool isReference = type->is(TypeKind::reference);
    const bool isIndirect = isReference || type->is(TypeKind::pointer);
    const bool isSampler = type->is(TypeKind::sampler);
    const auto invalid = [&] {
        var->type = types_.error();
        var->isInvalid = true;
    };
    checkAttributes(var);
    if (type->is(TypeKind::void_)) {
        error(var->location, "variable has incomplete type 'void'");
        invalid();
    } else if (type->isError()) {
        var->isInvalid = true;
    } else if (var->varKind == VarKind::global) {
        const bool isConstant = declared.hasSpace && declared.space == AddressSpace::constant;
        const bool isPlain = !isIndirect && !isSampler;
        if (isPlain && !isConstant) {
            error(var->location, "program scope variable must reside in constant address space");
            var->isInvalid = true; // but its type is known
        }
        if (isSampler && !var->isConstexpr) {
            error(var->location, "a sampler at program scope must be declared constexpr");
            invalid();
        }
        var->space = AddressSpace::constant;
        var->isConst = true;
    } else {
        if (declared.hasSpace && declared.space == AddressSpace::threadgroup && !isIndirect) {
            var->space = AddressSpace::threadgroup;
            if (context_.function && context_.function->stage != EntryStage::kernel &&
                context_.function->stage != EntryStage::none) {
                error(var->location, "threadgroup variables can be declared in kernel functions only");
                invalid();
            }
        } else if (declared.hasSpace && declared.space == AddressSpace::device && !isIndirect) {
            error(var->location, "automatic variable qualified with an address space");
            invalid();
        } else if (declared.hasSpace && declared.space == AddressSpace::constant) {
            var->isConst = true;
        }
        if (var->isStatic && !var->isConst && !isSampler) {
            error(var->location, "static local variable must be constant; declare '" + name + "' static constexpr");
            var->isInvalid = true;
        }
    }
    const bool isNamed = declare(var);
    const bool typeStands = !var->type->isError();
    if (typeStands)
        initializeVariable(var);
    else if (var->initializer && var->initializer->kind != ExprKind::initList)
        var->initializer = expression(var->initializer);
    if (!isNamed)
        var->isInvalid = true;
    if (var->varKind == VarKind::local && !var->isInvalid)
        localsToWarnAbout_.push_back(var);
}

void Analyzer::initializeVariable(VarDecl* var) {
    const std::string name(var->name ? var->name->text : std::string_view());
    TypeRef type = var->type;
    if (type->is(TypeKind::sampler) && (var->isConstexpr || var->isParenInit || !var->initializer) &&
        var->varKind != VarKind::parameter) {
        samplerVariable(var);
        return;
    }
    if (var->isParenInit) { // T x(a, b)
        std::span<Expr*> arguments = var->parenArguments;
        bool hasErrors = false;
        for (Expr*& argument : arguments) {
            if (argument->kind != ExprKind::initList)
                argument = expression(argument);
            hasErrors = hasErrors || (argument->type && argument->type->isError());
        }
        if (hasErrors) {
            var->initializer = errorAt(var->location);
        } else if (type->is(TypeKind::reference) || type->is(TypeKind::auto_)) {
            var->initializer = arguments.empty() ? nullptr : arguments[0];
        } else {
            var->initializer = constructType(type, arguments, false, nullptr, var->location);
        }
    }
    if (type->is(TypeKind::auto_) || (type->is(TypeKind::reference) && type->element->is(TypeKind::auto_)) ||
        (type->is(TypeKind::pointer) && type->element->is(TypeKind::auto_))) {
        if (!var->initializer) {
            error(var->location, "declaration of variable '" + name + "' with deduced type 'auto' requires an initializer");
            var->type = types_.error();
            return;
        }
        Expr* initializer = var->initializer;
        if (initializer->kind == ExprKind::initList && var->isBraceInit &&
            static_cast<InitList*>(initializer)->initializers.size() == 1)
            initializer = static_cast<InitList*>(initializer)->initializers[0].value;
        if (initializer->kind == ExprKind::initList) {
            error(var->location, "cannot deduce actual type for variable '" + name +
                                     "' with type 'auto' from initializer list");
            var->type = types_.error();
            return;
        }
        initializer = expression(initializer);
        TypeRef found = initializer->type;
        if (found->is(TypeKind::overload)) {
            initializer = load(initializer);
            found = initializer->type;
        }
        if (found->is(TypeKind::void_)) {
            error(var->location, "variable has incomplete type 'void'");
            found = types_.error();
        }
        if (found->isError()) {
            var->type = types_.error();
            return;
        }
        if (type->is(TypeKind::reference)) {
            const bool isLvalue = initializer->category == ValueCategory::lvalue;
            type = types_.reference(found, isLvalue ? initializer->space : AddressSpace::thread,
                                    type->pointeeConst || (isLvalue && initializer->isConst));
        } else if (type->is(TypeKind::pointer)) {
            if (!found->is(TypeKind::pointer)) {
                error(var->location, "variable '" + name + "' with type 'auto *' has incompatible initializer of type '" +
                                         typeName(found) + "'");
                var->type = types_.error();
                return;
            }
            type = found;
        } else if (found->is(TypeKind::array) && initializer->category == ValueCategory::lvalue &&
                   initializer->space != AddressSpace::thread) {
            type = types_.pointer(found->element, initializer->space, initializer->isConst);
        } else {
            type = found;
        }
        var->type = type;
        var->initializer = initializer;
    }
    if (type->is(TypeKind::array) && type->count == 0) {
        if (!var->initializer || var->initializer->kind != ExprKind::initList) {
            error(var->location, "definition of variable '" + name + "' with array type needs an explicit size or an initializer");
            var->type = types_.error();
            return;
        }
        const std::uint64_t count = countArrayElements(type->element, static_cast<InitList*>(var->initializer));
        if (count == 0) {
            error(var->location, "zero-length arrays are not permitted");
            var->type = types_.error();
            return;
        }
        type = types_.array(type->element, count);
        var->type = type;
    }
    if (!type->is(TypeKind::reference) && !type->is(TypeKind::pointer) &&
        !requireComplete(type, var->location, "variable has")) {
        var->type = types_.error();
        return;
    }
    if (!var->initializer) {
        if (type->is(TypeKind::reference)) {
            error(var->location, "declaration of reference variable '" + name + "' requires an initializer");
            var->isInvalid = true;
        } else if (type->is(TypeKind::struct_) && !isAggregate(type)) {
            var->initializer = callConstructor(type, {}, false, nullptr, var->location);
        } else if (type->is(TypeKind::struct_) && hasDefaultInitializers(type->structDecl)) {
            var->initializer = zeroValue(type, var->location);
        } else if (var->varKind == VarKind::global && !var->isInvalid) {
            bool isSpecialized = false;
            for (const Attribute& attribute : var->attributes)
                isSpecialized = isSpecialized || (attribute.name && attribute.name->text == "function_constant");
            if (!isSpecialized)
                error(var->location, "variable in constant address space must be initialized");
            var->isInvalid = true;
        } else if (var->isConst && !type->is(TypeKind::struct_) && var->space == AddressSpace::thread) {
            error(var->location, "default initialization of an object of const type 'const " + typeName(type) + "'");
            var->isInvalid = true;
        }
        return;
    }
    if (!var->initializer->type || var->initializer->type != type ||
        var->initializer->category == ValueCategory::lvalue) {
        Expr* initializer = var->initializer;
        const SourceLocation at = var->location;
        var->initializer = initialize(type, initializer, Purpose::variable, at);
    }
    if (var->initializer->type->isError())
        return; // the variable keeps its declared type, so that its uses are still checked
    if ((var->isConst || var->isConstexpr) && (type->isScalar() || type->is(TypeKind::enum_)) &&
        (type->is(TypeKind::enum_) || isInteger(type->scalar))) {
        const ConstantValue value = evaluate(var->initializer);
        if (value.kind == ConstantValue::Kind::integer) {
            var->hasConstantValue = true;
            var->constantValue = value.integer;
        }
    }
}

bool Analyzer::hasDefaultInitializers(const StructDecl* decl) const {
    for (const VarDecl* member : decl->fields) {
        if (member->initializer)
            return true;
        if (member->type && member->type->is(TypeKind::struct_) && hasDefaultInitializers(member->type->structDecl))
            return true;
    }
    return false;
}

// ------------------------------------------------------------------------------------------------------- functions

void Analyzer::functionSignature(FunctionDecl* function) {
    if (function->isConstructor) {
        function->returnType = types_.void_();
    } else {
        const DeclaredType declared = resolveType(function->returnTypeSyntax);
        function->returnType = declared.type;
        if (declared.type->is(TypeKind::array) && function->returnTypeSyntax &&
            !function->returnTypeSyntax->modifiers.empty()) {
            error(function->returnTypeSyntax->location, "function cannot return array type '" + typeName(declared.type) + "'");
            function->returnType = types_.error();
        }
        if (declared.type->is(TypeKind::struct_))
            requireComplete(declared.type, function->returnTypeSyntax->location, "result type is an");
        function->returnSpace = declared.type->is(TypeKind::reference) ? declared.type->space : AddressSpace::thread;
    }
    if (function->isVariadic)
        unsupported(function->location, "a function with a variable number of arguments");
    if (function->parameters.size() == 1 && !function->parameters[0]->name) { // f(void)
        VarDecl* only = function->parameters[0];
        if (only->typeSyntax && only->typeSyntax->modifiers.empty() && only->typeSyntax->name.identifier &&
            only->typeSyntax->name.identifier->text == "void")
            function->parameters = {};
    }
    std::uint32_t number = 0;
    bool hasDefault = false;
    for (VarDecl* parameter : function->parameters) {
        parameter->varKind = VarKind::parameter;
        parameter->parent = function;
        parameter->index = number++;
        const DeclaredType declared = resolveType(parameter->typeSyntax, true);
        parameter->type = declared.type;
        parameter->isConst = declared.isConst;
        parameter->space = declared.hasSpace ? declared.space : AddressSpace::thread;
        if (declared.type->is(TypeKind::void_)) {
            error(parameter->location ? parameter->location : parameter->typeSyntax->location,
                  "argument may not have 'void' type");
            parameter->type = types_.error();
        } else if (declared.type->is(TypeKind::auto_) ||
                   (declared.type->is(TypeKind::reference) && declared.type->element->is(TypeKind::auto_))) {
            error(parameter->typeSyntax->location, "'auto' not allowed in function prototype");
            parameter->type = types_.error();
        }
        if (parameter->type->isError())
            parameter->isInvalid = true;
        if (parameter->initializer) {
            hasDefault = true;
            if (!parameter->type->isError())
                parameter->initializer = initialize(parameter->type, parameter->initializer, Purpose::parameter,
                                                    parameter->location);
            else
                parameter->initializer = errorAt(parameter->location);
        } else if (hasDefault) {
            error(parameter->location ? parameter->location : function->location,
                  "missing default argument on parameter" +
                      (parameter->name ? " '" + std::string(parameter->name->text) + "'" : std::string()));
            parameter->initializer = parameter->type->isError() ? errorAt(parameter->location)
                                                                : zeroValue(parameter->type, parameter->location);
        }
        checkAttributes(parameter);
    }
}

void Analyzer::functionDeclaration(FunctionDecl* function) {
    if (!function->name) {
        function->isInvalid = true;
        return;
    }
    if (!function->templateParameters.empty()) {
        declare(function);
        return;
    }
    functionSignature(function);
    if (function->isSpecialization) {
        FunctionDecl* primary = nullptr;
        for (ScopeEntry* entry = function->name->scope; entry; entry = entry->hidden)
            if (entry->decl->kind == DeclKind::function && !static_cast<FunctionDecl*>(entry->decl)->templateParameters.empty()) {
                primary = static_cast<FunctionDecl*>(entry->decl);
                break;
            }
        if (!primary) {
            error(function->location, "no function template matches function template specialization '" +
                                          std::string(function->name->text) + "'");
            return;
        }
        function->definition = function->body ? function : nullptr;
        function->instanceOf = primary;
        function->instanceArguments = function->specializationArguments;
        for (std::size_t i = 0; i < function->instanceArguments.size() && i < primary->templateParameters.size(); ++i)
            if (primary->templateParameters[i]->isType)
                templateArgumentType(function->instanceArguments[i], true);
            else
                templateArgumentValue(function->instanceArguments[i], function->location);
        functionSpecializations_[primary].push_back(function);
    } else if (!declare(function)) {
        function->isInvalid = true;
    }
    checkAttributes(function);
    const unsigned before = diagnostics_.errorCount();
    if (function->stage != EntryStage::none)
        entryPoint(function);
    if (function->body && !function->isResolved)
        functionBody(function);
    if (function->stage != EntryStage::none && function->body && !function->isInvalid &&
        diagnostics_.errorCount() == before)
        entryPoints_.push_back(function);
}

void Analyzer::functionBody(FunctionDecl* function) {
    function->isResolved = true;
    const FunctionContext outer = context_;
    context_ = {};
    context_.function = function;
    context_.returnType = function->returnType->is(TypeKind::auto_) ? nullptr : function->returnType;
    context_.errorsAtStart = diagnostics_.errorCount();
    Decl* const outerParent = std::exchange(currentParent_, function);
    StructDecl* const outerStruct = std::exchange(currentStruct_, nullptr);
    const bool outerMetal = metalIsVisible_;
    std::vector<VarDecl*> outerLocals = std::exchange(localsToWarnAbout_, {});
    scopes_.open();
    for (VarDecl* parameter : function->parameters) {
        if (!parameter->name)
            continue;
        if (!requireComplete(parameter->type->is(TypeKind::reference) || parameter->type->is(TypeKind::pointer)
                                 ? types_.int_()
                                 : parameter->type,
                             parameter->location, "variable has"))
            parameter->isInvalid = true;
        if (ScopeEntry* entry = scopes_.findInInnermost(parameter->name)) {
            error(parameter->location, "redefinition of parameter '" + std::string(parameter->name->text) + "'");
            note(entry->decl->location, "previous declaration is here");
            continue;
        }
        scopes_.add(parameter->name, parameter);
    }
    if (function->isConstructor)
        memberInitializers(function);
    compound(function->body, false);
    if (!context_.returnType && function->returnType->is(TypeKind::auto_))
        function->returnType = types_.void_();
    if (diagnostics_.errorCount() == context_.errorsAtStart) {
        checkMissingReturn(function);
        if (!function->instanceOf)
            warnUnused();
    } else {
        function->isInvalid = true;
    }
    scopes_.close();
    localsToWarnAbout_ = std::move(outerLocals);
    metalIsVisible_ = outerMetal;
    currentStruct_ = outerStruct;
    currentParent_ = outerParent;
    context_ = outer;
}

void Analyzer::memberInitializers(FunctionDecl* function) {
    for (FunctionDecl::MemberInit& init : function->memberInits) {
        if (!init.name)
            continue;
        init.field = findField(function->owner, init.name);
        if (!init.field || !init.field->type) {
            if (init.name == function->owner->name)
                unsupported(init.location, "a delegating constructor");
            else
                error(init.location, "member initializer '" + std::string(init.name->text) +
                                         "' does not name a non-static data member or base class");
            continue;
        }
        const TypeRef type = init.field->type;
        if (init.isBraced && (init.arguments.size() != 1 || init.arguments[0]->kind == ExprKind::initList)) {
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
            if (argument->kind != ExprKind::initList)
                argument = expression(argument);
            hasErrors = hasErrors || (argument->type && argument->type->isError());
        }
        if (hasErrors)
            continue;
        if (init.arguments.size() == 1 && !type->is(TypeKind::struct_) && init.arguments[0]->kind != ExprKind::initList)
            init.value = convert(init.arguments[0], type, Purpose::member, init.location);
        else
            init.value = constructType(type, init.arguments, init.isBraced, nullptr, init.location);
    }
}

// Resolves a body that was put off, outside of whatever is being resolved now.
void Analyzer::resolveBodyNow(FunctionDecl* function) {
    if (function->isResolved || !function->body)
        return;
    if (instantiationDepth_ >= maxInstantiationDepth) {
        error(function->location, "recursive template instantiation exceeded maximum depth of " +
                                      std::to_string(maxInstantiationDepth));
        function->isResolved = true;
        return;
    }
    ++instantiationDepth_;
    Scopes::Suspended suspended = scopes_.suspend();
    const unsigned outerDepth = std::exchange(depth_, 0U);
    FunctionDecl* pattern = function->instanceOf;
    enterContext(pattern && !function->isSpecialization ? pattern->parent : function->parent);
    if (pattern && !function->isSpecialization) {
        scopes_.open();
        pushBindings(pattern->templateParameters, function->instanceArguments);
    }
    functionBody(function);
    while (scopes_.depth() > 0)
        scopes_.close();
    depth_ = outerDepth;
    scopes_.resume(std::move(suspended));
    --instantiationDepth_;
}

namespace {

bool containsBreak(const Stmt* stmt, bool nested) {
    if (!stmt)
        return false;
    switch (stmt->kind) {
    case StmtKind::break_: return !nested;
    case StmtKind::compound:
        for (const Stmt* child : static_cast<const CompoundStmt*>(stmt)->statements)
            if (containsBreak(child, nested))
                return true;
        return false;
    case StmtKind::if_: {
        const auto* branch = static_cast<const IfStmt*>(stmt);
        return containsBreak(branch->thenBranch, nested) || containsBreak(branch->elseBranch, nested);
    }
    default: return false; // loops and switches keep their breaks to themselves
    }
}

bool isTrue(const Expr* condition) {
    if (!condition)
        return true;
    if (condition->kind == ExprKind::implicitCast)
        return isTrue(static_cast<const ImplicitCast*>(condition)->operand);
    if (condition->kind == ExprKind::boolLiteral)
        return static_cast<const BoolLiteral*>(condition)->value;
    return condition->kind == ExprKind::intLiteral && static_cast<const IntLiteral*>(condition)->value != 0;
}

// Can control run past the end of the statement?
bool fallsThrough(const Stmt* stmt) {
    if (!stmt)
        return true;
    switch (stmt->kind) {
    case StmtKind::return_:
    case StmtKind::continue_:
    case StmtKind::break_: return false;
    case StmtKind::compound:
        for (const Stmt* child : static_cast<const CompoundStmt*>(stmt)->statements)
            if (!fallsThrough(child))
                return false;
        return true;
    case StmtKind::if_: {
        const auto* branch = static_cast<const IfStmt*>(stmt);
        return !branch->elseBranch || fallsThrough(branch->thenBranch) || fallsThrough(branch->elseBranch);
    }
    case StmtKind::for_: {
        const auto* loop = static_cast<const ForStmt*>(stmt);
        return !isTrue(loop->condition) || containsBreak(loop->body, false);
    }
    case StmtKind::while_: {
        const auto* loop = static_cast<const WhileStmt*>(stmt);
        return !isTrue(loop->condition) || containsBreak(loop->body, false);
    }
    case StmtKind::doWhile: {
        const auto* loop = static_cast<const DoWhileStmt*>(stmt);
        return (fallsThrough(loop->body) && !isTrue(loop->condition)) || containsBreak(loop->body, false);
    }
    case StmtKind::switch_: {
        const auto* choice = static_cast<const SwitchStmt*>(stmt);
        bool hasDefault = false;
        for (const Stmt* child : choice->body->statements) {
            if (child->kind == StmtKind::case_ && !static_cast<const CaseStmt*>(child)->value)
                hasDefault = true;
            if (containsBreak(child, false))
                return true;
        }
        if (!hasDefault)
            return true;
        for (std::size_t i = choice->body->statements.size(); i > 0; --i)
            if (choice->body->statements[i - 1]->kind != StmtKind::case_)
                return fallsThrough(choice->body->statements[i - 1]);
        return true;
    }
    default: return true;
    }
}

bool containsReturn(const Stmt* stmt) {
    if (!stmt)
        return false;
    switch (stmt->kind) {
    case StmtKind::return_: return true;
    case StmtKind::compound:
        for (const Stmt* child : static_cast<const CompoundStmt*>(stmt)->statements)
            if (containsReturn(child))
                return true;
        return false;
    case StmtKind::if_:
        return containsReturn(static_cast<const IfStmt*>(stmt)->thenBranch) ||
               containsReturn(static_cast<const IfStmt*>(stmt)->elseBranch);
    case StmtKind::for_: return containsReturn(static_cast<const ForStmt*>(stmt)->body);
    case StmtKind::rangeFor: return containsReturn(static_cast<const RangeForStmt*>(stmt)->body);
    case StmtKind::while_: return containsReturn(static_cast<const WhileStmt*>(stmt)->body);
    case StmtKind::doWhile: return containsReturn(static_cast<const DoWhileStmt*>(stmt)->body);
    case StmtKind::switch_: return containsReturn(static_cast<const SwitchStmt*>(stmt)->body);
    default: return false;
    }
}

} // namespace

void Analyzer::checkMissingReturn(FunctionDecl* function) {
    if (!function->returnType || function->returnType->is(TypeKind::void_) || function->returnType->isError())
        return;
    if (!fallsThrough(function->body))
        return;
    warning(function->end ? function->end : function->body->end,
            containsReturn(function->body) ? "non-void function does not return a value in all control paths"
                                           : "non-void function does not return a value");
}

void Analyzer::warnUnused() {
    for (const VarDecl* var : localsToWarnAbout_) {
        if (var->isUsed || !var->name || var->isInvalid)
            continue;
        bool isWanted = false;
        for (const Attribute& attribute : var->attributes)
            isWanted = isWanted || (attribute.name && (attribute.name->text == "maybe_unused" || attribute.name->text == "unused"));
        if (!isWanted)
            warning(var->location, "unused variable '" + std::string(var->name->text) + "'");
    }
}

} // namespace msl
