// Resolved syntax tree to IR. Works from the entry points: a function that nothing reachable calls is not lowered.
// Reports what the IR cannot express (recursion, a texture chosen at run time) at its line.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/ir/Ir.h"
#include "MSL/lower/LowerOptions.h"
#include "MSL/source/Diagnostics.h"
#include "MSL/source/WorkLimit.h"

namespace msl {

void lower(const TranslationUnit& unit, ir::Module& module, Diagnostics& diagnostics, WorkLimit& limit,
           const LowerOptions& options = {});

} // namespace msl
