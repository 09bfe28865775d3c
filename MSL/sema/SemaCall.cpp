// Calls: of functions, of the library, of members, of objects.
#include "MSL/sema/Analyzer.h"

#include <algorithm>
#include <limits>

namespace msl {

bool Analyzer::arguments(Call* expr) {
    bool fine = true;
    expr->arguments = expandPacks(expr->arguments);
    for (Expr*& argument : expr->arguments) {
        if (argument->kind == ExprKind::initList && !argument->type) continue;
        argument = expression(argument);
        if (argument->type->is(TypeKind::overload)) argument = load(argument);
        if (argument->type->is(TypeKind::void_)) {
            error(argument->begin ? argument->begin : argument->location, "argument type 'void' is incomplete");
            argument = errorAt(argument);
        }
        fine = fine && !argument->type->isError();
    }
    return fine;
}

Expr* Analyzer::makeBuiltinCall(BuiltinId id, std::span<Expr* const> callArguments, TypeRef type, SourceLocation at) {
    Call* node = arena_.make<Call>();
    node->location = node->begin = at;
    node->arguments = arena_.copy(callArguments);
    node->builtin = id;
    node->type = type;
    return node;
}

Expr* Analyzer::finishCall(Call* expr, FunctionDecl* function) {
    function->isReferenced = true;
    if (function->isDeleted) {
        error(expr->location,
              "call to deleted function '" + std::string(function->name ? function->name->text : "operator") + "'");
        note(function->location, "candidate function has been explicitly deleted");
        return errorAt(expr);
    }
    if (expr->object && function->owner && !function->isStatic) { // a member of a base class works on that part
        const TypeRef object =
            expr->object->type->is(TypeKind::pointer) ? expr->object->type->element : expr->object->type;
        if (object->is(TypeKind::struct_) && object->structDecl != function->owner)
            if (Expr* base = toBase(expr->object, function->owner->type)) {
                expr->object = base;
                expr->objectIsPointer = base->type->is(TypeKind::pointer); // an empty base is a value
            }
    }
    const std::size_t given = expr->arguments.size();
    if (given < function->parameters.size()) {
        const std::span<Expr*> all = arena_.makeArray<Expr*>(function->parameters.size());
        std::copy(expr->arguments.begin(), expr->arguments.end(), all.begin());
        expr->arguments = all;
    }
    bool hasErrors = false;
    for (std::size_t i = 0; i < function->parameters.size(); ++i) {
        const VarDecl* parameter = function->parameters[i];
        if (i >= given) {
            expr->arguments[i] = parameter->initializer;
            continue;
        }
        Expr* argument = expr->arguments[i];
        if (!parameter->type || parameter->type->isError()) {
            hasErrors = true;
            continue;
        }
        expr->arguments[i] =
            convertArgument(argument, parameter->type, argument->begin ? argument->begin : argument->location);
        hasErrors = hasErrors || expr->arguments[i]->type->isError();
    }
    expr->function = function;
    if (function->instanceOf && function->body && !function->isResolved) pendingBodies_.push_back(function);
    if (hasErrors) return errorAt(expr);
    if (function->returnType && function->returnType->is(TypeKind::auto_)) resolveBodyNow(function);
    TypeRef type = function->returnType ? function->returnType : types_.error();
    if (type->is(TypeKind::auto_)) {
        error(expr->location, "function '" + std::string(function->name ? function->name->text : "") +
                                  "' with deduced return type cannot be used before it is defined");
        type = types_.error();
    }
    if (function->isConstructor) type = types_.void_();
    if (type->is(TypeKind::reference)) {
        expr->category = ValueCategory::lvalue;
        expr->space = type->space;
        expr->isConst = type->pointeeConst;
        type = type->element;
    }
    expr->type = type;
    return expr;
}

Expr* Analyzer::finishBuiltinCall(Call* expr, const BuiltinFunction& builtin, TypeRef t, Precision precision) {
    const BuiltinSignature& signature = *builtin.signature;
    for (std::size_t i = 0; i < expr->arguments.size(); ++i) {
        const BuiltinSlot slot = signature.parameters[i];
        const TypeRef type = slotType(types_, slot, t);
        Expr*& argument = expr->arguments[i];
        const SourceLocation at = argument->begin ? argument->begin : argument->location;
        if (slot == BuiltinSlot::atomicPointer) {
            argument = load(argument);
        } else if (isReferenceSlot(slot)) {
            if (argument->type->is(TypeKind::pointer)) {
                Unary* pointee = make<Unary>(argument);
                pointee->op = UnaryOp::dereference;
                pointee->operand = load(argument);
                pointee->category = ValueCategory::lvalue;
                pointee->space = argument->type->space;
                pointee->type = argument->type->element;
                argument = pointee;
            } else {
                argument = bindReference(argument, types_.reference(type, AddressSpace::thread, false),
                                         Purpose::parameter, at);
            }
        } else {
            argument = convert(argument, type, Purpose::parameter, at);
        }
        if (argument->type->isError()) return errorAt(expr);
    }
    if (builtin.id == BuiltinId::discardFragment && context_.function && context_.function->stage != EntryStage::none &&
        context_.function->stage != EntryStage::fragment) {
        error(expr->location, "'discard_fragment' can be used in fragment functions only");
        return errorAt(expr);
    }
    expr->builtin = builtin.id;
    expr->precision = precision;
    expr->type = slotType(types_, signature.result, t);
    return expr;
}

Expr* Analyzer::call(Call* expr) {
    if (!expr->callee) return errorAt(expr);
    if (expr->callee->kind == ExprKind::member && !expr->callee->type)
        return callMember(expr, static_cast<Member*>(expr->callee));
    if (expr->callee->kind != ExprKind::nameRef || static_cast<NameRef*>(expr->callee)->isThis || expr->callee->type)
        return callObject(expr);

    auto* callee = static_cast<NameRef*>(expr->callee);
    Name& name = callee->name;
    if (!name.identifier) return errorAt(expr);
    if (Expr* limit = numericLimit(name, true)) return limit;
    // A name that means a type, as one bound to a template parameter does, constructs.
    const bool mayBeType = !name.identifier->scope
                               ? isBuiltinTypeName(name.identifier->text) ||
                                     (name.hasTemplateArguments && isBuiltinTemplateName(name.identifier->text))
                               : name.identifier->scope->decl->kind != DeclKind::function &&
                                     name.identifier->scope->decl->kind != DeclKind::variable;
    if (mayBeType && name.qualifiers.empty() && !name.qualifierType)
        if (const std::optional<TypeRef> type = tryTypeName(name)) {
            Construct* node = make<Construct>(expr);
            node->begin = callee->begin ? callee->begin : callee->location;
            if (type.value()->is(TypeKind::sampler)) return samplerValue(node, expr->arguments);
            if (type.value()->isError() || !arguments(expr)) return errorAt(expr);
            return constructType(*type, expr->arguments, false, node, node->begin);
        }
    if (name.identifier->text == "is_function_constant_defined" && !name.identifier->scope)
        return functionConstantDefined(expr);
    if (name.identifier->text.starts_with("simd_make_") && !name.identifier->scope) // simd_make_float3(x, y, z)
        if (const TypeRef type = builtinType(types_, "simd_" + std::string(name.identifier->text.substr(10))); type)
            return arguments(expr) ? constructType(type, expr->arguments, false, make<Construct>(expr),
                                                   callee->begin ? callee->begin : callee->location)
                                   : errorAt(expr);
    bool handled = false;
    if (Expr* special = sampleOption(expr, name.identifier->text, &handled); handled) return special;
    if (Expr* special = nullTest(expr, name, &handled); handled) return special;
    NameMeaning meaning;
    if (name.qualifiers.empty() && !name.isGlobal && !name.qualifierType && arguments(expr))
        meaning = lookUpWithArguments(name.identifier, expr->arguments);
    if (meaning.kind == NameMeaning::Kind::nothing) meaning = lookUp(name, true, expr->arguments.size());
    switch (meaning.kind) {
    case NameMeaning::Kind::nothing:
    case NameMeaning::Kind::failed: arguments(expr); return errorAt(expr);
    case NameMeaning::Kind::functions:
    case NameMeaning::Kind::builtin: return callFunctions(expr, meaning, name);
    case NameMeaning::Kind::libraryConstant: break;
    case NameMeaning::Kind::declaration:
        if (meaning.decl->kind == DeclKind::struct_ || meaning.decl->kind == DeclKind::typeAlias ||
            meaning.decl->kind == DeclKind::enum_) {
            const TypeRef type = typeOfDecl(meaning.decl, name);
            Construct* node = make<Construct>(expr);
            node->begin = callee->begin ? callee->begin : callee->location;
            if (!arguments(expr) || !type || type->isError() || meaning.isCorrected) return errorAt(expr);
            return constructType(type, expr->arguments, false, node, node->begin);
        }
        if (meaning.decl->kind == DeclKind::variable) {
            expr->callee = variableReference(callee, static_cast<VarDecl*>(meaning.decl));
            return callObject(expr);
        }
        break;
    }
    error(callee->location, "called object '" + std::string(name.identifier->text) + "' is not a function");
    arguments(expr);
    return errorAt(expr);
}

// What the name means together with the functions of the namespaces that the arguments' structs stand in; nothing when
// those add none.
NameMeaning Analyzer::lookUpWithArguments(const Identifier* identifier, std::span<Expr* const> given) {
    NameMeaning meaning;
    std::vector<FunctionDecl*> found;
    std::vector<const Decl*> seen;
    for (const Expr* argument : given) {
        TypeRef type = argument->type;
        while (type && (type->is(TypeKind::pointer) || type->is(TypeKind::array)))
            type = type->element;
        const Decl* where = nullptr;
        if (type && type->is(TypeKind::struct_)) where = type->structDecl->parent;
        if (type && type->is(TypeKind::enum_)) where = type->enumDecl->parent;
        while (where && where->kind == DeclKind::struct_)
            where = where->parent;
        if (!where || where->kind != DeclKind::namespace_ || std::ranges::find(seen, where) != seen.end()) continue;
        seen.push_back(where);
        for (Decl* member : namespaceOf(static_cast<NamespaceDecl*>(const_cast<Decl*>(where)))->members)
            if (limit_.step() && member->name == identifier && member->kind == DeclKind::function)
                found.push_back(static_cast<FunctionDecl*>(member));
    }
    if (found.empty()) return meaning;
    if (identifier->scope || metalIsVisible_) meaning = lookUpUnqualified(identifier);
    if (meaning.kind == NameMeaning::Kind::declaration) return {}; // no function: found as what it is
    for (FunctionDecl* function : meaning.functions) {
        const auto isSame = [&](const FunctionDecl* other) {
            return other == function || (other->definition && other->definition == function->definition);
        };
        if (std::ranges::none_of(found, isSame)) found.push_back(function);
    }
    meaning.kind = NameMeaning::Kind::functions;
    meaning.functions = arena_.copy(found);
    return meaning;
}

Expr* Analyzer::callFunctions(Call* expr, NameMeaning& meaning, Name& name) {
    const SourceLocation at = expr->callee->begin ? expr->callee->begin : expr->callee->location;
    if (!arguments(expr)) return errorAt(expr);
    const std::span<Expr*> given = expr->arguments;
    std::vector<Candidate> candidates;
    bool hasMember = false;
    name.templateArguments = expandPacks(name.templateArguments);
    for (FunctionDecl* function : meaning.functions) {
        candidates.push_back(consider(function, given, name.templateArguments));
        hasMember = hasMember || function->owner;
    }
    if (meaning.builtin && !name.hasTemplateArguments) candidates.push_back(considerBuiltin(*meaning.builtin, given));
    bool isAmbiguous = false;
    const Candidate* chosen = nullptr;
    const auto takesObject = [](const FunctionDecl* function) {
        return function->owner && !function->isStatic && !function->isConstructor;
    };
    if (std::ranges::any_of(meaning.functions, takesObject) && objectOwner()) {
        const TypeRef self = implicitThis(at)->type;
        chosen = bestMethod(candidates, given, self->space, self->pointeeConst, &isAmbiguous);
        if (!chosen && candidates.size() == 1 && candidates[0].failure == Candidate::Failure::object)
            chosen = candidates.data(); // the fault is told below
    } else {
        chosen = best(candidates, given, &isAmbiguous);
    }
    if (!chosen) {
        if (meaning.isCorrected) return errorAt(expr);
        for (const FunctionDecl* function : meaning.functions)
            if (function->isInvalid) return errorAt(expr); // who knows what it takes
        for (const Candidate& candidate : candidates)
            if (candidate.isAmbiguousBuiltin && candidates.size() == 1) {
                error(at, "call to '" + std::string(name.identifier->text) + "' is ambiguous");
                noteCandidate(candidate, given, at);
                return errorAt(expr);
            }
        reportNoMatch(at, hasMember ? "no matching member function for call to" : "no matching function for call to",
                      name.identifier->text, candidates, given);
        return errorAt(expr);
    }
    if (isAmbiguous) {
        error(at, "call to '" + std::string(name.identifier->text) + "' is ambiguous");
        for (const Candidate& candidate : candidates)
            if (candidate.isViable && !candidate.builtin) note(candidate.function->location, "candidate function");
        return errorAt(expr);
    }
    if (chosen->builtin) return finishBuiltinCall(expr, *chosen->builtin, chosen->builtinType, meaning.precision);
    FunctionDecl* function = chosen->function;
    if (function->stage != EntryStage::none) {
        error(at, "'" + std::string(name.identifier->text) + "' is an entry point and cannot be called");
        return errorAt(expr);
    }
    if (function->owner && !function->isStatic && !function->isConstructor) { // a member of this object
        if (!objectOwner()) {
            error(at, "call to non-static member function '" + std::string(name.identifier->text) +
                          "' without an object argument");
            return errorAt(expr);
        }
        expr->object = implicitThis(at);
        if (expr->object->type->isError()) return errorAt(expr);
        expr->objectIsPointer = true;
        if (expr->object->type->pointeeConst && !function->isConstMember) {
            error(at, "'this' argument to member function '" + std::string(name.identifier->text) +
                          "' is const, but function is not marked const");
            note(function->location, "'" + std::string(name.identifier->text) + "' declared here");
            return errorAt(expr);
        }
    }
    return finishCall(expr, function);
}

Expr* Analyzer::callObject(Call* expr) {
    Expr* callee = expression(expr->callee);
    const bool fine = arguments(expr);
    if (callee->type->isError() || !fine) return errorAt(expr);
    if (callee->type->is(TypeKind::struct_) || callee->type->is(TypeKind::lambda)) {
        std::vector<Candidate> candidates;
        for (FunctionDecl* function : findMethods(callee->type->structDecl, identifiers_.get("operator()")))
            candidates.push_back(consider(function, expr->arguments, {}));
        if (!candidates.empty()) {
            bool isAmbiguous = false;
            const bool isLvalue = callee->category == ValueCategory::lvalue;
            const Candidate* chosen =
                bestMethod(candidates, expr->arguments, isLvalue ? callee->space : AddressSpace::thread,
                           isLvalue && callee->isConst, &isAmbiguous);
            if (!chosen) {
                reportNoMatch(expr->callee->location, "no matching function for call to object of type",
                              typeName(callee->type), candidates, expr->arguments);
                return errorAt(expr);
            }
            expr->object = callee;
            return finishCall(expr, chosen->function);
        }
    }
    error(callee->begin ? callee->begin : callee->location,
          "called object type '" + typeName(callee->type) + "' is not a function or function pointer");
    return errorAt(expr);
}

// What array<T, N> can be asked for.
Expr* Analyzer::arrayMethod(Call* expr, Member* callee, TypeRef type) {
    const std::string_view text = callee->name.identifier->text;
    const auto count = static_cast<std::int64_t>(type->count);
    const auto wrongCount = [&](std::size_t wanted) {
        if (expr->arguments.size() == wanted) return false;
        error(callee->location, "'" + std::string(text) + "' takes " + (wanted == 0 ? "no arguments" : "one argument"));
        return true;
    };
    if (text == "size" || text == "max_size" || text == "empty") {
        if (wrongCount(0)) return errorAt(expr);
        if (type->count == 0 && text == "size") { // of an array_ref
            expr->object = callee->base;
            expr->objectIsPointer = callee->isArrow;
            expr->builtin = BuiltinId::arrayRefSize;
            expr->type = types_.scalar(ScalarKind::ulong);
            return expr;
        }
        if (text != "empty") return makeInteger(count, types_.scalar(ScalarKind::ulong), expr->location);
        BoolLiteral* none = make<BoolLiteral>(expr);
        none->type = types_.bool_();
        return none;
    }
    Expr* object = callee->base;
    if (callee->isArrow) {
        Unary* pointee = make<Unary>(object);
        pointee->op = UnaryOp::dereference;
        pointee->operand = load(object);
        pointee->category = ValueCategory::lvalue;
        pointee->space = object->type->space;
        pointee->isConst = object->type->pointeeConst;
        pointee->type = type;
        object = pointee;
    }
    const bool isElement = text == "front" || text == "back" || text == "at";
    if (isElement) {
        if (wrongCount(text == "at" ? 1 : 0)) return errorAt(expr);
        Index* element = make<Index>(expr);
        element->base = object;
        element->index = text == "at" ? expr->arguments[0]
                                      : makeInteger(text == "front" ? 0 : count - 1, types_.int_(), expr->location);
        return index(element);
    }
    const bool isPointer = text == "data" || text == "begin" || text == "cbegin" || text == "end" || text == "cend";
    if (isPointer) {
        if (wrongCount(0)) return errorAt(expr);
        if (object->category != ValueCategory::lvalue) {
            error(callee->location, "a pointer into a temporary array would dangle");
            return errorAt(expr);
        }
        const TypeRef pointer = types_.pointer(type->element, object->space, object->isConst || text[0] == 'c');
        Expr* first = makeCast(CastKind::arrayToPointer, object, pointer);
        if (!text.ends_with("end")) return first;
        Binary* last = make<Binary>(expr);
        last->op = BinaryOp::add;
        last->left = first;
        last->right = makeInteger(count, types_.int_(), expr->location);
        last->type = pointer;
        return last;
    }
    error(callee->location, "no member named '" + std::string(text) + "' in '" + typeName(type) + "'");
    return errorAt(expr);
}

Expr* Analyzer::callMember(Call* expr, Member* callee) {
    if (isLog(callee)) return logCall(expr);
    if (Expr* vote = voteMethod(expr, callee)) return vote;
    Expr* typed = member(callee);
    if (!typed->type->is(TypeKind::overload)) {
        if (typed->type->isError()) {
            arguments(expr);
            return errorAt(expr);
        }
        expr->callee = typed;
        return callObject(expr);
    }
    if (typed->kind != ExprKind::member) return errorAt(expr);
    Expr* object = callee->base;
    TypeRef type = object->type;
    if (callee->isArrow && type->is(TypeKind::pointer)) type = type->element;
    if (type->is(TypeKind::texture)) return textureMethod(expr, callee);
    if (!arguments(expr)) return errorAt(expr);
    if (type->is(TypeKind::interpolant)) return interpolantMethod(expr, callee);
    if (type->is(TypeKind::array)) return arrayMethod(expr, callee, type);
    const bool isConst =
        callee->isArrow ? object->type->pointeeConst : object->isConst && object->category == ValueCategory::lvalue;
    std::vector<Candidate> candidates;
    std::span<FunctionDecl*> methods = findMethods(type->structDecl, callee->name.identifier);
    if (!callee->name.qualifiers.empty() || callee->name.qualifierType)
        methods = lookUpQualified(callee->name).functions;
    for (FunctionDecl* function : methods)
        candidates.push_back(consider(function, expr->arguments, callee->name.templateArguments));
    const AddressSpace space = callee->isArrow                             ? object->type->space
                               : object->category == ValueCategory::lvalue ? object->space
                                                                           : AddressSpace::thread;
    bool isAmbiguous = false;
    const Candidate* chosen = bestMethod(candidates, expr->arguments, space, isConst, &isAmbiguous);
    if (!chosen) {
        if (candidates.size() == 1 && candidates[0].failure == Candidate::Failure::object &&
            !candidates[0].function->isConstMember && isConst) {
            error(callee->location, "'this' argument to member function '" +
                                        std::string(callee->name.identifier->text) + "' has type 'const " +
                                        typeName(type) + "', but function is not marked const");
            note(candidates[0].function->location,
                 "'" + std::string(callee->name.identifier->text) + "' declared here");
            return errorAt(expr);
        }
        reportNoMatch(callee->location, "no matching member function for call to", callee->name.identifier->text,
                      candidates, expr->arguments);
        return errorAt(expr);
    }
    if (isAmbiguous) {
        error(callee->location,
              "call to member function '" + std::string(callee->name.identifier->text) + "' is ambiguous");
        for (const Candidate& candidate : candidates)
            if (candidate.isViable) note(candidate.function->location, "candidate function");
        return errorAt(expr);
    }
    if (!chosen->function->isStatic) {
        expr->object = object;
        expr->objectIsPointer = callee->isArrow;
    }
    callee->function = chosen->function;
    return finishCall(expr, chosen->function);
}

} // namespace msl
