// Lvalues: which memory, or which value that nobody writes, an expression stands for; reading and writing it.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Value;

Access Lowering::heldAccess(Operand operand) {
    Access access;
    access.kind = Access::Kind::value;
    access.type = operand.type;
    access.held = operand;
    return access;
}

Access Lowering::placeAccess(ir::Place* place, TypeRef type) {
    Access access;
    access.kind = Access::Kind::place;
    access.type = type;
    access.place = place;
    return access;
}

Access Lowering::accessOf(VarDecl* variable, SourceLocation at) {
    VariableFacts& facts = this->facts(variable);
    if (facts.isBound) return facts.access;
    if (variable->varKind == VarKind::global || variable->isStatic || variable->space == AddressSpace::constant ||
        variable->varKind == VarKind::field)
        return globalAccess(variable, at);
    // Declared between the labels of a switch, in a case that was not entered.
    if (isOpaque(variable->type)) {
        unsupported(at, "a pointer that is declared in another case is");
        return errorAccess(variable->type);
    }
    facts.isBound = true;
    const TypeRef type = valueType(variable->type);
    ir::Variable* local = newLocal(type, nameOf(variable));
    local->initializer = module_.constantNull(type);
    facts.access = placeAccess(builder_.place(local), variable->type);
    return facts.access;
}

Access Lowering::lvalue(const Expr* expr) {
    if (!enter(expr->location)) {
        leave();
        return errorAccess(expr->type);
    }
    builder_.location = expr->location;
    Access result;
    switch (expr->kind) {
    case ExprKind::nameRef: {
        const auto& name = static_cast<const NameRef&>(*expr);
        if (name.isThis || name.decl == nullptr || name.decl->kind != DeclKind::variable)
            result = heldAccess(rvalue(expr));
        else
            result = accessOf(static_cast<VarDecl*>(name.decl), expr->location);
        break;
    }
    case ExprKind::member: {
        const auto& member = static_cast<const Member&>(*expr);
        if (member.field != nullptr && member.field->isStatic) {
            result = accessOf(member.field, expr->location);
            break;
        }
        const Access base = member.isArrow
                                ? dereference(rvalue(member.base), member.base->type->element, expr->location)
                                : lvalue(member.base);
        if (member.field != nullptr)
            result = memberAccess(base, member.field, expr->location);
        else
            result = swizzleAccess(base, {member.swizzle, member.swizzleCount}, expr->type);
        break;
    }
    case ExprKind::index: {
        const auto& index = static_cast<const Index&>(*expr);
        if (!index.base->type->is(TypeKind::pointer)) {
            const Access base = lvalue(index.base);
            result = indexAccess(base, indexValue(index.index), expr->type, expr->location);
            break;
        }
        // An array that decays only to be indexed is indexed in place.
        if (index.base->kind == ExprKind::implicitCast &&
            static_cast<const ImplicitCast*>(index.base)->castKind == CastKind::arrayToPointer) {
            const Access base = lvalue(static_cast<const ImplicitCast*>(index.base)->operand);
            result = indexAccess(base, indexValue(index.index), expr->type, expr->location);
            break;
        }
        const Operand pointer = rvalue(index.base);
        result = dereference(movePointer(pointer, indexValue(index.index), false, expr->location), expr->type,
                             expr->location);
        break;
    }
    case ExprKind::unary: {
        const auto& unary = static_cast<const Unary&>(*expr);
        if (unary.op == UnaryOp::dereference) {
            result = dereference(rvalue(unary.operand), expr->type, expr->location);
        } else if (unary.op == UnaryOp::preIncrement || unary.op == UnaryOp::preDecrement) {
            rvalue(expr);
            result = lvalue(unary.operand);
        } else {
            result = heldAccess(rvalue(expr));
        }
        break;
    }
    case ExprKind::binary: {
        const auto& binary = static_cast<const Binary&>(*expr);
        if (binary.op == BinaryOp::comma) {
            effect(binary.left);
            result = lvalue(binary.right);
        } else if (isAssignment(binary.op) && expr->category == ValueCategory::lvalue) {
            result = assign(binary);
        } else {
            result = heldAccess(rvalue(expr));
        }
        break;
    }
    case ExprKind::implicitCast: {
        const auto& cast = static_cast<const ImplicitCast&>(*expr);
        if (cast.castKind == CastKind::none && cast.operand->category == ValueCategory::lvalue)
            result = lvalue(cast.operand);
        else if (cast.castKind == CastKind::toDerived)
            result = derivedAccess(lvalue(cast.operand), expr->type, expr->location);
        else
            result = heldAccess(rvalue(expr));
        break;
    }
    case ExprKind::cast: {
        const auto& cast = static_cast<const Cast&>(*expr);
        if (expr->category == ValueCategory::lvalue && cast.operand->category == ValueCategory::lvalue) {
            result = lvalue(cast.operand);
            if (cast.castKind == CastKind::bitcast) result = castAccess(result, expr->type, expr->location);
        } else {
            result = heldAccess(rvalue(expr));
        }
        break;
    }
    case ExprKind::call: {
        const auto& call = static_cast<const Call&>(*expr);
        if (expr->category == ValueCategory::lvalue && call.function != nullptr) {
            const Operand pointer = callFunction(call);
            result = dereference(pointer, expr->type, expr->location);
        } else {
            result = heldAccess(rvalue(expr));
        }
        break;
    }
    case ExprKind::conditional: {
        const auto& conditional = static_cast<const Conditional&>(*expr);
        if (expr->category == ValueCategory::lvalue) {
            Value* condition = value(conditional.condition);
            if (condition->isConstant()) {
                result = lvalue(condition->bits != 0 ? conditional.whenTrue : conditional.whenFalse);
                break;
            }
            result = chooseLvalue(condition, conditional);
            break;
        }
        result = heldAccess(rvalue(expr));
        break;
    }
    default: result = heldAccess(rvalue(expr)); break;
    }
    if (result.type != expr->type) result = retyped(result, expr->type, module_);
    leave();
    return result;
}

// One of two lvalues, by a condition known at run time.
Access Lowering::chooseLvalue(Value* condition, const Conditional& expr) {
    const TypeRef pointer = module_.types.pointer(expr.type, expr.space, expr.isConst);
    unsigned budget = 16;
    if (isCheapPlace(expr.whenTrue, budget) && isCheapPlace(expr.whenFalse, budget)) {
        const Access both[2] = {lvalue(expr.whenFalse), lvalue(expr.whenTrue)};
        const auto isValue = [](const Access& one) {
            return one.kind == Access::Kind::value && one.held.kind == Operand::Kind::value;
        };
        if (isValue(both[0]) || isValue(both[1])) return heldAccess(conditional(expr, condition));
        return choose(nullptr, condition, both, expr.type, expr.location);
    }
    Slot& slot = slots_.emplace_back();
    fillSlot(slot, pointer, SlotUse::repointed, "chosen");
    const ir::Instruction* branch = builder_.if_(condition);
    ir::Block* outer = builder_.block;
    builder_.block = branch->blocks[0];
    storeSlot(slot, pointerTo(referredTo(expr.whenTrue, pointer), pointer), expr.location);
    builder_.block = branch->blocks[1];
    storeSlot(slot, pointerTo(referredTo(expr.whenFalse, pointer), pointer), expr.location);
    builder_.block = outer;
    return dereference(loadSlot(slot, expr.location), expr.type, expr.location);
}

Access Lowering::memberAccess(const Access& base, const VarDecl* field, SourceLocation at) {
    if (base.element != nullptr) return memberAccess(elementOf(base), field, at);
    if (base.kind == Access::Kind::choice)
        return mapOptions(base, field->type, [&](const Access& option) { return memberAccess(option, field, at); });
    const std::uint32_t number = field->index;
    Access result;
    const bool isUnion = base.type->is(TypeKind::struct_) && base.type->record->isUnion;
    if (isUnion && base.kind == Access::Kind::place && isView(base.place) && !isMisaligned(*base.place))
        return placeAccess(viewOf(base, field->type), field->type);
    if (isUnion && base.kind == Access::Kind::place && isView(base.place))
        return placeAccess(builder_.placeMember(base.place, number, field->type), field->type);
    if (isUnion && !checkStorable(base.type, at)) return errorAccess(field->type);
    if (isKeptAsWords(base)) {
        const Access words = wordsInMemory(base, at);
        return words.kind == Access::Kind::place && isView(words.place) ? memberAccess(words, field, at)
                                                                        : errorAccess(field->type);
    }
    if (isUnion) {
        if (base.kind == Access::Kind::value)
            return heldAccess(Operand::ofValue(fromWords(valueType(field->type), base.held.value), field->type));
        result = base;
        result.type = field->type;
        result.unionMember = valueType(field->type);
        return result;
    }
    switch (base.kind) {
    case Access::Kind::place:
        if (field->type->is(TypeKind::reference)) {
            ir::Place* place = builder_.placeMember(base.place, number, field->type);
            return dereference(loadPointers(placeAccess(place, field->type), at), field->type->element, at);
        }
        return placeAccess(builder_.placeMember(base.place, number, field->type), field->type);
    case Access::Kind::slot:
        result.kind = Access::Kind::slot;
        result.type = field->type;
        if (number >= base.slot->members.size()) return errorAccess(field->type);
        result.slot = &base.slot->members[number];
        if (result.slot->variable != nullptr) return placeAccess(builder_.place(result.slot->variable), field->type);
        break;
    case Access::Kind::value:
        if (base.held.kind == Operand::Kind::aggregate && number < base.held.members.size())
            result = heldAccess(base.held.members[number]);
        else if (base.held.kind == Operand::Kind::value)
            result = heldAccess(Operand::ofValue(builder_.extract(base.held.value, number), field->type));
        else
            return errorAccess(field->type);
        break;
    case Access::Kind::choice:
    case Access::Kind::nothing: return retyped(base, field->type, module_);
    }
    if (field->type->is(TypeKind::reference)) // a captured variable
        return dereference(load(result, at), field->type->element, at);
    return result;
}

// The object that a base class is part of: what its place is without the steps into the base.
Access Lowering::derivedAccess(const Access& base, TypeRef derived, SourceLocation at) {
    if (base.kind == Access::Kind::nothing) return retyped(base, derived, module_);
    if (base.kind == Access::Kind::choice)
        return mapOptions(base, derived, [&](const Access& option) { return derivedAccess(option, derived, at); });
    if (base.kind == Access::Kind::place && base.swizzleCount == 0 && base.unionMember == nullptr) {
        std::vector<TypeRef> types{base.place->root->type};
        for (const ir::Step& step : base.place->steps)
            types.push_back(types.back() == nullptr              ? nullptr
                            : step.kind == ir::Step::Kind::index ? types.back()->element
                            : types.back()->is(TypeKind::struct_) && step.number < types.back()->record->fields.size()
                                ? types.back()->record->fields[step.number].type
                                : nullptr);
        for (std::size_t count = base.place->steps.size(); count > 0; --count) {
            if (base.place->steps[count - 1].kind != ir::Step::Kind::member) break;
            if (types[count - 1] != derived) continue;
            auto* place = module_.arena.make<ir::Place>();
            place->root = base.place->root;
            place->steps = base.place->steps.first(count - 1);
            place->type = derived;
            return placeAccess(place, derived);
        }
    }
    unsupported(at, "a cast to a derived class of an object that is not known to be one is");
    return errorAccess(derived);
}

Access Lowering::swizzleAccess(const Access& base, std::span<const std::uint8_t> components, TypeRef type) {
    if (base.kind == Access::Kind::nothing) return retyped(base, type, module_);
    if (base.kind == Access::Kind::choice)
        return mapOptions(base, type, [&](const Access& option) { return swizzleAccess(option, components, type); });
    if (base.kind != Access::Kind::place) {
        std::uint32_t indices[4] = {};
        std::ranges::copy(components, indices);
        if (base.held.kind != Operand::Kind::value) return errorAccess(type);
        Value* held = base.held.value;
        if (held->type->isScalar()) // x.x of a scalar
            return heldAccess(Operand::ofValue(held, type));
        return heldAccess(Operand::ofValue(builder_.shuffle(held, nullptr, {indices, components.size()}), type));
    }
    Access result = base;
    result.type = type;
    result.swizzleCount = static_cast<std::uint8_t>(components.size());
    for (std::size_t i = 0; i < components.size(); ++i)
        result.swizzle[i] = base.swizzleCount > 0 ? base.swizzle[components[i] & 3U] : components[i];
    return result;
}

ir::Value* Lowering::indexValue(const Expr* expr) {
    Value* index = value(expr);
    if (index->type->isScalar() && (index->type->scalar == ScalarKind::int_ || index->type->scalar == ScalarKind::uint))
        return index;
    const bool isWide = index->type->isScalar() && index->type->scalar == ScalarKind::ulong;
    return builder_.convert(isWide || !isSigned(index->type->scalar) ? module_.types.uint() : module_.types.int_(),
                            index);
}

Access Lowering::indexAccess(const Access& base, Value* index, TypeRef type, SourceLocation at) {
    if (base.element != nullptr) return indexAccess(elementOf(base), index, type, at);
    if (base.kind == Access::Kind::nothing) return retyped(base, type, module_);
    if (base.kind == Access::Kind::choice)
        return mapOptions(base, type, [&](const Access& option) { return indexAccess(option, index, type, at); });
    if (base.kind == Access::Kind::slot ||
        (base.kind == Access::Kind::value && base.held.kind == Operand::Kind::aggregate)) {
        Access element = base;
        element.type = type;
        element.element = index;
        return element;
    }
    if (isKeptAsWords(base)) {
        const Access words = wordsInMemory(base, at);
        return words.kind == Access::Kind::place && isView(words.place) ? indexAccess(words, index, type, at)
                                                                        : errorAccess(type);
    }
    const TypeRef container = base.type;
    const bool isConstant = index->isConstant() && ir::Module::intValue(index) >= 0;
    const auto number = static_cast<std::uint32_t>(isConstant ? ir::Module::intValue(index) : 0);
    if (container->isVector() || container->is(TypeKind::packedVector)) {
        if (isConstant && number < container->columns) {
            const auto component = static_cast<std::uint8_t>(number);
            return swizzleAccess(base, {&component, 1}, type);
        }
        if (base.kind == Access::Kind::place && base.swizzleCount == 0 && base.unionMember == nullptr)
            return placeAccess(builder_.placeIndex(base.place, index, type), type);
        return heldAccess(Operand::ofValue(builder_.extractDynamic(load(base, at).value, index), type));
    }
    if (base.kind == Access::Kind::place) return placeAccess(builder_.placeIndex(base.place, index, type), type);
    if (base.held.kind == Operand::Kind::choice) { // of arrays
        Operand element = base.held;
        element.type = type;
        element.members = module_.arena.copy<Operand>(std::span<const Operand>(base.held.members));
        for (Operand& member : element.members) {
            member.type = type;
            member.value = index;
        }
        return heldAccess(element);
    }
    if (base.held.kind == Operand::Kind::resource) {
        Operand element = base.held;
        element.type = type;
        element.value = index;
        return heldAccess(element);
    }
    if (base.held.kind != Operand::Kind::value) {
        if (!diagnostics_.hasErrors()) unsupported(at, "an array of textures of this kind is");
        return errorAccess(type);
    }
    if (isConstant && number < ir::partCount(base.held.value->type))
        return heldAccess(Operand::ofValue(builder_.extract(base.held.value, number), type));
    const Access memory = inMemory(base, at);
    return placeAccess(builder_.placeIndex(memory.place, index, type), type);
}

Access Lowering::inMemory(const Access& access, SourceLocation at) {
    if (access.kind == Access::Kind::place && access.swizzleCount == 0 && access.unionMember == nullptr) return access;
    if (access.kind == Access::Kind::nothing || access.kind == Access::Kind::slot || isOpaque(access.type))
        return access;
    if (access.kind == Access::Kind::choice)
        return mapOptions(access, access.type, [&](const Access& option) { return inMemory(option, at); });
    const Operand operand = load(access, at);
    if (operand.kind != Operand::Kind::value) {
        if (!diagnostics_.hasErrors()) unsupported(at, "a pointer or texture in memory is");
        return errorAccess(access.type);
    }
    if (operand.value->isConstant() && !operand.value->type->isScalar())
        return placeAccess(builder_.place(module_.constantTable(operand.value, "table")), access.type);
    ir::Variable* local = newLocal(operand.value->type, "temporary");
    builder_.store(builder_.place(local), operand.value);
    return placeAccess(builder_.place(local), access.type);
}

// ---------------------------------------------------------------------------------------------- reading and writing

Operand Lowering::load(const Access& access, SourceLocation at) {
    if (access.element != nullptr) return load(elementOf(access), at);
    switch (access.kind) {
    case Access::Kind::value: {
        Operand result = access.held;
        if (result.type == nullptr) result.type = access.type;
        return result;
    }
    case Access::Kind::slot: return loadSlot(*access.slot, at);
    case Access::Kind::nothing: return errorOperand(access.type);
    case Access::Kind::choice: return loadChoice(access, at);
    case Access::Kind::place: break;
    }
    if (isOpaque(access.type)) return loadPointers(access, at);
    const ir::Variable::Kind kind = access.place->root->kind;
    const bool isShared = kind == ir::Variable::Kind::buffer || kind == ir::Variable::Kind::threadgroup ||
                          kind == ir::Variable::Kind::address;
    if (access.swizzleCount == 1 && isShared && access.unionMember == nullptr) {
        ir::Place* component = builder_.placeIndex(access.place, access.swizzle[0], access.type);
        return Operand::ofValue(loadPlace(component), access.type);
    }
    Value* value = loadPlace(access.place);
    if (access.unionMember != nullptr) value = fromWords(access.unionMember, value);
    if (access.swizzleCount > 0) {
        std::uint32_t components[4] = {};
        std::copy_n(access.swizzle, access.swizzleCount, components);
        value = builder_.shuffle(value, nullptr, {components, access.swizzleCount});
    }
    return Operand::ofValue(value, access.type);
}

Operand Lowering::loadChoice(const Access& choice, SourceLocation at) {
    const bool areValues = std::ranges::all_of(choice.options, [](const Access& one) {
        return one.kind == Access::Kind::value || one.kind == Access::Kind::nothing;
    });
    if (areValues || isOpaque(choice.type)) {
        std::vector<Operand> operands;
        for (const Access& option : choice.options)
            operands.push_back(load(option, at));
        return chooseOperand(choice.number, nullptr, operands, choice.type, at);
    }
    const TypeRef type = valueType(choice.type);
    ir::Variable* result = newLocal(type, "chosen");
    eachOption(choice, [&](const Access& option) {
        const Operand loaded = load(option, at);
        builder_.location = at;
        builder_.store(builder_.place(result),
                       loaded.kind == Operand::Kind::value ? loaded.value : module_.constantNull(type));
    });
    return Operand::ofValue(builder_.load(builder_.place(result)), choice.type);
}

void Lowering::store(const Access& access, const Operand& operand, SourceLocation at) {
    if (access.element != nullptr) {
        store(elementOf(access), operand, at);
        return;
    }
    if (access.kind == Access::Kind::nothing) return;
    if (access.kind == Access::Kind::choice) {
        eachOption(access, [&](const Access& option) { store(option, operand, at); });
        return;
    }
    if (access.kind == Access::Kind::slot) {
        storeSlot(*access.slot, operand, at);
        return;
    }
    if (access.kind == Access::Kind::place && isOpaque(access.type)) {
        storePointers(access, operand, at);
        return;
    }
    if (access.kind == Access::Kind::value || operand.kind != Operand::Kind::value) {
        if (!diagnostics_.hasErrors() && !limit_.exceeded())
            unsupported(at, "writing through a reference to a temporary object is");
        return;
    }
    builder_.location = at;
    if (access.unionMember != nullptr) {
        Value* words = loadPlace(access.place);
        Value* member = operand.value;
        if (access.swizzleCount > 0) {
            member = fromWords(access.unionMember, words);
            for (std::uint32_t i = 0; i < access.swizzleCount; ++i) {
                const std::uint32_t component = access.swizzle[i];
                Value* part = access.swizzleCount == 1 ? operand.value : builder_.extract(operand.value, i);
                member = builder_.insert(member, part, {&component, 1});
            }
        }
        storePlace(access.place, toWords(member, words));
        return;
    }
    if (access.swizzleCount == 0) {
        storePlace(access.place, operand.value);
        return;
    }
    const TypeRef scalar = module_.types.scalar(access.place->type->scalar);
    const ir::Variable::Kind kind = access.place->root->kind;
    const bool isShared = kind == ir::Variable::Kind::buffer || kind == ir::Variable::Kind::threadgroup ||
                          kind == ir::Variable::Kind::address;
    if (access.swizzleCount == 1) {
        storePlace(builder_.placeIndex(access.place, access.swizzle[0], scalar), operand.value);
    } else if (isShared) { // other components may belong to other threads
        for (std::uint32_t i = 0; i < access.swizzleCount; ++i)
            storePlace(builder_.placeIndex(access.place, access.swizzle[i], scalar),
                       builder_.extract(operand.value, i));
    } else {
        const std::uint32_t width = access.place->type->columns;
        std::uint32_t components[4] = {0, 1, 2, 3};
        for (std::uint32_t i = 0; i < access.swizzleCount; ++i)
            components[access.swizzle[i]] = width + i;
        Value* whole = loadPlace(access.place);
        storePlace(access.place, builder_.shuffle(whole, operand.value, {components, width}));
    }
}

} // namespace msl
