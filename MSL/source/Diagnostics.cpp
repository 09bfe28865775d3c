#include "MSL/source/Diagnostics.h"

#include "MSL/source/SourceManager.h"
#include "MSL/source/Utf8.h"

#include <algorithm>

namespace msl {

namespace {

constexpr std::size_t messageLimit = 600; // bytes of one message
constexpr std::size_t windowLimit = 200;  // bytes of a source line that are shown
constexpr unsigned warningLimit = 100;
constexpr unsigned notesPerMessage = 12;
constexpr std::string_view replacement = "\xEF\xBF\xBD";

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
            out += replacement;
        else
            out += text.substr(i, c.length);
        i += c.length;
    }
}

std::string_view severityWord(Severity severity) {
    switch (severity) {
    case Severity::error: return "error: ";
    case Severity::warning: return "warning: ";
    case Severity::note: return "note: ";
    }
    return {};
}

} // namespace

void Diagnostics::error(SourceLocation at, std::string message) {
    add(Severity::error, at, std::move(message));
}
void Diagnostics::warning(SourceLocation at, std::string message, WarningGroup group) {
    WarningLevel level = general_;
    if (at && level != WarningLevel::ignored) {
        const WarningLevel here = control_.levelOf(group, at.offset());
        level = here == WarningLevel::ignored || !sources_.isAuthors(at.offset()) ? WarningLevel::ignored
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

void Diagnostics::add(Severity severity, SourceLocation at, std::string message) {
    if (severity == Severity::note) {
        if (droppingNotes_ || ++noteCount_ > notesPerMessage) return;
    } else {
        noteCount_ = 0;
        unsigned& count = severity == Severity::error ? errorCount_ : warningCount_;
        unsigned limit = severity == Severity::error ? errorLimit : warningLimit;
        bool isRepeat = std::ranges::any_of(records_, [&](const Record& record) {
            return record.severity == severity && record.at == at && record.message == message;
        });
        droppingNotes_ = count >= limit || isRepeat;
        if (droppingNotes_) return;
        ++count;
    }
    if (message.size() > messageLimit) {
        std::size_t end = messageLimit;
        while (end > 0 && isContinuation(message[end]))
            --end;
        message.resize(end);
        message += "...";
    }
    records_.push_back({severity, at, std::move(message)});
}

// "file:line:column: error: message", the source line and the caret. A long line is shown as a window around the
// column; tabs stay tabs in both lines so that the caret stands right whatever their width.
void Diagnostics::print(const Record& record, std::string& out) const {
    PresumedLocation at = sources_.presumed(record.at);
    appendPrintable(out, at.file, false);
    out += ':' + std::to_string(at.line) + ':' + std::to_string(at.column) + ": ";
    out += severityWord(record.severity);
    appendPrintable(out, record.message, false);
    out += '\n';
    if (!record.at) return;

    std::string_view line = sources_.lineText(record.at);
    std::size_t column = std::min<std::size_t>(at.column - 1, line.size());
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
    out += "^\n";
}

// Messages of all passes in the order of the text, each followed by its notes.
std::vector<std::pair<std::size_t, std::size_t>> Diagnostics::groupsInTextOrder() const {
    std::vector<std::pair<std::size_t, std::size_t>> groups;
    for (std::size_t i = 0; i < records_.size(); ++i) {
        if (records_[i].severity == Severity::note && !groups.empty())
            groups.back().second = i + 1;
        else
            groups.emplace_back(i, i + 1);
    }
    std::ranges::sort(groups, {},
                      [&](const auto& group) { return std::pair(records_[group.first].at.value, group.first); });
    return groups;
}

std::string Diagnostics::errorText() const {
    std::string out;
    for (auto [begin, end] : groupsInTextOrder())
        for (std::size_t i = begin; i < end; ++i)
            print(records_[i], out);
    return out;
}

std::string Diagnostics::warningText() const {
    std::string out;
    for (auto [begin, end] : groupsInTextOrder()) {
        if (records_[begin].severity == Severity::error) continue;
        for (std::size_t i = begin; i < end; ++i)
            print(records_[i], out);
    }
    return out;
}

} // namespace msl
