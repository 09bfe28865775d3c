#include "MSL/source/Diagnostics.h"

#include "MSL/source/SourceManager.h"
#include "MSL/source/TokenLength.h"
#include "MSL/source/Utf8.h"

#include <algorithm>
#include <utility>

namespace msl {

namespace {

constexpr std::size_t messageLimit = 600; // bytes of one message
constexpr std::size_t windowLimit = 200;  // bytes of a source line that are shown
constexpr unsigned warningLimit = 100;
constexpr unsigned notesPerMessage = 12;
constexpr std::string_view unreadable = "\xEF\xBF\xBD";

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// Appends text so that it can be shown anywhere: control characters and broken UTF-8 become U+FFFD.
void appendPrintable(std::string& out, std::string_view text, bool keepTabs) {
    for (std::size_t i = 0; i < text.size();) {
        DecodedCharacter c = decodeUtf8(text, i);
        bool isControl = c.value < 0x20 || c.value == 0x7F || (c.value >= 0x80 && c.value < 0xA0);
        if (c.value == '\t')
            out += keepTabs ? '\t' : ' ';
        else if (!c.isValid || isControl)
            out += unreadable;
        else
            out += text.substr(i, c.length);
        i += c.length;
    }
}

} // namespace

void Diagnostics::error(SourceLocation at, std::string message) {
    add(Severity::error, at, std::move(message));
}
void Diagnostics::error(SourceLocation at, std::string message, const Correction& correction) {
    if (!add(Severity::error, at, std::move(message)) || !correction.at) return;
    if (correction.at.offset() > sources_.text().size()) return;
    if (!correction.written.empty()) { // the whole token there
        const std::string_view there = sources_.text().substr(correction.at.offset(), correction.written.size() + 1);
        if (!there.starts_with(correction.written) || tokenLength(there) != correction.written.size()) return;
    }
    records_.back().replacement = {correction.at, static_cast<std::uint32_t>(correction.written.size()),
                                   std::string(correction.meant)};
}
void Diagnostics::warning(SourceLocation at, std::string message, WarningGroup group) {
    WarningLevel level = general_;
    if (at && level != WarningLevel::ignored) {
        const WarningLevel here = control_.levelOf(group, at.offset());
        level = here == WarningLevel::ignored || !sources_.isUserText(at.offset()) ? WarningLevel::ignored
                                                                                   : std::max(level, here);
    }
    droppingNotes_ = level == WarningLevel::ignored;
    if (!droppingNotes_)
        add(level == WarningLevel::error ? Severity::error : Severity::warning, at, std::move(message));
}
void Diagnostics::note(SourceLocation at, std::string message) {
    add(Severity::note, at, std::move(message));
}

void Diagnostics::rollBack(const Mark& mark) {
    records_.erase(records_.begin() + static_cast<std::ptrdiff_t>(mark.records), records_.end());
    errorCount_ = mark.errors;
    warningCount_ = mark.warnings;
    noteCount_ = mark.notes;
    droppingNotes_ = mark.droppingNotes;
}

void Diagnostics::internalError(SourceLocation at, std::string_view what) {
    add(Severity::error, at, "internal compiler error: " + std::string(what));
}

bool Diagnostics::add(Severity severity, SourceLocation at, std::string message) {
    if (severity == Severity::note) {
        if (droppingNotes_ || ++noteCount_ > notesPerMessage) return false;
    } else {
        noteCount_ = 0;
        unsigned& count = severity == Severity::error ? errorCount_ : warningCount_;
        unsigned limit = severity == Severity::error ? errorLimit : warningLimit;
        bool isRepeat = std::ranges::any_of(records_, [&](const Record& record) {
            return record.severity == severity && record.at == at && record.message == message;
        });
        droppingNotes_ = count >= limit || isRepeat;
        if (droppingNotes_) return false;
        ++count;
    }
    if (message.size() > messageLimit) {
        std::size_t end = messageLimit;
        while (end > 0 && isContinuation(message[end]))
            --end;
        message.resize(end);
        message += "...";
    }
    records_.push_back({severity, at, std::move(message), {}});
    return true;
}

// The message with its place. Of the source, the line and the caret: a long line is shown as a window around the
// column; tabs stay tabs in both lines so that the caret stands right whatever their width.
Diagnostic Diagnostics::diagnosticOf(const Record& record) const {
    const PresumedLocation at = sources_.presumed(record.at);
    Diagnostic result;
    result.severity = record.severity;
    appendPrintable(result.file, at.file, false);
    result.line = at.line;
    result.column = at.column;
    appendPrintable(result.message, record.message, false);
    if (!record.at) return result;

    const std::string_view line = sources_.lineText(record.at);
    const std::size_t column = std::min<std::size_t>(at.column - 1, line.size());
    result.length = tokenLength(line.substr(column));
    if (const auto& replacement = record.replacement) {
        const PresumedLocation edited = sources_.presumed(replacement->at);
        if (edited.file == at.file) result.fixIt = {edited.line, edited.column, replacement->length, replacement->text};
    }

    std::string& out = result.excerpt;
    std::size_t begin = 0;
    std::size_t end = line.size();
    if (line.size() > windowLimit) {
        begin = column > windowLimit / 2 ? column - windowLimit / 2 : 0;
        begin = std::min(begin, line.size() - windowLimit);
        end = begin + windowLimit;
        while (begin > 0 && begin < column && isContinuation(line[begin]))
            ++begin;
        while (end < line.size() && end > column && isContinuation(line[end]))
            --end;
    }
    if (begin > 0) out += "...";
    appendPrintable(out, line.substr(begin, end - begin), true);
    out += end < line.size() ? "...\n" : "\n";

    if (begin > 0) out += "   ";
    for (std::size_t i = begin; i < column;) {
        out += line[i] == '\t' ? '\t' : ' ';
        i += decodeUtf8(line, i).length;
    }
    out += '^';
    return result;
}

std::vector<Diagnostic> Diagnostics::messages() const {
    struct Group { // a message and its notes: [first, last) of records_
        std::size_t first;
        std::size_t last;
    };
    std::vector<Group> groups;
    for (std::size_t i = 0; i < records_.size(); ++i) {
        if (records_[i].severity == Severity::note && !groups.empty())
            groups.back().last = i + 1;
        else
            groups.push_back({i, i + 1});
    }
    std::ranges::sort(groups, {},
                      [&](const Group& group) { return std::pair(records_[group.first].at.value, group.first); });

    std::vector<Diagnostic> result;
    result.reserve(groups.size());
    for (const Group& group : groups) {
        Diagnostic& message = result.emplace_back(diagnosticOf(records_[group.first]));
        for (std::size_t i = group.first + 1; i < group.last; ++i)
            message.notes.push_back(diagnosticOf(records_[i]));
    }
    return result;
}

} // namespace msl
