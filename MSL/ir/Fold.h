// Operations on constants, worked out by MSL/constant. Every function answers null when an operand is not constant or
// the result is not known while compiling, and the caller then emits the instruction.
#pragma once

#include "MSL/ir/Ir.h"

namespace msl::ir {

Value* foldUnary(Module& module, Op op, Value* operand);
Value* foldBinary(Module& module, Op op, TypeRef resultType, Value* left, Value* right);
Value* foldConvert(Module& module, TypeRef to, Value* value);
Value* foldBitcast(Module& module, TypeRef to, Value* value);
Value* foldBuiltin(Module& module, BuiltinId id, TypeRef resultType, std::span<Value* const> operands,
                   Precision precision);

} // namespace msl::ir
