#pragma once

// Messages that an editor can pin to the user's lines: of the compiler's records, or of a compiler's text that comes
// from elsewhere. A message belongs either to a line that the user wrote or, with line 0, to no line at all. Pure; any
// thread.

#include "MSL/Diagnostic.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

struct Diagnostic {
    enum class Severity { error, warning, note };

    Severity severity = Severity::error;
    // From 1 in the user's text; 0 when the message is about the host's code or its line could not be read.
    std::int64_t line = 0;
    // From 1, counted in UTF-8 bytes as the compiler does; 0 when it could not be read.
    std::int64_t column = 0;
    std::string message;

    // The rest is known of the compiler's records only, and no part of what makes two messages equal.
    // UTF-8 bytes from the column on that the message is about; 0 for a place between two of them, or when not known.
    std::int64_t length = 0;
    // An edit of the user's text that mends it.
    std::optional<msl::FixIt> fixIt = std::nullopt;
    // The source line and the caret below it; of a message with line 0 the host's line. Empty when the message is
    // about no place in a text.
    std::string excerpt = {};

    // Tells rows of a list apart; equal diagnostics have equal identities.
    std::string id() const;

    bool operator==(const Diagnostic& other) const {
        return severity == other.severity && line == other.line && column == other.column && message == other.message;
    }
};

// "error", "warning" or "note".
std::string_view rawValue(Diagnostic::Severity severity);

// The records of a compile that was given a text by ShaderAssembler, notes behind their messages: what parse() would
// read in the text of the records, if no echoed source line looked like a message.
std::vector<Diagnostic> fromCompiler(std::span<const msl::Diagnostic> records);

// "name:3:12: error: message" with the excerpt below it, or "name: error: message" where there is no line. Every
// message ends in a line feed.
std::string toText(std::span<const Diagnostic> diagnostics, std::string_view fileName);

namespace DiagnosticParser {

// Reads a compiler's text. One entry for each message line, in the order of the text; nothing is sorted, merged or
// dropped.
std::vector<Diagnostic> parse(std::string_view text);

} // namespace DiagnosticParser
} // namespace glasshob
