// What compiles and is hardly meant: comparisons that are always true, variables read before anything is written to
// them, integer divisions in floating-point maths, and their kin. A walk over one function whose types are known; it
// only warns. Each warning stays silent where the text may well be meant.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/source/Diagnostics.h"

namespace msl {

void warnOfSuspicions(const FunctionDecl& function, Diagnostics& diagnostics);

} // namespace msl
