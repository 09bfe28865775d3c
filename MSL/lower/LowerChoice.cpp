// Textures and samplers that are only known at run time: a choice names all that it may be, and a value says which of
// them it is. What is done with it is done in a switch, once for each.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Op;
using ir::Value;

namespace {

constexpr std::size_t maxChoices = 64;

std::span<const Operand> allOf(const Operand& resource) {
    return resource.kind == Operand::Kind::choice ? std::span<const Operand>(resource.members)
                                                  : std::span<const Operand>(&resource, 1);
}

bool isRunTimeIndex(const Value* index) {
    return index != nullptr && !index->isConstant();
}

} // namespace

Value* Lowering::forWhatItIs(const Operand& operand, TypeRef type,
                             const std::function<Value*(const Operand& resource)>& make) {
    if (operand.kind != Operand::Kind::choice) return make(operand);
    const bool hasResult = !type->is(TypeKind::void_);
    ir::Variable* result = hasResult ? newLocal(type, "chosen") : nullptr;
    const std::span<ir::SwitchCase> cases = module_.arena.makeArray<ir::SwitchCase>(operand.members.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto number = static_cast<std::int64_t>(i);
        cases[i].values = module_.arena.copy(std::span<const std::int64_t>(&number, 1));
        cases[i].isDefault = i + 1 == cases.size();
        cases[i].block = module_.arena.make<ir::Block>();
    }
    builder_.switch_(operand.value, cases);
    ir::Block* outer = builder_.block;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        builder_.block = cases[i].block;
        Value* made = make(operand.members[i]);
        if (hasResult) builder_.store(builder_.place(result), made);
        builder_.break_();
    }
    builder_.block = outer;
    return hasResult ? builder_.load(builder_.place(result)) : nullptr;
}

// One of several textures or samplers: the second when isSecond is true, or the one of that number.
Operand Lowering::chooseResource(Value* number, Value* isSecond, std::span<const Operand> given, TypeRef type,
                                 SourceLocation at) {
    const Operand& first = given.front();
    if (std::ranges::all_of(given, [&](const Operand& one) {
            return one.kind == Operand::Kind::resource && one.resource == first.resource && one.value == first.value;
        }))
        return first;
    std::vector<Operand> members;
    std::vector<std::uint32_t> begins; // of the members that each of the given ones has
    for (const Operand& one : given) {
        begins.push_back(static_cast<std::uint32_t>(members.size()));
        const std::span<const Operand> all = allOf(one);
        members.insert(members.end(), all.begin(), all.end());
    }
    if (members.size() > maxChoices) {
        unsupported(at, "a texture or sampler that may be one of more than 64 is");
        return first;
    }
    const TypeRef uint = module_.types.uint();
    Operand result{.kind = Operand::Kind::choice, .type = type};
    result.members = module_.arena.copy(members);
    const bool isPlain = members.size() == given.size();
    if (isPlain && isSecond == nullptr) {
        result.value = builder_.convert(uint, number);
        return result;
    }
    for (std::uint32_t i = 0; i < given.size(); ++i) {
        Value* here = uintConstant(begins[i]);
        if (given[i].kind == Operand::Kind::choice) here = builder_.binary(Op::add, uint, given[i].value, here);
        if (i == 0) {
            result.value = here;
            continue;
        }
        Value* isThis = isSecond != nullptr ? isSecond
                                            : builder_.binary(Op::equal, module_.types.bool_(),
                                                              builder_.convert(uint, number), uintConstant(i));
        result.value = builder_.select(isThis, here, result.value);
    }
    return result;
}

// ------------------------------------------------------------------------------------------------- in variables

// Which of the slot's choices, from that number on, the texture or sampler is; a new one when it is none of them.
std::uint32_t Lowering::choiceNumber(Slot& slot, const Operand& resource, std::uint32_t from, SourceLocation at) {
    const bool isIndexed = isRunTimeIndex(resource.value);
    for (std::uint32_t i = from; i < slot.choices.size(); ++i) {
        const Operand& known = slot.choices[i];
        const bool isSameElement =
            slot.choiceIndices[i] != nullptr ? isIndexed : !isIndexed && known.value == resource.value;
        if (known.resource == resource.resource && isSameElement) return i;
    }
    const auto count = static_cast<std::uint32_t>(slot.choices.size());
    if (count == maxChoices) {
        unsupported(at, "a texture or sampler that may be one of more than 64 is");
        return count;
    }
    for (LoopFrame& loop : loops_)
        loop.isToRepeat = loop.isToRepeat || (slot.made < loop.begin && slot.lastRead > loop.begin);
    const std::span<Operand> choices = module_.arena.makeArray<Operand>(count + 1);
    const std::span<ir::Variable*> indices = module_.arena.makeArray<ir::Variable*>(count + 1);
    std::ranges::copy(slot.choices, choices.begin());
    std::ranges::copy(slot.choiceIndices, indices.begin());
    choices[count] = resource;
    indices[count] = nullptr;
    if (isIndexed) {
        indices[count] = newLocal(resource.value->type, "index");
        indices[count]->initializer = module_.constantInt(resource.value->type, 0);
    }
    slot.choices = choices;
    slot.choiceIndices = indices;
    return count;
}

void Lowering::storeResource(Slot& slot, const Operand& operand, SourceLocation at) {
    if (slot.use == SlotUse::fixed || slot.isBorrowed) {
        const bool isSame = slot.isSet && operand.kind == slot.held.kind && slot.held.resource == operand.resource &&
                            slot.held.value == operand.value;
        if (slot.isBorrowed && !isSame)
            context_->setsPointers = true;
        else if (slot.isSet && !isSame)
            unsupported(at, "setting this texture or sampler to something else is");
        if (slot.isSet || slot.isBorrowed) return;
        slot.held = operand;
        slot.isSet = true;
        return;
    }
    if (slot.selector == nullptr) {
        slot.selector = newLocal(module_.types.uint(), "chosen");
        slot.selector->initializer = uintConstant(0);
        slot.isSet = true;
    }
    Value* selected = nullptr;
    std::uint32_t from = 0;
    const std::span<const Operand> given = allOf(operand);
    for (std::uint32_t i = 0; i < given.size(); ++i) {
        // Two elements of one array need two choices, each with an index of its own.
        const bool isIndexed = isRunTimeIndex(given[i].value);
        const std::uint32_t number = choiceNumber(slot, given[i], isIndexed ? from : 0, at);
        if (number >= slot.choices.size()) return;
        if (isIndexed) {
            from = number + 1;
            builder_.store(builder_.place(slot.choiceIndices[number]),
                           builder_.convert(slot.choiceIndices[number]->type, given[i].value));
        }
        Value* here = uintConstant(number);
        selected =
            selected == nullptr
                ? here
                : builder_.select(builder_.binary(Op::equal, module_.types.bool_(), operand.value, uintConstant(i)),
                                  here, selected);
    }
    builder_.store(builder_.place(slot.selector), selected);
}

} // namespace msl
