// Pointers to one thing: what they are made of, what they point to, moving them. See LowerPointerChoice.cpp for those
// that may point to several.
#include "MSL/lower/Lowering.h"

namespace msl {

using ir::Value;

Access Lowering::dereference(const Operand& pointer, TypeRef type, SourceLocation at) {
    if (pointer.kind != Operand::Kind::pointer || pointer.access == nullptr) {
        if (!diagnostics_.hasErrors()) diagnostics_.error(at, "a null pointer is dereferenced here");
        return errorAccess(type);
    }
    if (pointer.access->kind == Access::Kind::nothing && loops_.empty()) // in a loop it may be set in a round before
        diagnostics_.error(at, "a null pointer is dereferenced here");
    return *pointer.access;
}

Operand Lowering::pointerTo(const Access& access, TypeRef pointerType) {
    Operand result;
    result.kind = Operand::Kind::pointer;
    result.type = pointerType;
    result.access = module_.arena.make<Access>(access);
    return result;
}

Operand Lowering::decay(const Access& array, TypeRef pointerType, SourceLocation at) {
    if (array.element != nullptr) return decay(elementOf(array), pointerType, at);
    if (array.kind == Access::Kind::choice) {
        const auto first = [&](const Access& option) {
            const Operand pointer = decay(option, pointerType, at);
            return pointer.access != nullptr ? *pointer.access : errorAccess(pointerType->element);
        };
        return pointerTo(mapOptions(array, pointerType->element, first), pointerType);
    }
    const Access memory = inMemory(array, at);
    if (memory.kind == Access::Kind::slot || memory.kind == Access::Kind::nothing ||
        (memory.kind == Access::Kind::value && memory.held.kind == Operand::Kind::aggregate))
        return pointerTo(indexAccess(memory, uintConstant(0), pointerType->element, at), pointerType);
    if (memory.kind != Access::Kind::place) {
        if (!diagnostics_.hasErrors()) unsupported(at, "a pointer to an array of textures is");
        return errorOperand(pointerType);
    }
    const TypeRef element = pointerType->element;
    if (isKeptAsWords(memory)) return pointerTo(indexAccess(memory, uintConstant(0), element, at), pointerType);
    return pointerTo(placeAccess(builder_.placeIndex(memory.place, 0U, element), element), pointerType);
}

// The index of the element that a pointer into an array stands for; null when it points to a single variable.
Value* Lowering::pointerIndex(const Operand& pointer) {
    if (pointer.kind == Operand::Kind::pointer && pointer.access != nullptr && pointer.access->element != nullptr)
        return pointer.access->element;
    if (pointer.kind != Operand::Kind::pointer || pointer.access == nullptr ||
        pointer.access->kind != Access::Kind::place || pointer.access->place->steps.empty() ||
        pointer.access->swizzleCount > 0)
        return nullptr;
    const ir::Step& last = pointer.access->place->steps.back();
    if (last.kind != ir::Step::Kind::index) return nullptr;
    return last.value != nullptr ? last.value : module_.constantInt(module_.types.int_(), last.number);
}

Operand Lowering::movePointer(const Operand& pointer, Value* by, bool isBackwards, SourceLocation at) {
    if (by->isConstant() && by->bits == 0) return pointer;
    if (pointer.kind == Operand::Kind::pointer && pointer.access != nullptr &&
        pointer.access->kind == Access::Kind::choice) {
        const auto moved = [&](const Access& option) {
            return *movePointer(pointerTo(option, pointer.type), by, isBackwards, at).access;
        };
        return pointerTo(mapOptions(*pointer.access, pointer.access->type, moved), pointer.type);
    }
    Value* index = pointerIndex(pointer);
    if (index == nullptr) {
        if (pointer.kind != Operand::Kind::pointer || isNull(pointer)) return pointer;
        // A single variable or member: to what lies beside it.
        ir::Place* view = isOpaque(pointer.access->type) ? nullptr : viewOf(*pointer.access, pointer.access->type);
        if (view != nullptr)
            return movePointer(pointerTo(placeAccess(view, pointer.access->type), pointer.type), by, isBackwards, at);
        const bool isSplit =
            pointer.access->kind == Access::Kind::value && pointer.access->held.kind == Operand::Kind::aggregate;
        unsupported(at, isSplit ? "an argument buffer of more than one element, whose members are bindings, is"
                                : "moving a pointer that points to a single variable is");
        return pointer;
    }
    Value* moved = by;
    if (!index->isConstant() || index->bits != 0 || isBackwards) {
        const TypeRef type = index->isConstant() ? by->type : index->type;
        moved = builder_.binary(isBackwards ? ir::Op::sub : ir::Op::add, type, builder_.convert(type, index),
                                builder_.convert(type, by));
    }
    Access access = *pointer.access;
    if (access.element != nullptr) {
        access.element = moved;
        return pointerTo(access, pointer.type);
    }
    const ir::Place* old = pointer.access->place;
    auto* shorter = module_.arena.make<ir::Place>();
    shorter->root = old->root;
    shorter->steps = old->steps.first(old->steps.size() - 1);
    access.place = builder_.placeIndex(shorter, moved, old->type);
    return pointerTo(access, pointer.type);
}

bool Lowering::sameStaticPath(const Access& left, const Access& right) const {
    if (left.kind != Access::Kind::place || right.kind != Access::Kind::place ||
        left.place->root != right.place->root || left.place->steps.size() != right.place->steps.size())
        return false;
    for (std::size_t i = 0; i < left.place->steps.size(); ++i) {
        const ir::Step& a = left.place->steps[i];
        const ir::Step& b = right.place->steps[i];
        const bool isLast = i + 1 == left.place->steps.size();
        if (a.kind != b.kind) return false;
        if (isLast && a.kind == ir::Step::Kind::index) continue;
        if (a.number != b.number || a.value != b.value) return false;
    }
    return true;
}

} // namespace msl
