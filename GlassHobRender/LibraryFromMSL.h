#pragma once

// Carries the compiler's output over to the GPU layer: the module, and each entry point's arguments. Pure; any thread.

#include "GPU/Library.h"
#include "MSL/Compiler.h"

namespace glasshob {

/// Takes the module out of `library`.
gpu::LibraryDescriptor libraryDescriptor(msl::CompiledLibrary library, std::string label);

} // namespace glasshob
