#include "MSL/Diagnostic.h"

#include <string_view>

namespace msl {

namespace {

std::string_view severityWord(Severity severity) {
    switch (severity) {
    case Severity::error: return ": error: ";
    case Severity::warning: return ": warning: ";
    case Severity::note: return ": note: ";
    }
    return {};
}

void print(const Diagnostic& diagnostic, std::string& out) {
    out += diagnostic.file;
    out += ':' + std::to_string(diagnostic.line) + ':' + std::to_string(diagnostic.column);
    out += severityWord(diagnostic.severity);
    out += diagnostic.message;
    out += '\n';
    if (diagnostic.excerpt.empty()) return;
    out += diagnostic.excerpt;
    out += '\n';
}

} // namespace

std::string toText(std::span<const Diagnostic> diagnostics) {
    std::string out;
    for (const Diagnostic& diagnostic : diagnostics) {
        print(diagnostic, out);
        for (const Diagnostic& note : diagnostic.notes)
            print(note, out);
    }
    return out;
}

} // namespace msl
