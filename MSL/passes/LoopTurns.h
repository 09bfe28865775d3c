// How often a loop turns, where constants say so.
#pragma once

#include "MSL/ir/Ir.h"

namespace msl {

// The most turns of the loop itself, without those of loops inside: of one that begins with a test of a counter against
// a constant, whose start and step are constants too. Infinite for every other.
double turnsAtMost(const ir::Instruction& loop);

} // namespace msl
