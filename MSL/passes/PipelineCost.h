// An estimate of how long a driver needs to build the pipelines of a module. Drivers put every function into its
// callers, so a small text may ask for any amount of code, and some shapes of code take them far more time than others.
// The weights were measured on Mesa's CPU driver, which compiles with LLVM and is the slowest that we know; the
// limit leaves it about twelve seconds for an entry point.
#pragma once

#include "MSL/ir/Ir.h"
#include "MSL/passes/DriverLoops.h"

#include <optional>

namespace msl {

// Where the first entry point that goes over the limit does so; nothing when all stay inside.
std::optional<SourceLocation> findExcessiveCost(const ir::Module& module, const DriverLoops& loops);

} // namespace msl
