#pragma once

// Paints the rows of a walkthrough's page into its column: bands and bars of what is new, code in its colours, the
// marks of gaps and of long lines. Any thread of a process with an application.

#include "GlassHobRender/episode/CodeRows.h"
#include "GlassHobRender/episode/Sheet.h"

namespace glasshob::codeColumn {

// The room for text in units, and where it begins.
double textWidth(const EpisodeFrame& frame);
inline constexpr double textLeft = 45;

// Where the first row begins: the block of rows stands in the middle of the frame.
double top(const CodeRows& rows);

void paint(Sheet& sheet, const CodeRows& rows, double columnWidth);

} // namespace glasshob::codeColumn
