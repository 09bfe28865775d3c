// A buffer whose type ends in an array of one element is how programs write a buffer of unknown length: the array goes
// on to where the buffer ends. The pass gives such a buffer a second variable for the same memory, of a type whose last
// array is as long as the buffer, and lets it take every access that steps into the buffer. What copies the whole
// declared type stays with the first variable. Variable::isOpen says which buffers are meant.
//
// A buffer behind a pointer is an array of what the pointer points to. There only what an index of zero that is known
// while compiling leads to is meant, and only where some such access goes on with an index into the array that is not
// zero; every other element is one of the declared size.
#pragma once

#include "MSL/ir/Ir.h"

namespace msl {

// Returns how many buffers have been opened. The index checks come after it.
unsigned openArrays(ir::Module& module);

} // namespace msl
