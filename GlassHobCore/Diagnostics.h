#pragma once

// Turns the compiler's text into messages that an editor can pin to the user's lines. A message belongs either to a
// line that the user wrote or, with line 0, to no line at all. Pure; any thread; a text without messages gives none.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

struct Diagnostic {
    enum class Severity { error, warning, note };

    Severity severity = Severity::error;
    /// From 1 in the user's text; 0 when the message is about the host's code or its line could not be read.
    std::int64_t line = 0;
    /// From 1, counted in UTF-8 bytes as the compiler does; 0 when it could not be read.
    std::int64_t column = 0;
    std::string message;

    /// Tells rows of a list apart; equal diagnostics have equal identities.
    std::string id() const;

    bool operator==(const Diagnostic&) const = default;
};

/// "error", "warning" or "note".
std::string_view rawValue(Diagnostic::Severity severity);

namespace DiagnosticParser {

/// One entry for each message line, in the order of the text; nothing is sorted, merged or dropped.
std::vector<Diagnostic> parse(std::string_view text);

} // namespace DiagnosticParser
} // namespace glasshob
