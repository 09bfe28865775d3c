#pragma once

// Writes a whole file so that a reader sees either the old content or the new, never a part: the bytes go to a new
// file beside it, which is then renamed over it. A symbolic link is written through, and an existing file keeps its
// mode. A device or a pipe is written directly. Paths are native bytes. Any thread; blocks. On failure nothing is
// left behind and the old file is untouched.

#include <expected>
#include <string>
#include <string_view>

namespace glasshob::AtomicFile {

// What the new content is safe against once `write` has returned. Waiting for the disk takes tens of milliseconds.
enum class Outlives { machine, process };

// Success, or one sentence that names the file and says what to do.
std::expected<void, std::string> write(const std::string& path, std::string_view bytes,
                                       Outlives outlives = Outlives::machine);

// Whether `write` could put a file there now, found out without writing. Asked before long work.
std::expected<void, std::string> check(const std::string& path);

// The file that `write` would put there or replace: the end of the path's symbolic links. Fails as `check` does.
std::expected<std::string, std::string> target(const std::string& path);

} // namespace glasshob::AtomicFile
