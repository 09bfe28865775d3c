// Arithmetic on constants, as the device would do it: floats in single precision, halves rounded after every step,
// integers modulo their width. Every function answers null when an operand is not constant or the result is not
// defined (an integer division by zero), and the caller then emits the instruction.
#pragma once

#include "MSL/ir/Ir.h"

namespace msl::ir {

Value* foldUnary(Module& module, Op op, Value* operand);
Value* foldBinary(Module& module, Op op, TypeRef resultType, Value* left, Value* right);
Value* foldConvert(Module& module, TypeRef to, Value* value);
Value* foldBitcast(Module& module, TypeRef to, Value* value);
Value* foldBuiltin(Module& module, BuiltinId id, TypeRef resultType, std::span<Value* const> operands);

} // namespace msl::ir
