// Pointers that may stand for one of several things at run time. Which things is known; a number says which of them it
// is. Options that differ in their indices only become one whose indices are chosen, so that most choices cost no
// branch. Comparisons of pointers are here too: of what they stand for, and of where in it.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Op;
using ir::Value;

namespace {

Value* indexOf(ir::Module& module, const ir::Step& step) {
    return step.value != nullptr ? step.value : module.constantInt(module.types.int_(), step.number);
}

Op comparison(BinaryOp op) {
    switch (op) {
    case BinaryOp::less: return Op::less;
    case BinaryOp::greater: return Op::greater;
    case BinaryOp::lessEqual: return Op::lessEqual;
    case BinaryOp::greaterEqual: return Op::greaterEqual;
    case BinaryOp::notEqual: return Op::notEqual;
    default: return Op::equal;
    }
}

} // namespace

// The same variable and members, seen in the same way; which elements is left open.
bool Lowering::haveSameShape(const Access& a, const Access& b) {
    if (a.kind != b.kind || a.swizzleCount != b.swizzleCount || a.unionMember != b.unionMember) return false;
    if (!std::equal(a.swizzle, a.swizzle + a.swizzleCount, b.swizzle)) return false;
    switch (a.kind) {
    case Access::Kind::nothing: return true;
    case Access::Kind::slot: return a.slot == b.slot && (a.element == nullptr) == (b.element == nullptr);
    case Access::Kind::value: return a.held.value != nullptr && a.held.value == b.held.value && a.element == b.element;
    case Access::Kind::choice: return false;
    case Access::Kind::place: break;
    }
    const ir::Place& one = *a.place;
    const ir::Place& other = *b.place;
    if (one.root != other.root || one.steps.size() != other.steps.size()) return false;
    for (std::size_t i = 0; i < one.steps.size(); ++i) {
        if (one.steps[i].kind != other.steps[i].kind) return false;
        if (one.steps[i].kind == ir::Step::Kind::member && one.steps[i].number != other.steps[i].number) return false;
    }
    return true;
}

Value* Lowering::isNumber(const Access& choice, std::uint32_t option) {
    const ir::Instruction* made = choice.number->definition;
    if (made != nullptr && made->op == Op::select && made->operands[1]->isConstant() &&
        made->operands[2]->isConstant() && (made->operands[1]->bits == option) != (made->operands[2]->bits == option))
        return made->operands[1]->bits == option ? made->operands[0]
                                                 : builder_.unary(Op::logicalNot, made->operands[0]);
    return builder_.binary(Op::equal, module_.types.bool_(), choice.number, uintConstant(option));
}

// What `numbers` has for a number known at run time.
Value* Lowering::renumbered(Value* number, std::span<const std::uint32_t> numbers) {
    bool isSame = true;
    for (std::size_t i = 0; i < numbers.size(); ++i)
        isSame = isSame && numbers[i] == i;
    if (isSame) return number;
    Value* result = uintConstant(numbers[0]);
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        if (numbers[i] == numbers[0]) continue;
        Value* isThis =
            builder_.binary(Op::equal, module_.types.bool_(), number, uintConstant(static_cast<std::uint32_t>(i)));
        result = builder_.select(isThis, uintConstant(numbers[i]), result);
    }
    return result;
}

// One of those given, by its number; of two rather by a condition, which is true for the second.
Access Lowering::choose(Value* number, Value* isSecond, std::span<const Access> given, TypeRef type,
                        SourceLocation at) {
    constexpr std::size_t maxOptions = 64;
    if (number != nullptr && number->isConstant()) return given[std::min<std::size_t>(number->bits, given.size() - 1)];
    const auto pick = [&](std::size_t i, Value* whenThis, Value* otherwise) {
        if (whenThis == otherwise) return whenThis;
        Value* isThis = isSecond != nullptr ? isSecond
                                            : builder_.binary(Op::equal, module_.types.bool_(), number,
                                                              uintConstant(static_cast<std::uint32_t>(i)));
        return builder_.select(isThis, whenThis, otherwise);
    };
    std::vector<Access> kept;
    const auto keep = [&](std::size_t i, const Access& option) {
        const auto known = std::ranges::find_if(kept, [&](const Access& one) { return haveSameShape(one, option); });
        const auto which = static_cast<std::uint32_t>(known - kept.begin());
        if (known == kept.end()) {
            kept.push_back(option);
            return which;
        }
        if (option.element != nullptr)
            known->element = pick(i, builder_.convert(module_.types.uint(), option.element),
                                  builder_.convert(module_.types.uint(), known->element));
        if (option.kind != Access::Kind::place) return which;
        const std::span<ir::Step> steps = module_.arena.copy(std::span<const ir::Step>(known->place->steps));
        for (std::size_t k = 0; k < steps.size(); ++k) {
            const ir::Step& other = option.place->steps[k];
            if (steps[k].number == other.number && steps[k].value == other.value) continue;
            const TypeRef index = indexType(*known->place, k);
            steps[k].value = pick(i, builder_.convert(index, indexOf(module_, other)),
                                  builder_.convert(index, indexOf(module_, steps[k])));
            steps[k].number = 0;
            steps[k].isChecked = false;
        }
        auto* place = module_.arena.make<ir::Place>(*known->place);
        place->steps = steps;
        known->place = place;
        return which;
    };
    Value* which = nullptr;
    for (std::size_t i = 0; i < given.size(); ++i) {
        Value* here = nullptr;
        if (given[i].kind == Access::Kind::choice) {
            std::vector<std::uint32_t> numbers;
            for (const Access& option : given[i].options)
                numbers.push_back(keep(i, option));
            here = renumbered(given[i].number, numbers);
        } else {
            here = uintConstant(keep(i, given[i]));
        }
        which = which == nullptr ? here : pick(i, here, which);
    }
    if (kept.size() > maxOptions) {
        if (!diagnostics_.hasErrors())
            diagnostics_.error(at, "a pointer that may stand for more than 64 variables is not supported");
        return kept.front();
    }
    Access result = kept.front();
    if (kept.size() > 1) {
        result = Access{};
        result.kind = Access::Kind::choice;
        result.number = which;
        result.options = module_.arena.copy(kept);
    }
    result.type = type;
    return result;
}

Operand Lowering::chooseOperand(Value* number, Value* isSecond, std::span<const Operand> given, TypeRef type,
                                SourceLocation at) {
    const Operand& first = given.front();
    if (std::ranges::all_of(given, [](const Operand& one) {
            return one.kind == Operand::Kind::resource || one.kind == Operand::Kind::choice;
        }))
        return chooseResource(number, isSecond, given, type, at);
    const bool isUniform = std::ranges::all_of(given, [&](const Operand& one) { return one.kind == first.kind; });
    if (!isUniform) return errorOperand(type);
    switch (first.kind) {
    case Operand::Kind::nothing: return first;
    case Operand::Kind::value: {
        Value* result = first.value;
        for (std::size_t i = 1; i < given.size(); ++i) {
            if (given[i].value == result) continue;
            Value* isThis = isSecond != nullptr ? isSecond
                                                : builder_.binary(Op::equal, module_.types.bool_(), number,
                                                                  uintConstant(static_cast<std::uint32_t>(i)));
            result = builder_.select(isThis, given[i].value, result);
        }
        return Operand::ofValue(result, type);
    }
    case Operand::Kind::pointer: {
        std::vector<Access> accesses;
        for (const Operand& one : given) {
            Access& access = accesses.emplace_back();
            access.kind = Access::Kind::nothing;
            access.type = type->element;
            if (one.access != nullptr) access = *one.access;
        }
        return pointerTo(choose(number, isSecond, accesses, type->element, at), type);
    }
    case Operand::Kind::aggregate: {
        Operand result = first;
        result.type = type;
        result.members = module_.arena.makeArray<Operand>(first.members.size());
        for (std::size_t i = 0; i < result.members.size(); ++i) {
            std::vector<Operand> members;
            for (const Operand& one : given)
                members.push_back(i < one.members.size() ? one.members[i] : first.members[i]);
            const TypeRef member = first.members[i].type != nullptr ? first.members[i].type : members[0].type;
            result.members[i] = chooseOperand(number, isSecond, members, member, at);
        }
        return result;
    }
    case Operand::Kind::resource:
    case Operand::Kind::choice: break;
    }
    return first;
}

// Of an array of pointers and an index into it: the pointer's own variable, or a choice of them.
Access Lowering::elementOf(const Access& access) {
    if (access.element == nullptr) return access;
    const bool isSlot = access.kind == Access::Kind::slot;
    const std::size_t count = isSlot ? access.slot->members.size() : access.held.members.size();
    if (count == 0) return errorAccess(access.type);
    std::vector<Access> members(count);
    for (std::size_t i = 0; i < count; ++i) {
        members[i].kind = access.kind;
        members[i].type = access.type;
        if (isSlot)
            members[i].slot = &access.slot->members[i];
        else
            members[i].held = access.held.members[i];
    }
    Value* index = builder_.convert(module_.types.uint(), access.element);
    if (index->isConstant()) return members[std::min<std::size_t>(index->bits, count - 1)];
    Access result;
    result.kind = Access::Kind::choice;
    result.type = access.type;
    Value* both[2] = {index, uintConstant(static_cast<std::uint32_t>(count - 1))}; // one too large is the last
    result.number = builder_.builtin(BuiltinId::min, module_.types.uint(), both);
    result.options = module_.arena.copy(members);
    return result;
}

Access Lowering::mapOptions(const Access& choice, TypeRef type, const std::function<Access(const Access&)>& map) {
    Access result = choice;
    result.type = type;
    result.options = module_.arena.copy(std::span<const Access>(choice.options));
    for (Access& option : result.options) {
        if (option.kind != Access::Kind::nothing) option = map(option);
        option.type = type;
    }
    const auto isChoice = [](const Access& one) { return one.kind == Access::Kind::choice; };
    if (std::ranges::any_of(result.options, isChoice))
        return choose(result.number, nullptr, result.options, type, builder_.location);
    return result;
}

// The same, said to be of another type.
Access Lowering::retyped(const Access& access, TypeRef type, ir::Module& module) {
    Access result = access;
    result.type = type;
    if (access.kind != Access::Kind::choice) return result;
    result.options = module.arena.copy(std::span<const Access>(access.options));
    for (Access& option : result.options)
        option.type = type;
    return result;
}

// Branches to what is done with each of the options. Nothing is done with what a null pointer points to.
void Lowering::eachOption(const Access& choice, const std::function<void(const Access&)>& run) {
    std::vector<std::uint32_t> real;
    for (std::uint32_t i = 0; i < choice.options.size(); ++i)
        if (choice.options[i].kind != Access::Kind::nothing) real.push_back(i);
    if (real.empty()) return;
    if (real.size() == 1) {
        run(choice.options[real[0]]);
        return;
    }
    ir::Block* outer = builder_.block;
    if (real.size() == 2) {
        const ir::Instruction* branch = builder_.if_(isNumber(choice, real[1]));
        builder_.block = branch->blocks[0];
        run(choice.options[real[1]]);
        builder_.block = branch->blocks[1];
        run(choice.options[real[0]]);
        builder_.block = outer;
        return;
    }
    const std::span<ir::SwitchCase> cases = module_.arena.makeArray<ir::SwitchCase>(real.size());
    for (std::size_t i = 0; i < real.size(); ++i) {
        const std::int64_t number = real[i];
        cases[i].values = module_.arena.copy(std::span<const std::int64_t>(&number, 1));
        cases[i].isDefault = i + 1 == real.size();
        cases[i].block = module_.arena.make<ir::Block>();
    }
    builder_.switch_(choice.number, cases);
    for (std::size_t i = 0; i < real.size(); ++i) {
        builder_.block = cases[i].block;
        run(choice.options[real[i]]);
        builder_.break_();
    }
    builder_.block = outer;
}

// ------------------------------------------------------------------------------------------------------ comparisons

// Whether a pointer is not null.
Value* Lowering::isSet(const Operand& pointer) {
    if (isNull(pointer)) return module_.constantBool(false);
    const auto isSomething = [&](const Access& access) {
        if (access.kind == Access::Kind::nothing) return module_.constantBool(false);
        if (access.kind != Access::Kind::place || !isAtAddress(access.place)) return module_.constantBool(true);
        Value* address = addressOf(access, builder_.location);
        return builder_.binary(Op::notEqual, module_.types.bool_(), address, module_.constantInt(address->type, 0));
    };
    const Access& access = *pointer.access;
    if (access.kind != Access::Kind::choice) return isSomething(access);
    Value* result = isSomething(access.options[0]);
    for (std::uint32_t i = 1; i < access.options.size(); ++i) {
        Value* here = isSomething(access.options[i]);
        if (here != result) result = builder_.select(isNumber(access, i), here, result);
    }
    return result;
}

Value* Lowering::comparePlain(BinaryOp op, const Access& left, const Access& right, TypeRef type) {
    const auto answer = [&](std::int64_t difference) { // known already; its sign says which lies before
        switch (op) {
        case BinaryOp::equal: return module_.constantBool(difference == 0);
        case BinaryOp::notEqual: return module_.constantBool(difference != 0);
        case BinaryOp::less: return module_.constantBool(difference < 0);
        case BinaryOp::lessEqual: return module_.constantBool(difference <= 0);
        case BinaryOp::greater: return module_.constantBool(difference > 0);
        case BinaryOp::greaterEqual: return module_.constantBool(difference >= 0);
        default: return module_.constantInt(type, difference);
        }
    };
    const auto compared = [&](Value* a, Value* b, std::uint64_t size) {
        const TypeRef index = module_.types.int_();
        a = builder_.convert(index, a);
        b = builder_.convert(index, b);
        if (op != BinaryOp::sub) return builder_.binary(comparison(op), type, a, b);
        Value* difference = builder_.binary(Op::sub, index, a, b);
        if (size > 1)
            difference = builder_.binary(Op::div, index, difference,
                                         module_.constantInt(index, static_cast<std::int64_t>(size)));
        return builder_.convert(type, difference);
    };
    const auto isAddress = [](const Access& one) { return one.kind == Access::Kind::place && isAtAddress(one.place); };
    if (isAddress(left) || isAddress(right)) {
        const bool isOther = left.kind != Access::Kind::nothing && right.kind != Access::Kind::nothing &&
                             isAddress(left) != isAddress(right);
        if (isOther) return answer(isAddress(left) ? 1 : -1);
        Value* a = addressOf(left, builder_.location);
        Value* b = addressOf(right, builder_.location);
        if (op != BinaryOp::sub) return builder_.binary(comparison(op), type, a, b);
        const TypeRef difference = module_.types.scalar(ScalarKind::long_);
        Value* bytes = builder_.convert(difference, builder_.binary(Op::sub, a->type, a, b));
        const auto size = static_cast<std::int64_t>(std::max<std::uint64_t>(layoutOf(left.type).size, 1));
        return builder_.convert(type,
                                builder_.binary(Op::div, difference, bytes, module_.constantInt(difference, size)));
    }
    const bool leftIsNull = left.kind == Access::Kind::nothing;
    const bool rightIsNull = right.kind == Access::Kind::nothing;
    if (leftIsNull || rightIsNull) return answer(static_cast<int>(rightIsNull) - static_cast<int>(leftIsNull));
    if (left.kind == Access::Kind::slot && right.kind == Access::Kind::slot) {
        if (left.slot != right.slot) return answer(left.slot < right.slot ? -1 : 1);
        if (left.element == nullptr || right.element == nullptr) return answer(0);
        return compared(left.element, right.element, 1);
    }
    if (left.kind != Access::Kind::place || right.kind != Access::Kind::place) return answer(1);
    const auto memoryOf = [&](const ir::Place& place) { return isView(&place) ? views_.at(place.root) : place.root; };
    const ir::Variable* memory = memoryOf(*left.place);
    const ir::Variable* other = memoryOf(*right.place);
    if (memory != other) return answer(memory->id < other->id ? -1 : 1);
    if (sameStaticPath(left, right)) {
        if (left.place->steps.empty() || left.place->steps.back().kind != ir::Step::Kind::index) return answer(0);
        return compared(indexOf(module_, left.place->steps.back()), indexOf(module_, right.place->steps.back()), 1);
    }
    return compared(byteOffset(*left.place), byteOffset(*right.place), layoutOf(left.type).size);
}

Value* Lowering::comparePointers(BinaryOp op, const Operand& left, const Operand& right, TypeRef type,
                                 SourceLocation at) {
    builder_.location = at;
    if (op == BinaryOp::equal || op == BinaryOp::notEqual) {
        if (isNull(left) || isNull(right)) {
            Value* isOther = isSet(isNull(left) ? right : left);
            return op == BinaryOp::equal ? builder_.unary(Op::logicalNot, isOther) : isOther;
        }
    }
    Access null;
    null.kind = Access::Kind::nothing;
    const Access& one = left.access != nullptr ? *left.access : null;
    const Access& other = right.access != nullptr ? *right.access : null;
    const auto against = [&](const Access& a) { // a plain one
        if (other.kind != Access::Kind::choice) return comparePlain(op, a, other, type);
        Value* result = comparePlain(op, a, other.options[0], type);
        for (std::uint32_t i = 1; i < other.options.size(); ++i)
            result = builder_.select(isNumber(other, i), comparePlain(op, a, other.options[i], type), result);
        return result;
    };
    if (one.kind != Access::Kind::choice) return against(one);
    Value* result = against(one.options[0]);
    for (std::uint32_t i = 1; i < one.options.size(); ++i)
        result = builder_.select(isNumber(one, i), against(one.options[i]), result);
    return result;
}

} // namespace msl
