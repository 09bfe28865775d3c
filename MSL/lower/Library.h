// Functions of the library that no device has as one instruction, spelled out in IR: the bit functions of 64-bit
// integers, packing into uneven fields, and the precise forms of the math functions. Called while a function is
// lowered; holds no state.
#pragma once

#include "MSL/ir/Ir.h"

#include <span>

namespace msl {

// The call's result, or null for a function that the writers know. Operands are values of the parameter types; scalars
// may stand beside vectors.
ir::Value* lowerLibraryCall(ir::Builder& builder, BuiltinId id, TypeRef type, std::span<ir::Value* const> operands,
                            Precision precision);

// The precise form of a function of floats, all operands of `type`; null for one that has none of its own. Emits into
// the block that is being filled.
ir::Value* preciseFunction(ir::Builder& builder, BuiltinId id, TypeRef type, std::span<ir::Value* const> operands);

} // namespace msl
