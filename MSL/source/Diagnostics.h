// Collects the messages of one compile. The first of the passes to know a fault reports it here; nothing is thrown. One
// object per compile, not thread safe.
#pragma once

#include "MSL/Diagnostic.h"
#include "MSL/source/SourceLocation.h"
#include "MSL/source/WarningControl.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace msl {

class SourceManager;

// What the author meant in place of what stands written there. An empty `written` puts it before what stands there.
struct Correction {
    SourceLocation at;
    std::string_view written;
    std::string_view meant;
};

class Diagnostics {
  public:
    // `general` is what becomes of all warnings, whatever the text's own pragmas say of some.
    explicit Diagnostics(const SourceManager& sources, WarningLevel general = WarningLevel::warning)
        : sources_(sources), general_(general) {}

    // A message is one sentence in clang's wording, without a full stop. A note belongs to the message before it.
    void error(SourceLocation at, std::string message);
    // The correction becomes the message's fix-it, unless the text there reads differently, as it does where the word
    // came out of a macro.
    void error(SourceLocation at, std::string message, const Correction& correction);
    // A warning is reported unless the text silences its group there, or the place is the host's, not the author's.
    void warning(SourceLocation at, std::string message, WarningGroup group = WarningGroup::other);
    void note(SourceLocation at, std::string message);

    // A broken invariant of the compiler itself: fails the compile with the place in this program.
    void internalError(SourceLocation at, std::string_view what);

    WarningControl& warningControl() { return control_; }

    bool hasErrors() const { return errorCount_ > 0; }
    unsigned errorCount() const { return errorCount_; }
    // True after so many errors (20) that more would not help; passes stop soon after.
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

    // Every message in the order of the text, notes below theirs.
    std::vector<Diagnostic> messages() const;

    static constexpr unsigned errorLimit = 20;

  private:
    struct Replacement {
        SourceLocation at;
        std::uint32_t length;
        std::string text;
    };
    struct Record {
        Severity severity;
        SourceLocation at;
        std::string message;
        std::optional<Replacement> replacement;
    };
    bool add(Severity severity, SourceLocation at, std::string message); // false when it was dropped
    Diagnostic diagnosticOf(const Record& record) const;

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
