// The commands of the editor that work on whole lines: moving, duplicating and deleting those that the selection
// touches, and Home that stops at the code before it goes to the margin. Each is one step of undo. Stateless; main
// thread.
#pragma once

#include <QTextCursor>

namespace glasshob::lineCommands {

// Moves the lines past the one above (-1) or below (+1); false at the end of the text. The selection goes with them.
bool moveLines(QTextCursor& cursor, int direction);
// Puts a copy of the lines below them; the selection stands on the copy.
void duplicateLines(QTextCursor& cursor);
// Takes the lines away; the caret keeps its column as far as the next line reaches.
void deleteLines(QTextCursor& cursor);
// To the first character of the code, and from there to the margin. Tabs and blanks are no code.
void smartHome(QTextCursor& cursor, QTextCursor::MoveMode mode);

} // namespace glasshob::lineCommands
