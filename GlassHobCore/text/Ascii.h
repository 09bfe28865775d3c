#pragma once

// Kinds of ASCII characters, whatever the locale. Bytes of other characters are none of these.

#include <string>
#include <string_view>

namespace glasshob {

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
constexpr bool isSmallLetter(char c) {
    return c >= 'a' && c <= 'z';
}
constexpr bool isLetter(char c) {
    return isSmallLetter(c) || (c >= 'A' && c <= 'Z');
}

// With ASCII's capitals as small letters.
inline std::string lowered(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return lower;
}

} // namespace glasshob
