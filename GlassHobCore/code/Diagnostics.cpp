#include "GlassHobCore/code/Diagnostics.h"

#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobCore/text/LineMatcher.h"
#include "GlassHobCore/text/Numbers.h"

#include <QChar>

#include <algorithm>
#include <array>
#include <optional>

namespace glasshob {

std::string_view rawValue(Diagnostic::Severity severity) {
    switch (severity) {
    case Diagnostic::Severity::error: return "error";
    case Diagnostic::Severity::warning: return "warning";
    case Diagnostic::Severity::note: return "note";
    }
    return "";
}

std::string Diagnostic::id() const {
    std::string text(rawValue(severity));
    text += ':';
    text += std::to_string(line);
    text += ':';
    text += std::to_string(column);
    text += ':';
    text += message;
    return text;
}

namespace {

// The name that the compiler gives the text before the first `#line`.
constexpr std::string_view preludeFileName = "program_source";
constexpr std::array fileNames = {ShaderAssembler::userFileName, ShaderAssembler::hostFileName, preludeFileName};

Diagnostic::Severity severityOf(msl::Severity severity) {
    switch (severity) {
    case msl::Severity::error: return Diagnostic::Severity::error;
    case msl::Severity::warning: return Diagnostic::Severity::warning;
    case msl::Severity::note: break;
    }
    return Diagnostic::Severity::note;
}

void append(std::vector<Diagnostic>& messages, const msl::Diagnostic& record) {
    if (std::ranges::find(fileNames, record.file) == fileNames.end()) return; // neither the user's text nor the host's
    const bool isUsers = record.file == ShaderAssembler::userFileName;
    Diagnostic& message = messages.emplace_back();
    message.severity = severityOf(record.severity);
    message.line = isUsers ? record.line : 0;
    message.column = record.column;
    message.message = record.message;
    message.length = record.length;
    message.excerpt = record.excerpt;
    if (isUsers) message.fixIt = record.fixIt;
}

} // namespace

std::vector<Diagnostic> fromCompiler(std::span<const msl::Diagnostic> records) {
    std::vector<Diagnostic> messages;
    for (const msl::Diagnostic& record : records) {
        append(messages, record);
        for (const msl::Diagnostic& note : record.notes)
            append(messages, note);
    }
    return messages;
}

std::string toText(std::span<const Diagnostic> diagnostics, std::string_view fileName) {
    std::string text;
    for (const Diagnostic& message : diagnostics) {
        text += fileName;
        if (message.line > 0) {
            text += ':' + std::to_string(message.line);
            if (message.column > 0) text += ':' + std::to_string(message.column);
        }
        text += ": ";
        text += rawValue(message.severity);
        text += ": " + message.message + '\n';
        if (message.line > 0 && !message.excerpt.empty()) text += message.excerpt + '\n';
    }
    return text;
}

namespace DiagnosticParser {

namespace {

// Takes `\d+:` from the front of a text. Digits of every script match; only ASCII ones can be read as a number.
std::optional<std::string_view> takeNumber(std::string_view& text) {
    std::size_t length = 0;
    while (length < text.size()) {
        const DecodedCharacter character = decodeCharacter(text.substr(length));
        if (!QChar::isDigit(character.value)) break;
        length += character.length;
    }
    if (length == 0 || !text.substr(length).starts_with(':')) return std::nullopt;
    const std::string_view digits = text.substr(0, length);
    text.remove_prefix(length + 1);
    return digits;
}

// (shader\.metal|gh_host|program_source):(\d+):(\d+): (error|warning|note): (.*) at the front of a text.
std::optional<Diagnostic> matchHere(std::string_view text) {
    for (const std::string_view file : fileNames) {
        if (!text.starts_with(file) || !text.substr(file.size()).starts_with(':')) continue;
        std::string_view rest = text.substr(file.size() + 1);
        const auto line = takeNumber(rest);
        if (!line) return std::nullopt;
        const auto column = takeNumber(rest);
        if (!column) return std::nullopt;
        for (const auto severity :
             {Diagnostic::Severity::error, Diagnostic::Severity::warning, Diagnostic::Severity::note}) {
            LineMatcher matcher(rest);
            if (!matcher.literal(" ") || !matcher.literal(rawValue(severity)) || !matcher.literal(": ")) continue;
            Diagnostic diagnostic;
            diagnostic.severity = severity;
            if (file == ShaderAssembler::userFileName) diagnostic.line = parseInteger(*line).value_or(0);
            diagnostic.column = parseInteger(*column).value_or(0);
            diagnostic.message = matcher.rest();
            return diagnostic;
        }
        return std::nullopt;
    }
    return std::nullopt;
}

std::optional<Diagnostic> matchAnywhere(std::string_view line) {
    for (std::size_t start = 0; start < line.size(); ++start) {
        if (auto found = matchHere(line.substr(start))) return found;
    }
    return std::nullopt;
}

} // namespace

std::vector<Diagnostic> parse(std::string_view text) {
    std::vector<Diagnostic> diagnostics;
    LineReader lines(text);
    while (const auto line = lines.next()) {
        if (auto found = matchAnywhere(*line)) diagnostics.push_back(std::move(*found));
    }
    return diagnostics;
}

} // namespace DiagnosticParser
} // namespace glasshob
