// Operations on constants, worked out by MSL/constant. Every function answers null when an operand is not constant or
// the result is not known while compiling, and the caller then emits the instruction.
#pragma once

#include "MSL/constant/Scalar.h"
#include "MSL/ir/Ir.h"

#include <optional>

namespace msl::ir {

// The operation that an instruction applies to each component; none when it is not of that kind. A vector times a
// scalar multiplies each component by it.
std::optional<constant::Op> scalarOp(Op op);

Value* foldUnary(Module& module, Op op, Value* operand);
Value* foldBinary(Module& module, Op op, TypeRef resultType, Value* left, Value* right);
Value* foldConvert(Module& module, TypeRef to, Value* value);
Value* foldBitcast(Module& module, TypeRef to, Value* value);
Value* foldBuiltin(Module& module, BuiltinId id, TypeRef resultType, std::span<Value* const> operands,
                   Precision precision);

} // namespace msl::ir
