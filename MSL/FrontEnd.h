// Text to IR: preprocessing, parsing, names and types, lowering, and the passes that hold for every target. The module
// refers to nothing of the text or of the tree.
#pragma once

#include "MSL/ir/Ir.h"
#include "MSL/lower/LowerOptions.h"
#include "MSL/source/Diagnostics.h"
#include "MSL/source/SourceManager.h"
#include "MSL/source/WorkLimit.h"

#include <memory>
#include <string_view>

namespace msl {

// Null, with diagnostics, when the text has errors. Any thread. Throws std::bad_alloc where the text takes more memory
// than the limit allows. The module keeps to the limit too, which must outlive it.
std::unique_ptr<ir::Module> translate(SourceManager& sources, Diagnostics& diagnostics, WorkLimit& limit,
                                      const LowerOptions& options = {});

// Whether the work is over the limit; reports it.
bool isOver(WorkLimit& limit, Diagnostics& diagnostics);

// In builds for finding faults, tells which pass left the IR in a state that it must not have.
void verifyAfter(std::string_view pass, const ir::Module& module, Diagnostics& diagnostics);

} // namespace msl
