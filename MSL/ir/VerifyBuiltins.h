// The part of verify() that knows the library: whether a builtin instruction has the operands, types and place that its
// row of the table of built-in functions asks for.
#pragma once

#include "MSL/ir/Ir.h"

#include <string>

namespace msl::ir {

// What is wrong with the instruction; empty when nothing is. Its operands and place are sound in themselves.
std::string builtinFault(const Module& module, const Instruction& instruction);

} // namespace msl::ir
