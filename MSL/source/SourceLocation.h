// Where something stands: a byte offset into the one source text of a compile, plus one (0 means nowhere). Tokens that
// come out of a macro carry the place where the macro was used, which is what the author of the text can act on.
#pragma once

#include <cstdint>

namespace msl {

struct SourceLocation {
    std::uint32_t value = 0;
    explicit operator bool() const { return value != 0; }
    std::uint32_t offset() const { return value - 1; }
    static SourceLocation atOffset(std::uint32_t offset) { return {offset + 1}; }
    friend bool operator==(SourceLocation, SourceLocation) = default;
};

} // namespace msl
