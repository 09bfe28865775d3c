// What the spelling of a literal means. Pure functions; errors come back as clang's sentence.
#pragma once

#include "MSL/types/Types.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace msl {

struct NumberLiteral {
    bool isFloat = false;
    ScalarKind kind = ScalarKind::float_; // floating: half by the suffix h, bfloat by bf
    bool isUnsigned = false;              // integers
    bool isLong = false;
    bool isDecimal = true;
    std::uint64_t integer = 0;
    double floating = 0;     // already rounded to single precision (half, bfloat: not yet rounded)
    bool isTooLarge = false; // the value became infinity
    std::string error;
    std::size_t errorOffset = 0; // where in the spelling
};
NumberLiteral readNumber(std::string_view spelling);

struct CharacterLiteral {
    std::uint64_t value = 0;
    std::string error;
    std::size_t errorOffset = 0;
};
CharacterLiteral readCharacter(std::string_view spelling);

// The text of a string literal with its escapes replaced.
std::string readString(std::string_view spelling);

} // namespace msl
