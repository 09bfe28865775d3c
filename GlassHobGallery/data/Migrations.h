#pragma once

// The tables, as numbered steps from an empty file to what this program uses. A step that has been released is never
// changed. Each runs in a transaction of its own, together with the number that it leads to.

#include "GlassHobGallery/data/Sqlite.h"

#include <span>

namespace glasshob::gallery {

// Step i leads to version i + 1.
std::span<const char* const> migrations();

// Brings the file to a version, by default the newest. Throws SqliteError, and when the file is newer than the program.
void migrate(SqliteConnection& connection, std::size_t version = migrations().size());

} // namespace glasshob::gallery
