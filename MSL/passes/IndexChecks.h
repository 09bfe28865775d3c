// Makes every index stay inside what it indexes, whatever its value at run time. An index that can be proved in range
// (a constant, a masked or clamped value, a loop counter with constant bounds) is left alone; any other is clamped to
// the last element: for buffers of unknown length with the length asked at run time. After the pass every Step of kind
// index has isChecked set and every extractDynamic is in range.
#pragma once

#include "MSL/ir/Ir.h"

namespace msl {

struct IndexCheckCounts {
    unsigned proved = 0;
    unsigned clamped = 0;
};
IndexCheckCounts checkIndexes(ir::Module& module);

} // namespace msl
