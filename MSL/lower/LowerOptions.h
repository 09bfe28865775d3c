// What lowering may make of a text.
#pragma once

namespace msl {

struct LowerOptions {
    bool allowsAddresses = false; // memory may be reached by a 64-bit address
};

} // namespace msl
