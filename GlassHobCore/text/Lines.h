#pragma once

// Walks a UTF-8 text line by line without copying it, and knows which characters are white space. Every reader of
// comment directives and of compiler output shares this, so that all of them count and trim alike.
// Pure functions over the caller's text: any thread, nothing owned, nothing fails. Bytes that are not UTF-8 are
// plain characters to it.

#include <cstddef>
#include <optional>
#include <string_view>

namespace glasshob {

enum class LineBreaks {
    // Line feed, carriage return, both as a pair, vertical tab, form feed, U+0085, U+2028, U+2029.
    all,
    // Line feed only; other breaks stay inside the line as white space.
    lineFeed,
};

// Gives the lines of a text that are not empty, in order, without their breaks. A byte-order mark at the very
// start of the text belongs to no line.
class LineReader {
  public:
    explicit LineReader(std::string_view text, LineBreaks breaks = LineBreaks::all);

    // The next line that is not empty, or nothing at the end of the text.
    std::optional<std::string_view> next();

  private:
    std::string_view rest_;
    LineBreaks breaks_;
};

// One character decoded from the front of a text. Bytes that are no valid sequence decode one at a time as U+FFFD.
struct DecodedCharacter {
    char32_t value = 0;
    std::size_t length = 0;
};
DecodedCharacter decodeCharacter(std::string_view text);

// The Unicode property White_Space (tab to carriage return, blank, U+0085, U+00A0, U+2003, U+3000 and the rest).
bool isWhiteSpace(char32_t character);
// The characters that `.` does not match in a regular expression: line feed to carriage return, U+0085, U+2028,
// U+2029.
bool isLineBreak(char32_t character);

// Length in bytes of the white space at the front of a text.
std::size_t leadingWhiteSpace(std::string_view text);
// The text without the white space at its end, or at both ends.
std::string_view trimmedEnd(std::string_view text);
std::string_view trimmed(std::string_view text);

// Whether a text is valid UTF-8 (no overlong forms, surrogates or values above U+10FFFF).
bool isValidUtf8(std::string_view text);

} // namespace glasshob
