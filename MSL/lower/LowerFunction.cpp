// Functions and calls. What a reference, pointer, texture or sampler argument stands for is part of which instance of
// the function is called; what is only known at run time (values, indices) travels as ordinary parameters, and thread
// variables of the caller as pointer parameters.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Value;

namespace {

// Marks in an instance's key, so that no two different signatures give the same numbers.
enum Mark : std::uint32_t {
    markValue = 1,
    markPlace,
    markPointer,
    markNull,
    markResource,
    markAggregate,
    markNothing,
    markGlobalRoot,
    markThreadRoot,
    markMember,
    markIndex,
    markDynamicIndex,
    markSwizzle,
    markThis,
    markSlot,
    markView,
    markUnionMember,
    markElement,
    markChoice,
    markResources,
};

std::uint64_t hashOf(std::span<const std::uint32_t> key) {
    std::uint64_t hash = 0xCBF29CE484222325ULL;
    for (const std::uint32_t part : key)
        hash = (hash ^ part) * 0x100000001B3ULL;
    return hash;
}

bool isThreadRoot(const ir::Variable& variable) {
    return variable.kind == ir::Variable::Kind::local || variable.kind == ir::Variable::Kind::pointerParameter;
}

FunctionDecl* definitionOf(FunctionDecl* function) {
    return function->body == nullptr && function->definition != nullptr ? function->definition : function;
}

} // namespace

// ----------------------------------------------------------------------------------------------------- signatures

// Elements of arrays are told apart at run time, so that one instance serves all of them; the few columns of a matrix
// and components of a vector are part of the instance, and so is the first element, which an array's name stands for.
static bool isPassedAsIndex(TypeRef container, const ir::Step& step) {
    return step.value != nullptr || (step.number != 0 && container != nullptr && container->is(TypeKind::array));
}

void Lowering::describe(CallSignature& signature, const Access& access) {
    if (access.element != nullptr) {
        signature.key.push_back(markElement);
        signature.key.push_back(access.element->type->id);
        signature.values.push_back(access.element);
    }
    switch (access.kind) {
    case Access::Kind::value: describe(signature, access.held); return;
    case Access::Kind::slot:
        signature.key.push_back(markSlot);
        describe(signature, *access.slot);
        return;
    case Access::Kind::nothing: signature.key.push_back(markNothing); return;
    case Access::Kind::choice:
        signature.key.push_back(markChoice);
        signature.key.push_back(static_cast<std::uint32_t>(access.options.size()));
        signature.values.push_back(access.number);
        for (const Access& option : access.options)
            describe(signature, option);
        return;
    case Access::Kind::place: break;
    }
    signature.key.push_back(markPlace);
    ir::Variable* root = access.place->root;
    if (isThreadRoot(*root)) {
        if (isView(access.place)) { // what counts is what it looks at
            signature.key.push_back(markView);
            signature.key.push_back(root->type->id);
            root = views_.at(root);
        }
        auto known = std::ranges::find(signature.roots, root);
        signature.key.push_back(markThreadRoot);
        signature.key.push_back(static_cast<std::uint32_t>(known - signature.roots.begin()));
        signature.key.push_back(root->type->id);
        if (known == signature.roots.end()) signature.roots.push_back(root);
    } else {
        signature.key.push_back(markGlobalRoot);
        signature.key.push_back(root->id);
    }
    TypeRef type = access.place->root->type;
    for (const ir::Step& step : access.place->steps) {
        if (step.kind == ir::Step::Kind::member) {
            signature.key.push_back(markMember);
            signature.key.push_back(step.number);
            type = type->is(TypeKind::struct_) && step.number < type->record->fields.size()
                       ? type->record->fields[step.number].type
                       : nullptr;
            continue;
        }
        if (isPassedAsIndex(type, step)) {
            Value* index = step.value != nullptr ? step.value : module_.constantInt(module_.types.int_(), step.number);
            signature.key.push_back(markDynamicIndex);
            signature.key.push_back(index->type->id);
            signature.values.push_back(index);
        } else {
            signature.key.push_back(markIndex);
            signature.key.push_back(step.number);
        }
        type = type == nullptr ? nullptr : type->is(TypeKind::array) ? type->element : nullptr;
    }
    if (access.unionMember != nullptr) {
        signature.key.push_back(markUnionMember);
        signature.key.push_back(access.unionMember->id);
    }
    if (access.swizzleCount > 0) {
        signature.key.push_back(markSwizzle);
        for (unsigned i = 0; i < access.swizzleCount; ++i)
            signature.key.push_back(access.swizzle[i]);
    }
}

void Lowering::describe(CallSignature& signature, const Operand& operand) {
    switch (operand.kind) {
    case Operand::Kind::nothing: signature.key.push_back(markNothing); break;
    case Operand::Kind::value:
        signature.key.push_back(markValue);
        signature.key.push_back(operand.value->type->id);
        signature.values.push_back(operand.value);
        break;
    case Operand::Kind::pointer:
        signature.key.push_back(operand.access != nullptr ? markPointer : markNull);
        if (operand.access != nullptr) describe(signature, *operand.access);
        break;
    case Operand::Kind::resource:
        signature.key.push_back(markResource);
        signature.key.push_back(operand.resource->id);
        if (operand.value == nullptr) break;
        if (operand.value->isConstant()) {
            signature.key.push_back(markIndex);
            signature.key.push_back(static_cast<std::uint32_t>(operand.value->bits));
            break;
        }
        signature.key.push_back(markDynamicIndex);
        signature.key.push_back(operand.value->type->id);
        signature.values.push_back(operand.value);
        break;
    case Operand::Kind::choice:
        signature.key.push_back(markResources);
        signature.key.push_back(static_cast<std::uint32_t>(operand.members.size()));
        for (const Operand& member : operand.members)
            describe(signature, member);
        signature.values.push_back(operand.value);
        break;
    case Operand::Kind::aggregate:
        signature.key.push_back(markAggregate);
        signature.key.push_back(static_cast<std::uint32_t>(operand.members.size()));
        for (const Operand& member : operand.members)
            describe(signature, member);
        break;
    }
}

// The callee's view of the same argument. Walks exactly as describe() does.
Access Lowering::receive(InstanceParameters& parameters, const Access& given) {
    Access access = given;
    const auto parameter = [&](TypeRef type) {
        Value* value = module_.newValue(Value::Kind::parameter, type);
        parameters.values.push_back(value);
        return value;
    };
    if (given.element != nullptr) access.element = parameter(given.element->type);
    switch (access.kind) {
    case Access::Kind::value: {
        Access result = heldAccess(receive(parameters, access.held));
        result.type = access.type;
        result.element = access.element;
        return result;
    }
    case Access::Kind::nothing: return access;
    case Access::Kind::choice:
        access.number = parameter(given.number->type);
        access.options = module_.arena.copy(std::span<const Access>(given.options));
        for (Access& option : access.options)
            option = receive(parameters, option);
        return access;
    case Access::Kind::slot: {
        Access result = access;
        result.slot = &slots_.emplace_back();
        receive(parameters, *access.slot, *result.slot);
        return result;
    }
    case Access::Kind::place: break;
    }
    auto* place = module_.arena.make<ir::Place>();
    place->type = access.place->type;
    place->root = access.place->root;
    if (isThreadRoot(*place->root)) {
        ir::Variable* root = isView(place) ? views_.at(place->root) : place->root;
        ir::Variable*& mapped = parameters.roots[root];
        if (mapped == nullptr) {
            mapped = module_.newVariable(ir::Variable::Kind::pointerParameter, root->type, root->name);
            parameters.pointers.push_back(mapped);
        }
        place->root = isView(place) ? viewVariable(mapped, place->root->type->element->element) : mapped;
    }
    const std::span<ir::Step> steps = module_.arena.makeArray<ir::Step>(access.place->steps.size());
    TypeRef type = access.place->root->type;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const ir::Step& old = access.place->steps[i];
        steps[i] = old;
        if (old.kind == ir::Step::Kind::member) {
            type = type != nullptr && type->is(TypeKind::struct_) && old.number < type->record->fields.size()
                       ? type->record->fields[old.number].type
                       : nullptr;
            continue;
        }
        if (isPassedAsIndex(type, old)) {
            const TypeRef indexType = old.value != nullptr ? old.value->type : module_.types.int_();
            steps[i].value = module_.newValue(Value::Kind::parameter, indexType);
            steps[i].number = 0;
            parameters.values.push_back(steps[i].value);
        }
        type = type == nullptr ? nullptr : type->is(TypeKind::array) ? type->element : nullptr;
    }
    place->steps = steps;
    Access result = access;
    result.place = place;
    return result;
}

Operand Lowering::receive(InstanceParameters& parameters, const Operand& operand) {
    Operand result = operand;
    switch (operand.kind) {
    case Operand::Kind::value:
        result.value = module_.newValue(Value::Kind::parameter, operand.value->type);
        parameters.values.push_back(result.value);
        break;
    case Operand::Kind::resource:
        if (operand.value == nullptr || operand.value->isConstant()) break;
        result.value = module_.newValue(Value::Kind::parameter, operand.value->type);
        parameters.values.push_back(result.value);
        break;
    case Operand::Kind::pointer:
        if (operand.access != nullptr) result.access = module_.arena.make<Access>(receive(parameters, *operand.access));
        break;
    case Operand::Kind::choice:
    case Operand::Kind::aggregate:
        result.members = module_.arena.copy<Operand>(std::span<const Operand>(operand.members));
        for (Operand& member : result.members)
            member = receive(parameters, member);
        if (operand.kind == Operand::Kind::aggregate) break;
        result.value = module_.newValue(Value::Kind::parameter, operand.value->type);
        parameters.values.push_back(result.value);
        break;
    default: break;
    }
    return result;
}

// -------------------------------------------------------------------------------------------------------- instances

void Lowering::reportRecursion(FunctionDecl* function, SourceLocation at) {
    const auto from = std::ranges::find(callStack_, function);
    const bool isDirect = from != callStack_.end() && from + 1 == callStack_.end();
    diagnostics_.error(at, "recursion is not supported: '" + std::string(nameOf(function)) + "' calls " +
                               (isDirect ? "itself"
                                         : "itself through " + (from + 1 < callStack_.end()
                                                                    ? "'" + std::string(nameOf(*(from + 1))) + "'"
                                                                    : std::string("another function"))));
}

// A parameter starts as what the caller handed over; one that the body writes gets memory of its own.
void Lowering::bindParameter(VarDecl* parameter, const Access& argument) {
    VariableFacts& facts = this->facts(parameter);
    facts.isBound = true;
    facts.access = argument;
    const TypeRef type = parameter->type;
    if (type->is(TypeKind::reference) || !checkStorable(type, parameter->location)) return;
    facts.access.type = type;
    const bool needsMemory = facts.isWritten || (facts.isIndexedDynamically && !type->isVector());
    if (!needsMemory) return;
    if (isOpaque(type)) {
        if (!facts.isWritten) return;
        Slot& slot = slots_.emplace_back();
        fillSlot(slot, type, useOf(facts), nameOf(parameter));
        storeSlot(slot, argument.held, parameter->location);
        facts.access = Access{.kind = Access::Kind::slot, .type = type, .held = {}, .place = nullptr, .slot = &slot};
        return;
    }
    if (argument.held.kind != Operand::Kind::value) return;
    ir::Variable* local = newLocal(valueType(type), nameOf(parameter));
    builder_.store(builder_.place(local), argument.held.value);
    facts.access = placeAccess(builder_.place(local), type);
}

void Lowering::endFunction(TypeRef returnType) {
    if (builder_.block->isTerminated()) return;
    if (!runsOn(*builder_.block))
        builder_.unreachable();
    else if (context_->isConstructor)
        builder_.return_(load(context_->thisAccess, builder_.location).value);
    else
        builder_.return_(returnType->is(TypeKind::void_) ? nullptr : module_.constantNull(returnType));
}

Lowering::CallSignature Lowering::signatureOf(FunctionDecl* function, std::span<const Access> arguments,
                                              const Access* object) {
    CallSignature signature;
    signature.key.reserve(4 + 4 * arguments.size()); // enough for plain values
    signature.values.reserve(arguments.size());
    signature.key.push_back(function->loweringId);
    for (const Access& argument : arguments)
        describe(signature, argument);
    if (object != nullptr) {
        signature.key.push_back(markThis);
        describe(signature, *object);
    }
    return signature;
}

// Whether a writer can pass so many variables of the caller; values can travel together, variables not.
bool Lowering::canPass(const CallSignature& signature, SourceLocation at) {
    constexpr std::size_t mostValues = 16'000;
    constexpr std::size_t mostVariables = 250;
    if (signature.values.size() > mostValues)
        unsupported(at, "a call that hands over more than " + std::to_string(mostValues) + " values is");
    return signature.roots.size() <= mostVariables;
}

ir::Function* Lowering::instanceFor(FunctionDecl* function, std::span<const Access> arguments, const Access* object,
                                    const CallSignature& signature) {
    const std::uint64_t hash = hashOf(signature.key);
    const auto [begin, end] = instances_.equal_range(hash);
    for (auto at = begin; at != end; ++at)
        if (at->second->key == signature.key) return at->second->function;

    const std::size_t numberStores = numberStores_.size();
    const Diagnostics::Mark mark = diagnostics_.mark();
    const bool isConstructor = function->isConstructor;
    const TypeRef returnType = valueType(isConstructor ? function->owner->type : function->returnType);
    ir::Function* made = module_.newFunction(nameOf(function), returnType);
    Instance& instance = instanceStore_.emplace_back(made, signature.key);
    instances_.emplace(hash, &instance);

    InstanceParameters parameters;
    std::vector<Access> received;
    received.reserve(arguments.size());
    for (const Access& argument : arguments)
        received.push_back(receive(parameters, argument));
    Context context;
    context.function = made;
    context.decl = function;
    context.isConstructor = isConstructor;
    if (object != nullptr) {
        context.hasThis = true;
        context.thisAccess = receive(parameters, *object);
    }
    made->parameters = module_.arena.copy(parameters.values);
    made->pointerParameters = module_.arena.copy(parameters.pointers);

    Context* outerContext = context_;
    ir::Block* outerBlock = builder_.block;
    const SourceLocation outerLocation = builder_.location;
    context_ = &context;
    builder_.block = made->body;
    if (isConstructor) {
        ir::Variable* local = newLocal(returnType, "object");
        context.hasThis = true;
        context.thisAccess = placeAccess(builder_.place(local), function->owner->type);
    }
    for (std::size_t i = 0; i < received.size() && i < function->parameters.size(); ++i)
        bindParameter(function->parameters[i], received[i]);
    lowerBody(function);
    endFunction(returnType);
    context_ = outerContext;
    builder_.block = outerBlock;
    builder_.location = outerLocation;
    removeUnused(made, numberStores, context.hasRepeats);
    if (context.setsPointers) {
        facts(function).setsPointers = true;
        if (!isTooDeep_) diagnostics_.rollBack(mark); // that it is too much is final
        std::erase_if(instances_, [&](const auto& one) { return one.second == &instance; });
        return nullptr;
    }
    module_.functions.push_back(made);
    return made;
}

void Lowering::lowerBody(FunctionDecl* function) {
    FunctionFacts& facts = this->facts(function);
    facts.isActive = true;
    callStack_.push_back(function);
    if (function->isConstructor) initialiseMembers(function, context_->thisAccess);
    if (function->body != nullptr) statement(function->body);
    callStack_.pop_back();
    facts.isActive = false;
}

// ------------------------------------------------------------------------------------------------------------ calls

std::vector<Access> Lowering::bindArguments(FunctionDecl* function, std::span<Expr* const> arguments) {
    std::vector<Access> bound;
    bound.reserve(arguments.size());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const TypeRef type = i < function->parameters.size() ? function->parameters[i]->type : arguments[i]->type;
        if (!type->is(TypeKind::reference)) {
            Access access = heldAccess(rvalue(arguments[i]));
            access.type = type;
            bound.push_back(access);
            continue;
        }
        bound.push_back(referredTo(arguments[i], type));
    }
    return bound;
}

bool Lowering::refersToSlot(const Operand& operand) {
    if (operand.kind == Operand::Kind::pointer) return operand.access != nullptr && refersToSlot(*operand.access);
    return std::ranges::any_of(operand.members, [](const Operand& member) { return refersToSlot(member); });
}

// Whether a callee may set a pointer of its caller through this.
bool Lowering::refersToSlot(const Access& access) {
    if (access.kind == Access::Kind::slot) return true;
    if (access.kind == Access::Kind::value) return refersToSlot(access.held);
    return std::ranges::any_of(access.options, [](const Access& option) { return refersToSlot(option); });
}

// What a reference of this type is bound to. Something that has no place of its own is bound as a value, which serves a
// reference that only reads.
Access Lowering::referredTo(const Expr* expr, TypeRef referenceType) {
    Access access = lvalue(expr);
    if (access.kind == Access::Kind::choice)
        return mapOptions(access, access.type,
                          [&](const Access& option) { return referredTo(option, referenceType, expr->location); });
    return referredTo(access, referenceType, expr->location);
}

Access Lowering::referredTo(const Access& access, TypeRef referenceType, SourceLocation at) {
    if (access.kind != Access::Kind::place || (access.unionMember == nullptr && access.swizzleCount == 0))
        return access;
    if (access.unionMember == nullptr && access.swizzleCount == 1)
        return placeAccess(builder_.placeIndex(access.place, access.swizzle[0], access.type), access.type);
    if (ir::Place* view = viewOfMember(access)) return placeAccess(view, access.type);
    if (!referenceType->pointeeConst) unsupported(at, "a reference to a member of a union or to several components is");
    return heldAccess(load(access, at));
}

Operand Lowering::callFunction(const Call& call) {
    FunctionDecl* function = definitionOf(call.function);
    Access object;
    bool hasObject = false;
    if (call.object != nullptr && function->owner != nullptr && !function->isStatic) {
        hasObject = true;
        object = call.objectIsPointer ? dereference(rvalue(call.object), call.object->type->element, call.location)
                                      : lvalue(call.object);
        scan(function);
        if (object.kind == Access::Kind::value && !function->isConstMember &&
            object.held.kind == Operand::Kind::value) {
            ir::Variable* temporary = newLocal(object.held.value->type, "object");
            builder_.store(builder_.place(temporary), object.held.value);
            object = placeAccess(builder_.place(temporary), object.type);
        } else if (object.kind == Access::Kind::value && !function->isConstMember &&
                   object.held.kind == Operand::Kind::aggregate) {
            Slot& slot = slots_.emplace_back();
            fillSlot(slot, object.held.type, SlotUse::repointed, "object");
            storeSlot(slot, object.held, call.location);
            object.kind = Access::Kind::slot;
            object.slot = &slot;
        }
    }
    const std::vector<Access> arguments = bindArguments(function, call.arguments);
    builder_.location = call.location;
    return callWith(function, arguments, hasObject ? &object : nullptr, call.location);
}

Operand Lowering::callWith(FunctionDecl* function, std::span<const Access> arguments, const Access* object,
                           SourceLocation at) {
    if (function->body == nullptr) {
        diagnostics_.error(at, "'" + std::string(nameOf(function)) + "' is declared but never defined");
        return errorOperand(function->returnType);
    }
    FunctionFacts& facts = this->facts(function);
    if (facts.isActive) {
        reportRecursion(function, at);
        return errorOperand(function->returnType);
    }
    if (isTooDeep_) return errorOperand(function->returnType);
    scan(function);
    const bool hasSlots = std::ranges::any_of(arguments, [](const Access& one) { return refersToSlot(one); }) ||
                          (object != nullptr && refersToSlot(*object));
    if (isOpaque(function->returnType) || (facts.setsPointers && hasSlots))
        return expandInPlace(function, arguments, object, at);
    const CallSignature signature = signatureOf(function, arguments, object);
    if (!canPass(signature, at)) return expandInPlace(function, arguments, object, at);
    const ir::Function* callee = instanceFor(function, arguments, object, signature);
    if (callee == nullptr) return expandInPlace(function, arguments, object, at);
    builder_.location = at;
    inheritNeeds(callee);
    Value* result = builder_.call(const_cast<ir::Function*>(callee), signature.values, signature.roots);
    if (function->returnType->is(TypeKind::void_)) return {};
    return Operand::ofValue(result, function->returnType);
}

Operand Lowering::runConstructor(FunctionDecl* constructor, std::span<Expr* const> arguments, TypeRef type,
                                 SourceLocation at) {
    FunctionDecl* function = definitionOf(constructor);
    const std::vector<Access> bound = bindArguments(function, arguments);
    FunctionFacts& facts = this->facts(function);
    if (facts.isActive) {
        reportRecursion(function, at);
        return errorOperand(type);
    }
    if (isTooDeep_) return errorOperand(type);
    scan(function);
    if (isOpaque(type)) return constructInPlace(function, bound, type, at);
    const CallSignature signature = signatureOf(function, bound, nullptr);
    if (!canPass(signature, at)) {
        unsupported(at, "a constructor that takes so many references is");
        return errorOperand(type);
    }
    ir::Function* callee = instanceFor(function, bound, nullptr, signature);
    if (callee == nullptr) {
        unsupported(at, "a constructor that sets a pointer of its caller is");
        return errorOperand(type);
    }
    builder_.location = at;
    inheritNeeds(callee);
    return Operand::ofValue(builder_.call(callee, signature.values, signature.roots), type);
}

} // namespace msl
