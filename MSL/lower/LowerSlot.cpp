// Slots: variables of types that have no values in the IR, such as pointers and structs and arrays that hold them. What
// a pointer may stand for is known while lowering: every time it is set to something new, that is one more candidate. A
// run-time variable has the number of the candidate that it is, others have the indices in what it points into.
#include "MSL/lower/Lowering.h"

#include <algorithm>
#include <unordered_set>

namespace msl {

using ir::Value;

namespace {

constexpr std::size_t maxCandidates = 64;
constexpr std::uint64_t maxElements = 256; // of an array of pointers

bool isSameElement(const ir::Step& a, const ir::Step& b) {
    return a.value == b.value && a.number == b.number;
}

// The access with the indices that `index` gives for those that are variables.
template <typename Index>
Access withIndices(ir::Module& module, const Slot::Candidate& candidate, Index&& index) {
    const bool hasVariables =
        std::ranges::any_of(candidate.indices, [](const ir::Variable* one) { return one != nullptr; });
    if (!hasVariables) return candidate.access;
    Access access = candidate.access;
    auto* place = module.arena.make<ir::Place>(*access.place);
    place->steps = module.arena.copy(std::span<const ir::Step>(access.place->steps));
    for (std::size_t i = 0; i < candidate.indices.size() && i < place->steps.size(); ++i) {
        if (candidate.indices[i] == nullptr) continue;
        place->steps[i].value = index(candidate.indices[i]);
        place->steps[i].number = 0;
        place->steps[i].isChecked = false;
    }
    access.place = place;
    return access;
}

} // namespace

void Lowering::fillSlot(Slot& slot, TypeRef type, SlotUse use, std::string_view name) {
    slot.type = type;
    slot.use = use;
    slot.made = ++events_;
    if (!isOpaque(type)) {
        slot.variable = newLocal(carrierOf(type) != nullptr ? valueType(type) : type, name);
        return;
    }
    if (type->is(TypeKind::array)) {
        if (type->count > maxElements) {
            unsupported(builder_.location, "an array of more than 256 pointers or textures is");
            return;
        }
        slot.members = module_.arena.makeArray<Slot>(type->count);
        for (Slot& member : slot.members)
            fillSlot(member, type->element, use, name);
        return;
    }
    if (!type->is(TypeKind::struct_) && !type->is(TypeKind::lambda)) return;
    const auto fields = type->structDecl->fields;
    slot.members = module_.arena.makeArray<Slot>(fields.size());
    for (std::size_t i = 0; i < fields.size(); ++i)
        fillSlot(slot.members[i], fields[i]->type, use, nameOf(fields[i]));
}

Operand Lowering::loadSlot(Slot& slot, SourceLocation at) {
    if (slot.variable != nullptr) return Operand::ofValue(builder_.load(builder_.place(slot.variable)), slot.type);
    if (!slot.members.empty() || slot.type->is(TypeKind::struct_) || slot.type->is(TypeKind::lambda)) {
        Operand result;
        result.kind = Operand::Kind::aggregate;
        result.type = slot.type;
        result.members = module_.arena.makeArray<Operand>(slot.members.size());
        for (std::size_t i = 0; i < slot.members.size(); ++i)
            result.members[i] = loadSlot(slot.members[i], at);
        return result;
    }
    slot.lastRead = ++events_;
    if (slot.selector != nullptr) {
        Operand choice = slotShape(slot);
        const std::span<Operand> members =
            choice.kind == Operand::Kind::choice ? choice.members : std::span(&choice, 1);
        for (std::size_t i = 0; i < members.size(); ++i)
            if (slot.choiceIndices[i] != nullptr)
                members[i].value = builder_.load(builder_.place(slot.choiceIndices[i]));
        if (choice.kind == Operand::Kind::choice) choice.value = builder_.load(builder_.place(slot.selector));
        return choice;
    }
    if (slot.isSet && slot.candidates.empty()) return slot.held;
    Access access;
    access.kind = Access::Kind::nothing;
    access.type = slot.type->element;
    if (!slot.isSet) return pointerTo(access, slot.type);
    const auto current = [&](const Slot::Candidate& candidate) {
        return withIndices(module_, candidate,
                           [&](ir::Variable* index) { return builder_.load(builder_.place(index)); });
    };
    if (slot.candidates.size() == 1) return pointerTo(current(slot.candidates[0]), slot.type);
    if (slot.knownIn == builder_.block) return pointerTo(current(slot.candidates[slot.knownNumber]), slot.type);
    access.kind = Access::Kind::choice;
    access.number = builder_.load(builder_.place(slot.number));
    slot.isNumberRead = true;
    access.options = module_.arena.makeArray<Access>(slot.candidates.size());
    for (std::size_t i = 0; i < slot.candidates.size(); ++i)
        access.options[i] = current(slot.candidates[i]);
    return pointerTo(access, slot.type);
}

// What loading a texture or sampler gives, with values that only have their types.
Operand Lowering::slotShape(const Slot& slot) {
    const std::span<Operand> members = module_.arena.copy<Operand>(std::span<const Operand>(slot.choices));
    for (std::size_t i = 0; i < members.size(); ++i)
        if (slot.choiceIndices[i] != nullptr) members[i].value = module_.undefined(slot.choiceIndices[i]->type);
    if (members.size() == 1) return members[0];
    Operand choice{.kind = Operand::Kind::choice, .type = slot.type};
    choice.value = module_.undefined(module_.types.uint());
    choice.members = members;
    return choice;
}

// The candidate that this is; a new one when the slot has not been set to it before. None when there cannot be one.
std::optional<std::uint32_t> Lowering::candidateFor(Slot& slot, const Access& access, SourceLocation at) {
    const auto matches = [&](const Slot::Candidate& candidate) {
        if (!haveSameShape(candidate.access, access)) return false;
        if (access.kind != Access::Kind::place) return candidate.access.element == access.element;
        for (std::size_t i = 0; i < access.place->steps.size(); ++i)
            if ((i >= candidate.indices.size() || candidate.indices[i] == nullptr) &&
                !isSameElement(candidate.access.place->steps[i], access.place->steps[i]))
                return false;
        return true;
    };
    const auto known = std::ranges::find_if(slot.candidates, matches);
    if (known != slot.candidates.end()) return static_cast<std::uint32_t>(known - slot.candidates.begin());
    if (slot.isBorrowed) {
        context_->setsPointers = true;
        return std::nullopt;
    }
    if (access.element != nullptr && !access.element->isConstant()) {
        unsupported(at, "a pointer to a pointer that is chosen at run time is");
        return std::nullopt;
    }
    if (slot.candidates.size() == maxCandidates) {
        if (!diagnostics_.hasErrors())
            diagnostics_.error(at, "a pointer that may stand for more than 64 variables is not supported");
        return std::nullopt;
    }
    for (LoopFrame& loop : loops_)
        loop.isToRepeat = loop.isToRepeat || (slot.made < loop.begin && slot.lastRead > loop.begin);
    slot.isSet = true;
    std::vector<Slot::Candidate> grown(slot.candidates.begin(), slot.candidates.end());
    Slot::Candidate& made = grown.emplace_back(access);
    if (access.kind == Access::Kind::place && slot.use != SlotUse::fixed) {
        const auto steps = access.place->steps;
        made.indices = module_.arena.makeArray<ir::Variable*>(steps.size());
        for (std::size_t i = 0; i < steps.size(); ++i) {
            const bool isLast = i + 1 == steps.size();
            const bool isRunTime = steps[i].value != nullptr && !steps[i].value->isConstant();
            if (steps[i].kind != ir::Step::Kind::index) continue;
            if (!isLast && !isRunTime && slot.use != SlotUse::repointed) continue;
            const TypeRef index = indexType(*access.place, i);
            made.indices[i] = newLocal(index, "index");
            made.indices[i]->initializer = module_.constantInt(index, 0);
        }
    }
    slot.candidates = module_.arena.copy(grown);
    return static_cast<std::uint32_t>(slot.candidates.size() - 1);
}

// Notes which candidate the slot is now. A number that nobody asks for goes when the function is complete.
void Lowering::setNumber(Slot& slot, const Access& source, std::span<const std::uint32_t> numbers) {
    Value* number = source.kind == Access::Kind::choice ? renumbered(source.number, numbers) : uintConstant(numbers[0]);
    slot.knownIn = number->isConstant() ? builder_.block : nullptr;
    slot.knownNumber = static_cast<std::uint32_t>(number->bits);
    if (slot.number == nullptr) {
        if (slot.use != SlotUse::repointed && slot.candidates.size() < 2) return;
        slot.number = newLocal(module_.types.uint(), "which");
        slot.number->initializer = uintConstant(0);
    }
    builder_.store(builder_.place(slot.number), number);
    if (!slot.isBorrowed) numberStores_.push_back({&slot, builder_.block, builder_.block->last});
}

namespace {

void collectVariables(const ir::Block& block, std::unordered_set<const ir::Variable*>& used) {
    for (const ir::Instruction* at = block.first; at != nullptr; at = at->next) {
        if (at->place != nullptr) used.insert(at->place->root);
        used.insert(at->variables.begin(), at->variables.end());
        for (const ir::Block* inner : at->blocks)
            collectVariables(*inner, used);
        for (const ir::SwitchCase& one : at->cases)
            collectVariables(*one.block, used);
    }
}

} // namespace

// Takes out the numbers that nobody asks for, and the variables of code that was dropped.
void Lowering::removeUnused(ir::Function* function, std::size_t numberStores, bool hasRepeats) {
    for (std::size_t i = numberStores; i < numberStores_.size(); ++i) {
        const NumberStore& one = numberStores_[i];
        if (one.slot->isNumberRead) continue;
        one.block->remove(one.store);
        std::erase(*function->locals, one.slot->number);
    }
    numberStores_.resize(numberStores);
    if (!hasRepeats) return;
    std::unordered_set<const ir::Variable*> used;
    collectVariables(*function->body, used);
    std::erase_if(*function->locals, [&](const ir::Variable* local) { return !used.contains(local); });
}

void Lowering::storePointer(Slot& slot, const Operand& operand, SourceLocation at) {
    Access source;
    source.kind = Access::Kind::nothing;
    source.type = slot.type->element;
    if (operand.access != nullptr) source = *operand.access;
    if (slot.use == SlotUse::fixed && !slot.isSet) {
        slot.held = operand;
        slot.isSet = true;
        return;
    }
    if (slot.use == SlotUse::fixed && (slot.held.access == nullptr || !haveSameShape(*slot.held.access, source)))
        unsupported(at, "setting this pointer to something else is");
    if (slot.use == SlotUse::fixed) return;
    const std::span<const Access> options =
        source.kind == Access::Kind::choice ? source.options : std::span<const Access>(&source, 1);
    std::vector<std::uint32_t> numbers;
    for (const Access& option : options) {
        const auto number = candidateFor(slot, option, at);
        if (!number) return;
        numbers.push_back(*number);
    }
    setNumber(slot, source, numbers);
    for (std::size_t i = 0; i < options.size(); ++i) {
        const Slot::Candidate& candidate = slot.candidates[numbers[i]];
        for (std::size_t k = 0; k < candidate.indices.size(); ++k) {
            if (candidate.indices[k] == nullptr) continue;
            const ir::Step& step = options[i].place->steps[k];
            Value* index = step.value != nullptr ? step.value : module_.constantInt(module_.types.int_(), step.number);
            builder_.store(builder_.place(candidate.indices[k]), builder_.convert(candidate.indices[k]->type, index));
        }
    }
}

void Lowering::storeSlot(Slot& slot, const Operand& operand, SourceLocation at) {
    builder_.location = at;
    if (slot.variable != nullptr) {
        if (operand.kind == Operand::Kind::value) builder_.store(builder_.place(slot.variable), operand.value);
        return;
    }
    if (operand.kind == Operand::Kind::aggregate) {
        for (std::size_t i = 0; i < slot.members.size() && i < operand.members.size(); ++i)
            storeSlot(slot.members[i], operand.members[i], at);
        return;
    }
    if (operand.kind == Operand::Kind::resource || operand.kind == Operand::Kind::choice)
        storeResource(slot, operand, at);
    else if (operand.kind == Operand::Kind::pointer && slot.members.empty() && slot.type->element != nullptr &&
             !slot.type->is(TypeKind::interpolant)) // a texture that is not set yet is none
        storePointer(slot, operand, at);
}

// ----------------------------------------------------------------------------------- slots that a function refers to

// A slot handed over by reference: its variables go as places, so that the callee changes the caller's.
void Lowering::describe(CallSignature& signature, Slot& slot) {
    signature.key.push_back(slot.isSet ? 1U : 0U);
    signature.key.push_back(static_cast<std::uint32_t>(slot.use));
    slot.lastRead = ++events_;
    slot.knownIn = nullptr;
    if (slot.variable != nullptr) {
        describe(signature, placeAccess(builder_.place(slot.variable), slot.type));
        return;
    }
    for (Slot& member : slot.members)
        describe(signature, member);
    if (!slot.members.empty() || !slot.isSet) return;
    signature.key.push_back(static_cast<std::uint32_t>(slot.candidates.size()));
    if (slot.candidates.empty()) {
        describe(signature, slot.selector != nullptr ? loadSlot(slot, builder_.location) : slot.held);
        return;
    }
    signature.key.push_back(slot.number != nullptr ? 1U : 0U);
    if (slot.number != nullptr) {
        slot.isNumberRead = true;
        describe(signature, placeAccess(builder_.place(slot.number), slot.number->type));
    }
    for (const Slot::Candidate& candidate : slot.candidates) {
        describe(signature, withIndices(module_, candidate, [&](const ir::Variable* index) {
                     return module_.constantInt(index->type, 0);
                 }));
        for (ir::Variable* index : candidate.indices) {
            signature.key.push_back(index != nullptr ? 1U : 0U);
            if (index != nullptr) describe(signature, placeAccess(builder_.place(index), index->type));
        }
    }
}

void Lowering::receive(InstanceParameters& parameters, Slot& from, Slot& to) {
    to.type = from.type;
    to.use = from.use;
    to.isSet = from.isSet;
    to.isBorrowed = true;
    to.made = ++events_;
    to.isNumberRead = true;
    const auto received = [&](ir::Variable* variable) {
        return receive(parameters, placeAccess(builder_.place(variable), variable->type)).place->root;
    };
    if (from.variable != nullptr) {
        to.variable = received(from.variable);
        return;
    }
    to.members = module_.arena.makeArray<Slot>(from.members.size());
    for (std::size_t i = 0; i < from.members.size(); ++i)
        receive(parameters, from.members[i], to.members[i]);
    if (!from.members.empty() || !from.isSet) return;
    if (from.candidates.empty()) {
        to.held = receive(parameters, from.selector != nullptr ? slotShape(from) : from.held);
        return;
    }
    if (from.number != nullptr) to.number = received(from.number);
    to.candidates = module_.arena.makeArray<Slot::Candidate>(from.candidates.size());
    for (std::size_t i = 0; i < from.candidates.size(); ++i) {
        const Slot::Candidate& given = from.candidates[i];
        to.candidates[i].access = receive(parameters, withIndices(module_, given, [&](const ir::Variable* index) {
                                              return module_.constantInt(index->type, 0);
                                          }));
        to.candidates[i].indices = module_.arena.makeArray<ir::Variable*>(given.indices.size());
        for (std::size_t k = 0; k < given.indices.size(); ++k)
            if (given.indices[k] != nullptr) to.candidates[i].indices[k] = received(given.indices[k]);
    }
}

} // namespace msl
