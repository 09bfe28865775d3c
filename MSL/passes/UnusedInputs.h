// Leaves out what a fragment function is handed and never reads: a struct that comes from the vertex function carries
// everything that it writes, the position foremost, and a driver pays for each value at every primitive. Inputs that
// nothing reads leave the entry point's interface, so its reflection is made before this pass. What makes
// a function run once for every sample stays.
#pragma once

#include "MSL/ir/Ir.h"

namespace msl {

// Returns how many inputs were left out.
unsigned dropUnusedInputs(ir::Module& module);

} // namespace msl
