#include "GlassHobCore/text/Lines.h"

#include <algorithm>

namespace glasshob {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

unsigned char byteAt(std::string_view text, std::size_t index) {
    return index < text.size() ? static_cast<unsigned char>(text[index]) : 0;
}

// Length of the line break that begins at `index`, or 0. A carriage return and line feed pair needs no care: the
// empty line between them is dropped.
std::size_t breakLength(std::string_view text, std::size_t index) {
    const unsigned char byte = byteAt(text, index);
    if (byte >= 0x0A && byte <= 0x0D) return 1;
    if (byte == 0xC2) return byteAt(text, index + 1) == 0x85 ? 2 : 0;
    if (byte == 0xE2 && byteAt(text, index + 1) == 0x80) {
        const unsigned char last = byteAt(text, index + 2);
        return last == 0xA8 || last == 0xA9 ? 3 : 0;
    }
    return 0;
}

} // namespace

LineReader::LineReader(std::string_view text, LineBreaks breaks) : rest_(text), breaks_(breaks) {
    if (rest_.starts_with(byteOrderMark)) rest_.remove_prefix(byteOrderMark.size());
}

std::optional<std::string_view> LineReader::next() {
    while (!rest_.empty()) {
        std::size_t length = 0;
        std::size_t gap = 0;
        if (breaks_ == LineBreaks::lineFeed) {
            length = std::min(rest_.find('\n'), rest_.size());
            gap = length < rest_.size() ? 1 : 0;
        } else {
            while (length < rest_.size()) {
                const auto byte = static_cast<unsigned char>(rest_[length]);
                if (byte <= 0x0D || byte >= 0xC2) gap = breakLength(rest_, length);
                if (gap != 0) break;
                ++length;
            }
        }
        const std::string_view line = rest_.substr(0, length);
        rest_.remove_prefix(length + gap);
        if (!line.empty()) return line;
    }
    return std::nullopt;
}

DecodedCharacter decodeCharacter(std::string_view text) {
    constexpr DecodedCharacter invalid = {0xFFFD, 1};
    const unsigned char first = byteAt(text, 0);
    if (text.empty()) return {0, 0};
    if (first < 0x80) return {first, 1};
    std::size_t length = 0;
    char32_t value = 0;
    char32_t least = 0;
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
        value = first & 0x1F;
        least = 0x80;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        value = first & 0x0F;
        least = 0x800;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        value = first & 0x07;
        least = 0x10000;
    } else {
        return invalid;
    }
    if (text.size() < length) return invalid;
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned char byte = byteAt(text, i);
        if ((byte & 0xC0) != 0x80) return invalid;
        value = (value << 6) | (byte & 0x3F);
    }
    if (value < least || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return invalid;
    return {value, length};
}

bool isWhiteSpace(char32_t character) {
    if (character < 0x80) return character == ' ' || (character >= 0x09 && character <= 0x0D);
    return character == 0x85 || character == 0xA0 || character == 0x1680 ||
           (character >= 0x2000 && character <= 0x200A) || character == 0x2028 || character == 0x2029 ||
           character == 0x202F || character == 0x205F || character == 0x3000;
}

bool isLineBreak(char32_t character) {
    return (character >= 0x0A && character <= 0x0D) || character == 0x85 || character == 0x2028 || character == 0x2029;
}

std::size_t leadingWhiteSpace(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size()) {
        const DecodedCharacter character = decodeCharacter(text.substr(length));
        if (!isWhiteSpace(character.value)) break;
        length += character.length;
    }
    return length;
}

std::string_view trimmedEnd(std::string_view text) {
    while (!text.empty()) {
        std::size_t start = text.size() - 1;
        while (start > 0 && text.size() - start < 4 && (byteAt(text, start) & 0xC0) == 0x80)
            --start;
        const DecodedCharacter character = decodeCharacter(text.substr(start));
        if (character.length != text.size() - start || !isWhiteSpace(character.value)) break;
        text.remove_suffix(character.length);
    }
    return text;
}

std::string_view trimmed(std::string_view text) {
    text.remove_prefix(leadingWhiteSpace(text));
    return trimmedEnd(text);
}

bool isValidUtf8(std::string_view text) {
    while (!text.empty()) {
        if (static_cast<unsigned char>(text.front()) < 0x80) {
            text.remove_prefix(1);
            continue;
        }
        const DecodedCharacter character = decodeCharacter(text);
        if (character.length == 1) return false;
        text.remove_prefix(character.length);
    }
    return true;
}

} // namespace glasshob
