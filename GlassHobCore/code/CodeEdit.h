#pragma once

// Edits of shader text that the editor offers as commands. Pure; any thread. Positions count UTF-16 code units.

#include "GlassHobCore/code/MSLSyntax.h"

#include <QString>

namespace glasshob::CodeEdit {

struct Result {
    QString text;
    // The changed lines, without the last one's line feed.
    TextRange selection;

    bool operator==(const Result&) const = default;
};

// Puts `//` before every line that the selection touches, or takes it away when all of them have it. Blank lines
// between others are left as they are. A selection outside the text is brought into it.
Result toggleComment(const QString& text, TextRange selection);

} // namespace glasshob::CodeEdit
