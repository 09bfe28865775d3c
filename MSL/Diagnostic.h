// What the compiler says about a text, as records. The text of the messages is printed from them and never read back:
// a source line that is echoed below a message may say anything.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace msl {

enum class Severity : std::uint8_t { error, warning, note };

// An edit of the source that mends what a message is about. It lies in the message's file.
struct FixIt {
    std::uint32_t line = 1;   // from 1
    std::uint32_t column = 1; // from 1, in UTF-8 bytes
    std::uint32_t length = 0; // bytes to replace; 0 inserts before the column
    std::string replacement;

    friend bool operator==(const FixIt&, const FixIt&) = default;
};

struct Diagnostic {
    Severity severity = Severity::error;
    std::string file;         // CompileOptions::fileName, or the name that a #line directive gives the place
    std::uint32_t line = 1;   // from 1, as #line counts
    std::uint32_t column = 1; // from 1, in UTF-8 bytes
    // Bytes of the line from the column on that the message is about: a token, or 0 for a place between two, as where
    // something is missing.
    std::uint32_t length = 0;
    std::string message; // one line without control characters: a sentence without a full stop
    std::optional<FixIt> fixIt;
    // The source line, or what lies around the column when it is long, and below it the caret: two lines, the last
    // without a line feed. Empty when the message is about no place in the text.
    std::string excerpt;
    std::vector<Diagnostic> notes; // in their order; they have no notes of their own
};

// "file:line:column: error: message", the excerpt, and the notes in the same shape; no colour, no summary line. Every
// line ends with a line feed.
std::string toText(std::span<const Diagnostic> diagnostics);

} // namespace msl
