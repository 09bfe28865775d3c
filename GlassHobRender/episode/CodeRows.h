#pragma once

// The code of a walkthrough's page as rows of a column: at the largest size at which it fits, long lines broken where
// one would break them by hand. Measured in columns, the cells of the code font. Pure, but for the widths of characters
// that the code font does not have; any thread of a process with an application.

#include "GlassHobCore/code/MSLSyntax.h"
#include "GlassHobCore/episode/Walkthrough.h"

#include <QString>

#include <optional>
#include <vector>

namespace glasshob {

struct CodeRow {
    // Of one colour, and either of characters that take a column each or of others. Plain text has no kind.
    struct Run {
        QString text;
        int column = 0;
        int columns = 0;
        std::optional<SyntaxKind> kind;
    };
    WalkthroughLine::Kind kind = WalkthroughLine::Kind::blank;
    // The line of the page that it is of, from 0.
    std::size_t line = 0;
    std::vector<Run> runs;
    // The column of the mark before the rest of a long line; below 0 where the row begins a line.
    int hangingMark = -1;

    QString text() const;
};

struct CodeRows {
    // Units: of the letters, and from one row to the next.
    int size = 44;
    int rowHeight = 69;
    // Columns that a row has at this size.
    int columns = 41;
    std::vector<CodeRow> rows;
    int wrappedLines = 0;
    // Lines that had no room in the end, or not all of them.
    int cutLines = 0;

    double height() const { return double(rows.size()) * rowHeight; }
};

// `width` is the room for text in units.
CodeRows codeRows(const std::vector<WalkthroughLine>& lines, double width);

// Units in a column.
double columnWidth(int size);

} // namespace glasshob
