// What the spelling of a literal means. Pure functions; errors come back as clang's sentence.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace msl {

struct NumberLiteral {
    bool isFloat = false;
    bool isHalf = false;     // floating: suffix h
    bool isUnsigned = false; // integers
    bool isLong = false;
    bool isDecimal = true;
    std::uint64_t integer = 0;
    double floating = 0;     // already rounded to single precision (halves: not yet rounded)
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
