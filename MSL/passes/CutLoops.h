// A driver may end a loop that goes on for very long and let the thread run on as if the loop had ended by itself;
// Mesa's CPU driver does so after 65,535 turns of all loops of a few neighbouring threads. Marked, such an end leaves a
// trace: the thread writes 1 into the first word of the buffer at CompileOptions::cutLoopsIndex of its stage.
//
// Each loop sets a note of its thread when it leaves by itself, and the note is looked at behind the loop. It lies in
// an array at a place that only the host knows (the buffer's second word, 0), because a driver that sees that the loop
// can only be left so takes the note for granted.
//
// Marked are fragment functions in which all loops together may come to as many turns, as far as constants tell; in
// them every loop of more than a few turns. A function that functions of other stages call too is left alone, and so
// is a loop that is left by return alone.
#pragma once

#include "MSL/ir/Ir.h"

namespace msl {

void markCutLoops(ir::Module& module);

} // namespace msl
