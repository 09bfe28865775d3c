// Memory that a program reaches by a 64-bit address: what the pointers and references stand for that lie in buffers
// themselves, and numbers that are cast to pointers. Only where the caller allows it. Such memory is a variable without
// a place of its own: the first step of a place in it is the address. Nothing is known of its length.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Op;
using ir::Value;

bool Lowering::isAtAddress(const ir::Place* place) {
    return place != nullptr && place->root->kind == ir::Variable::Kind::address;
}

// The type of the index that a step of a place has.
TypeRef Lowering::indexType(const ir::Place& place, std::size_t step) const {
    return step == 0 && isAtAddress(&place) ? module_.types.scalar(ScalarKind::ulong) : module_.types.int_();
}

bool Lowering::checkAddresses(SourceLocation at) {
    if (allowsAddresses_) return true;
    diagnostics_.error(at, "memory that is reached by its address is not allowed here: the host has to allow it "
                           "(mslc --allow-addresses)");
    return false;
}

// What lies at an address.
Access Lowering::memoryAt(Value* address, TypeRef type) {
    const TypeRef held = type->is(TypeKind::void_) ? module_.types.scalar(ScalarKind::uchar) : type;
    ir::Variable*& variable = memories_[held];
    if (variable == nullptr) {
        const TypeRef elements = module_.types.array(held, 0);
        if (!isScalarAligned(elements)) unsupported(builder_.location, "a packed struct behind an address is");
        variable = module_.newVariable(ir::Variable::Kind::address, module_.types.array(elements, 0), "memory");
        variable->isWritable = true;
    }
    ir::Place* place = builder_.placeIndex(builder_.place(variable), address, variable->type->element);
    return placeAccess(builder_.placeIndex(place, 0U, held), type);
}

// The address of something that has one; a ulong.
Value* Lowering::addressOf(const Access& access, SourceLocation at) {
    const TypeRef ulong = module_.types.scalar(ScalarKind::ulong);
    if (access.kind == Access::Kind::nothing) return module_.constantInt(ulong, 0);
    if (access.kind == Access::Kind::choice) {
        Value* result = addressOf(access.options[0], at);
        for (std::uint32_t i = 1; i < access.options.size(); ++i)
            result = builder_.select(isNumber(access, i), addressOf(access.options[i], at), result);
        return result;
    }
    if (access.kind != Access::Kind::place || !isAtAddress(access.place) || access.swizzleCount > 0) {
        if (!diagnostics_.hasErrors()) unsupported(at, "the address of memory that was not reached by an address is");
        return module_.constantInt(ulong, 0);
    }
    Value* start = access.place->steps[0].value;
    Value* offset = byteOffset(*access.place);
    if (offset->isConstant() && offset->bits == 0) return start;
    // The index of an element may be negative.
    return builder_.binary(Op::add, ulong, start,
                           builder_.convert(ulong, builder_.convert(module_.types.scalar(ScalarKind::long_),
                                                                    builder_.bitcast(module_.types.int_(), offset))));
}

Operand Lowering::pointerOfBits(Value* bits, TypeRef type, SourceLocation at) {
    if (!checkAddresses(at)) return errorOperand(type);
    if (type->space != AddressSpace::device && type->space != AddressSpace::constant) {
        unsupported(at, "an address outside of device and constant memory is");
        return errorOperand(type);
    }
    return pointerTo(memoryAt(bits, type->element), type);
}

// Pointers, and structs and arrays with pointers in them, out of memory.
Operand Lowering::loadPointers(const Access& access, SourceLocation at) {
    const TypeRef type = access.type;
    const auto part = [&](const Access& member) { return load(member, at); };
    switch (type->kind) {
    case TypeKind::pointer:
    case TypeKind::reference: {
        auto* place = module_.arena.make<ir::Place>(*access.place);
        place->type = module_.types.scalar(ScalarKind::ulong);
        return pointerOfBits(loadPlace(place), type, at);
    }
    case TypeKind::array:
    case TypeKind::struct_: {
        Operand result = defaultValue(type, true);
        if (result.kind != Operand::Kind::aggregate) return result;
        for (std::uint32_t i = 0; i < result.members.size(); ++i) {
            if (type->is(TypeKind::array)) {
                result.members[i] = part(indexAccess(access, uintConstant(i), type->element, at));
                continue;
            }
            const VarDecl* field = type->structDecl->fields[i];
            ir::Place* place = builder_.placeMember(access.place, i, field->type);
            result.members[i] = part(placeAccess(place, field->type));
        }
        return result;
    }
    default: break;
    }
    unsupported(at, "a texture or sampler in memory that is reached by address is");
    return errorOperand(type);
}

void Lowering::storePointers(const Access& access, const Operand& operand, SourceLocation at) {
    if (operand.kind == Operand::Kind::pointer && access.type->is(TypeKind::pointer)) {
        auto* place = module_.arena.make<ir::Place>(*access.place);
        place->type = module_.types.scalar(ScalarKind::ulong);
        Access nothing;
        nothing.kind = Access::Kind::nothing;
        storePlace(place, addressOf(operand.access != nullptr ? *operand.access : nothing, at));
        return;
    }
    if (operand.kind != Operand::Kind::aggregate) {
        if (!diagnostics_.hasErrors()) unsupported(at, "writing this into memory is");
        return;
    }
    for (std::uint32_t i = 0; i < operand.members.size(); ++i) {
        const bool isArray = access.type->is(TypeKind::array);
        const TypeRef type = isArray ? access.type->element : access.type->structDecl->fields[i]->type;
        store(isArray ? indexAccess(access, uintConstant(i), type, at)
                      : placeAccess(builder_.placeMember(access.place, i, type), type),
              operand.members[i], at);
    }
}

} // namespace msl
