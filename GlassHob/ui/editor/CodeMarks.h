// The messages that are pinned to the code: what each goes under, how it is shown, and the edits that mend it. All of
// them move with the text until they are set anew. Owned by the editor; main thread.
#pragma once

#include "GlassHobCore/code/Diagnostics.h"

#include <QTextCursor>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

class QTextBlock;
class QTextDocument;

namespace glasshob {

class CodeMarks {
  public:
    explicit CodeMarks(QTextDocument* document) : document_(document) {}

    // A wavy line under errors and warnings, dots under what is only worth knowing; a note about the error before it is
    // read with that.
    enum class Look : std::uint8_t { wave, dots, none };
    struct Fix {
        QString title;
        QTextCursor range;
        QString replacement;
    };
    struct Mark {
        std::size_t message; // its number in what was set
        Diagnostic diagnostic;
        QTextCursor range; // its start's block is the marked line
        Look look;
        std::vector<Fix> fixes;
    };

    // The compiler's messages, and notes on directives; both count on in their order. `source` is the text they are
    // about, which the document still holds.
    void set(const std::vector<Diagnostic>& messages, const std::vector<Diagnostic>& directiveNotes,
             std::string_view source);
    void clear() { marks_.clear(); }

    bool isEmpty() const { return marks_.empty(); }
    const std::vector<Mark>& all() const { return marks_; }
    std::vector<const Mark*> ofBlock(int blockNumber) const;
    // The worst severity on a line (from 0), if any.
    std::optional<Diagnostic::Severity> severityOfBlock(int blockNumber) const;
    // The edits for a message, best first.
    std::vector<Fix> fixesOf(std::size_t message) const;
    // Those of a line, the ones for the place first.
    std::vector<Fix> fixesAt(const QTextCursor& place) const;
    // One step of undo; gives where the caret goes.
    static QTextCursor apply(const Fix& fix);
    // Where an edit of the text lies.
    QTextCursor rangeOf(const msl::FixIt& edit) const;

  private:
    QTextCursor rangeOf(const Diagnostic& diagnostic) const;
    QTextBlock lineOf(std::int64_t line) const;

    QTextDocument* document_;
    std::vector<Mark> marks_;
};

// The compiler counts bytes of UTF-8 from 1; the document counts UTF-16 units from 0.
int utf16Column(const QString& line, std::int64_t byteColumn);

} // namespace glasshob
