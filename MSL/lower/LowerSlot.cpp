// Slots: variables of types that have no values in the IR, such as pointers and structs that hold them. What a pointer
// stands for is known while lowering; only its indices are run-time variables, so it may move, or be pointed elsewhere
// in what it points into.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Value;

namespace {

bool isPlainPlace(const Access* access) {
    return access != nullptr && access->kind == Access::Kind::place;
}

// The same variable and members; which elements is left open.
bool haveSameShape(const ir::Place& a, const ir::Place& b) {
    if (a.root != b.root || a.steps.size() != b.steps.size()) return false;
    for (std::size_t i = 0; i < a.steps.size(); ++i) {
        if (a.steps[i].kind != b.steps[i].kind) return false;
        if (a.steps[i].kind == ir::Step::Kind::member && a.steps[i].number != b.steps[i].number) return false;
    }
    return true;
}

bool isSameElement(const ir::Step& a, const ir::Step& b) {
    return a.value == b.value && a.number == b.number;
}

} // namespace

void Lowering::fillSlot(Slot& slot, TypeRef type, SlotUse use, std::string_view name) {
    slot.type = type;
    slot.use = use;
    if (!isOpaque(type)) {
        slot.variable = newLocal(carrierOf(type) != nullptr ? valueType(type) : type, name);
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
    if (!slot.isSet) {
        Operand null;
        null.kind = Operand::Kind::pointer;
        null.type = slot.type;
        return null;
    }
    const bool hasVariables = std::ranges::any_of(slot.indices, [](const ir::Variable* one) { return one != nullptr; });
    if (!hasVariables || !isPlainPlace(slot.held.access)) return slot.held;
    const ir::Place* old = slot.held.access->place;
    auto* place = module_.arena.make<ir::Place>(*old);
    place->steps = module_.arena.copy(std::span<const ir::Step>(old->steps));
    for (std::size_t i = 0; i < slot.indices.size() && i < place->steps.size(); ++i) {
        if (slot.indices[i] == nullptr) continue;
        place->steps[i].value = builder_.load(builder_.place(slot.indices[i]));
        place->steps[i].number = 0;
        place->steps[i].isChecked = false;
    }
    Access access = *slot.held.access;
    access.place = place;
    return pointerTo(access, slot.held.type);
}

// A pointer that is set for the first time: which of its indices need variables.
void Lowering::openPointer(Slot& slot, const Operand& operand) {
    slot.held = operand;
    slot.isSet = true;
    if (slot.use == SlotUse::fixed || !isPlainPlace(operand.access)) return;
    const auto steps = operand.access->place->steps;
    slot.indices = module_.arena.makeArray<ir::Variable*>(steps.size());
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const bool isLast = i + 1 == steps.size();
        const bool isRunTime = steps[i].value != nullptr && !steps[i].value->isConstant();
        if (steps[i].kind != ir::Step::Kind::index) continue;
        if (!isLast && !isRunTime && slot.use != SlotUse::repointed) continue;
        slot.indices[i] = newLocal(module_.types.int_(), "index");
        slot.indices[i]->initializer = module_.constantInt(module_.types.int_(), 0);
    }
}

void Lowering::storePointer(Slot& slot, const Operand& operand, SourceLocation at) {
    constexpr std::string_view several =
        "a pointer may stand for more than one variable at run time after this; this is not supported here";
    if (operand.access == nullptr) {
        if (slot.isSet && slot.held.access != nullptr)
            unsupported(at, "setting a pointer to null after it has pointed to something is");
        return; // null, as it is until it is set
    }
    if (!slot.isSet || slot.held.access == nullptr) {
        if (slot.isBorrowed) {
            unsupported(at, "giving a caller's pointer its first value is");
            return;
        }
        openPointer(slot, operand);
    } else if (!isPlainPlace(slot.held.access) || !isPlainPlace(operand.access) ||
               !haveSameShape(*slot.held.access->place, *operand.access->place) ||
               slot.held.access->swizzleCount != operand.access->swizzleCount) {
        const bool isSameValue =
            operand.access->kind == Access::Kind::value && slot.held.access->kind == Access::Kind::value &&
            operand.access->held.value != nullptr && operand.access->held.value == slot.held.access->held.value;
        const bool isSameSlot = operand.access->kind == Access::Kind::slot &&
                                slot.held.access->kind == operand.access->kind &&
                                operand.access->slot == slot.held.access->slot;
        if (!isSameValue && !isSameSlot) diagnostics_.error(at, std::string(several));
        return;
    }
    if (!isPlainPlace(operand.access)) return;
    const auto held = slot.held.access->place->steps;
    const auto steps = operand.access->place->steps;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (steps[i].kind != ir::Step::Kind::index) continue;
        if (i < slot.indices.size() && slot.indices[i] != nullptr) {
            Value* index =
                steps[i].value != nullptr ? steps[i].value : module_.constantInt(module_.types.int_(), steps[i].number);
            builder_.store(builder_.place(slot.indices[i]), builder_.convert(module_.types.int_(), index));
        } else if (!isSameElement(held[i], steps[i])) {
            diagnostics_.error(at, std::string(several));
            return;
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
    if (operand.kind == Operand::Kind::pointer && slot.members.empty()) {
        storePointer(slot, operand, at);
        return;
    }
    if (operand.kind != Operand::Kind::resource) return;
    if (slot.isSet && slot.held.resource != operand.resource) {
        unsupported(at, "a texture or sampler chosen at run time is");
        return;
    }
    slot.held = operand;
    slot.isSet = true;
}

// ----------------------------------------------------------------------------------- slots that a function refers to

// A slot handed over by reference: its variables go as places, so that the callee changes the caller's.
void Lowering::describe(CallSignature& signature, Slot& slot) {
    signature.key.push_back(slot.isSet ? 1U : 0U);
    signature.key.push_back(static_cast<std::uint32_t>(slot.use));
    if (slot.variable != nullptr) {
        describe(signature, placeAccess(builder_.place(slot.variable), slot.type));
        return;
    }
    for (Slot& member : slot.members)
        describe(signature, member);
    if (!slot.members.empty() || !slot.isSet) return;
    describe(signature, loadSlot(slot, builder_.location));
    for (ir::Variable* index : slot.indices) {
        signature.key.push_back(index != nullptr ? 1U : 0U);
        if (index != nullptr) describe(signature, placeAccess(builder_.place(index), index->type));
    }
}

void Lowering::receive(InstanceParameters& parameters, Slot& from, Slot& to) {
    to.type = from.type;
    to.use = from.use;
    to.isSet = from.isSet;
    to.isBorrowed = true;
    if (from.variable != nullptr) {
        to.variable = receive(parameters, placeAccess(builder_.place(from.variable), from.type)).place->root;
        return;
    }
    to.members = module_.arena.makeArray<Slot>(from.members.size());
    for (std::size_t i = 0; i < from.members.size(); ++i)
        receive(parameters, from.members[i], to.members[i]);
    if (!from.members.empty() || !from.isSet) return;
    Operand held = from.held;
    // The shape of what describe() handed over: indices in variables are run-time ones.
    if (isPlainPlace(held.access) && !from.indices.empty()) {
        auto* place = module_.arena.make<ir::Place>(*held.access->place);
        place->steps = module_.arena.copy(std::span<const ir::Step>(held.access->place->steps));
        for (std::size_t i = 0; i < from.indices.size(); ++i)
            if (from.indices[i] != nullptr) {
                place->steps[i].value = module_.undefined(module_.types.int_());
                place->steps[i].number = 0;
            }
        Access access = *held.access;
        access.place = place;
        held = pointerTo(access, held.type);
    }
    to.held = receive(parameters, held);
    to.indices = module_.arena.makeArray<ir::Variable*>(from.indices.size());
    for (std::size_t i = 0; i < from.indices.size(); ++i)
        if (from.indices[i] != nullptr)
            to.indices[i] =
                receive(parameters, placeAccess(builder_.place(from.indices[i]), from.indices[i]->type)).place->root;
}

} // namespace msl
