// Breaks long chains of loops. A CPU driver counts the turns of all loops of an invocation in one number, to end those
// that never would, and its code generator then follows that number from each loop into the next: with simple loops in
// a row the time it takes doubles with each of them, 0.6 seconds for 10, 10 seconds for 14. It does not follow the
// number into a loop that holds another loop. So every few loops one is put into a loop of one turn, whose end a driver
// cannot foresee; 80 loops then take less than a second. A device with a GPU runs that one turn and never notices.
#pragma once

#include "MSL/ir/Ir.h"
#include "MSL/passes/DriverLoops.h"

#include <cstddef>

namespace msl {

// After the index checks. Returns how many loops have been put into another.
std::size_t breakLoopChains(ir::Module& module, const DriverLoops& loops);

} // namespace msl
