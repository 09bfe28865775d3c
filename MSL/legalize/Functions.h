// Functions of the library spelled out in IR, by family. Each emits into the block that is being filled and gives the
// call's result; null for a function that it does not have. Operands have the parameter types; where the functions
// work component by component, scalars beside vectors have been widened before.
#pragma once

#include "MSL/ir/Ir.h"
#include "MSL/legalize/Target.h"

#include <span>

namespace msl {

using Operands = std::span<ir::Value* const>;

// Of float numbers and float vectors; copysign, nextafter, signbit of half and bfloat, isfinite and isnormal of half as
// well.
ir::Value* spellFloat(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands);
// Of integers of any width.
ir::Value* spellInteger(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands);
// Bit functions and products of 64-bit integers.
ir::Value* spellWideInteger(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands);
// Packing into fields of uneven width, with sRGB curves, and of halves.
ir::Value* spellPacking(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands);
// select, the relational functions of any numbers.
ir::Value* spellRelational(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands);
// Dot products of integers and of scalars, squared lengths.
ir::Value* spellGeometric(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands);

// An operator on bfloat numbers, or a conversion to or from them.
ir::Value* spellBfloat(ir::Builder& builder, const ir::Instruction& instruction);

// The precise form of a function of floats, all of one type.
ir::Value* preciseFunction(ir::Builder& builder, BuiltinId id, Operands operands);

} // namespace msl
