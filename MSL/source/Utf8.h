// Reading UTF-8 byte by byte without trusting it. Pure functions.
#pragma once

#include <cstdint>
#include <string_view>

namespace msl {

struct DecodedCharacter {
    char32_t value = 0;
    std::uint8_t length = 1; // bytes taken, at least 1
    bool isValid = false;
};

// The character at text[at]; an invalid byte decodes to itself with length 1.
constexpr DecodedCharacter decodeUtf8(std::string_view text, std::size_t at) {
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char first = byte(at);
    if (first < 0x80) return {first, 1, true};
    unsigned length = first >= 0xF0 && first < 0xF5   ? 4
                      : first >= 0xE0 && first < 0xF0 ? 3
                      : first >= 0xC2 && first < 0xE0 ? 2
                                                      : 0;
    if (length == 0 || at + length > text.size()) return {first, 1, false};
    char32_t value = first & (0xFFU >> (length + 1));
    for (unsigned i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) return {first, 1, false};
        value = (value << 6) | (byte(at + i) & 0x3FU);
    }
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (value < smallest[length] || value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) return {first, 1, false};
    return {value, static_cast<std::uint8_t>(length), true};
}

// Blanks that pasted text carries: no-break space, the typographic spaces, zero-width characters, line and paragraph
// separators, the byte-order mark.
constexpr bool isUnicodeBlank(char32_t c) {
    return c == 0x85 || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200F) || (c >= 0x2028 && c <= 0x202F) ||
           (c >= 0x205F && c <= 0x2064) || c == 0x3000 || c == 0xFEFF;
}

// Letters of other scripts that may stand in an identifier, in the coarse ranges of the C standard.
constexpr bool isIdentifierCharacter(char32_t c) {
    return c == 0xAA || c == 0xB5 || c == 0xBA || (c >= 0xC0 && c <= 0xD6) || (c >= 0xD8 && c <= 0xF6) ||
           (c >= 0xF8 && c <= 0x167F) || (c >= 0x1681 && c <= 0x1FFF) || (c >= 0x2070 && c <= 0x218F) ||
           (c >= 0x2460 && c <= 0x24FF) || (c >= 0x2C00 && c <= 0x2DFF) || (c >= 0x3004 && c <= 0x3007) ||
           (c >= 0x3021 && c <= 0xD7FF) || (c >= 0xF900 && c <= 0xFD3D) || (c >= 0xFD40 && c <= 0xFDCF) ||
           (c >= 0xFDF0 && c <= 0xFE44) || (c >= 0xFE47 && c <= 0xFEFE) || (c >= 0x10000 && c <= 0xEFFFD);
}

} // namespace msl
