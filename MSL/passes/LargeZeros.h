// Clears big variables element by element in loops. A driver writes a constant of many elements out as a store for each
// of them in one block, and the time that it then takes grows with the square of their number: an array of a thousand
// floats that starts as zero takes a CPU driver 20 seconds, and a fraction of a second when a loop clears it.
#pragma once

#include "MSL/ir/Ir.h"

namespace msl {

// After the index checks: the loops' own indexes are in range.
void clearInLoops(ir::Module& module);

} // namespace msl
