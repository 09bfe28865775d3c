// What the functions that an entry point reaches may do, for hosts and writers: Entry::mayDiscard and its kin.
#pragma once

#include "MSL/ir/Ir.h"

namespace msl {

void findEntryFacts(ir::Module& module);

} // namespace msl
