// Makes every access stay inside what it indexes, whatever an index is at run time. An index that is proved to be in
// range (ValueRanges.h says how) is left alone; any other is clamped to the last element: for buffers of unknown length
// with the length asked at run time. A buffer may hold not even one element: what reads it gives zero then, and what
// writes it does nothing, because every access to a buffer of unknown length stands in an if_ that asks for its length.
//
// After the pass every Step of kind index has isChecked set and is in range whenever its instruction runs, and every
// extractDynamic is in range. A second run changes nothing.
#pragma once

#include "MSL/ir/Ir.h"

namespace msl {

struct IndexCheckCounts {
    unsigned proved = 0;
    unsigned clamped = 0;
};
IndexCheckCounts checkIndexes(ir::Module& module);

} // namespace msl
