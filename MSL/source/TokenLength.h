// How long a token is, from the bytes alone: for underlining what a message points at, where only its place is kept.
#pragma once

#include <cstdint>
#include <string_view>

namespace msl {

// Bytes of the word, number, literal or operator at the front of a line's text; 0 when a blank, a comment or nothing
// stands there. A literal ends with its line.
std::uint32_t tokenLength(std::string_view line);

} // namespace msl
