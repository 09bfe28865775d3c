// The last pass before a writer: what its target lacks becomes instructions that it has. Division by zero, shift
// counts, conversions out of range, functions of halves and of 64-bit integers, packing, and the precise forms of the
// math functions are decided here once, for every writer.
#pragma once

#include "MSL/ir/Ir.h"
#include "MSL/legalize/Target.h"

namespace msl {

void legalize(ir::Module& module, const Target& target);

} // namespace msl
