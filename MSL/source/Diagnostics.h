// Collects the messages of one compile and prints them in clang's shape. The first of the passes to know a fault
// reports it here; nothing is thrown. One object per compile, not thread safe.
#pragma once

#include "MSL/source/SourceLocation.h"
#include "MSL/source/WarningControl.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace msl {

class SourceManager;

enum class Severity : std::uint8_t { error, warning, note };

class Diagnostics {
  public:
    // `general` is what becomes of all warnings, whatever the text's own pragmas say of some.
    explicit Diagnostics(const SourceManager& sources, WarningLevel general = WarningLevel::warning)
        : sources_(sources), general_(general) {}

    // A message is one sentence in clang's wording, without a full stop. A note belongs to the message before it.
    void error(SourceLocation at, std::string message);
    // A warning is told unless the text silences its group there, or the place is the host's, not the author's.
    void warning(SourceLocation at, std::string message, WarningGroup group = WarningGroup::other);
    void note(SourceLocation at, std::string message);

    // A broken invariant of the compiler itself: fails the compile with the place in this program.
    void internalError(SourceLocation at, std::string_view what);

    WarningControl& warningControl() { return control_; }

    bool hasErrors() const { return errorCount_ > 0; }
    unsigned errorCount() const { return errorCount_; }
    // True after so many errors (20) that reporting more helps nobody; passes stop soon after.
    bool isFull() const { return errorCount_ >= errorLimit; }

    // For what is only tried: everything said after mark() is as if it had not been.
    struct Mark {
        std::size_t records = 0;
        unsigned errors = 0;
        unsigned warnings = 0;
        unsigned notes = 0;
        bool droppingNotes = false;
    };
    Mark mark() const { return {records_.size(), errorCount_, warningCount_, noteCount_, droppingNotes_}; }
    void rollBack(const Mark& mark);

    std::string errorText() const;   // every message, when the compile failed
    std::string warningText() const; // warnings and their notes, when it succeeded

    static constexpr unsigned errorLimit = 20;

  private:
    struct Record {
        Severity severity;
        SourceLocation at;
        std::string message;
    };
    void add(Severity severity, SourceLocation at, std::string message);
    void print(const Record& record, std::string& out) const;
    std::vector<std::pair<std::size_t, std::size_t>> groupsInTextOrder() const; // [first, last) of records_

    const SourceManager& sources_;
    WarningLevel general_;
    WarningControl control_;
    std::vector<Record> records_;
    unsigned errorCount_ = 0;
    unsigned warningCount_ = 0;
    unsigned noteCount_ = 0;     // of the message before
    bool droppingNotes_ = false; // the message before was dropped, so its notes go too
};

} // namespace msl
