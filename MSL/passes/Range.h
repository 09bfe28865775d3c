// What an integer may be, and what an operation makes of it. Only integers of up to 32 bits are followed; their values
// are exact as 64-bit numbers. Whatever is not known has the full range of its type, so every answer holds for every
// run: results that could leave their type, and so wrap, have the full range too.
#pragma once

#include "MSL/ir/Ir.h"

#include <cstdint>

namespace msl {

struct Range { // both ends included; a uint's values are 0 to 2^32 - 1
    std::int64_t low = 0;
    std::int64_t high = 0;
};

constexpr bool contains(Range outer, Range inner) {
    return inner.low >= outer.low && inner.high <= outer.high;
}

// A scalar integer or bool of up to 32 bits.
bool isNarrowInteger(TypeRef type);

// All values of a type; of those that are not followed, all 64-bit numbers.
Range fullRange(TypeRef type);

// What the instruction gives when its operands lie in `operands`, one range per operand; the entries of operands that
// are no narrow integers are not read. The result must be a narrow integer.
Range resultRange(const ir::Instruction& instruction, const Range* operands);

} // namespace msl
