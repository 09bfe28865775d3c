#pragma once

// Carries the compiler's output over to the GPU layer: the module, and each entry point's arguments. Pure; any thread.

#include "GPU/Library.h"
#include "MSL/Compiler.h"

namespace glasshob {

// Takes the module out of `library`.
gpu::LibraryDescriptor libraryDescriptor(msl::CompiledLibrary library, std::string label);

// Whether the layer's tables can hold what a function takes. libraryDescriptor() leaves out one that wants more.
bool fitsTheLayer(const msl::EntryPoint& entry);

} // namespace glasshob
