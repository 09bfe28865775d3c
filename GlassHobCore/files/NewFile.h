#pragma once

// Puts a new file into a folder under the first name that is free, and never touches what is there. Paths are native
// bytes. Any thread; blocks.

#include <expected>
#include <string>
#include <string_view>

namespace glasshob::NewFile {

// Gives the file's path: "rings.metal", "rings 2.metal" where that is taken, and so on. A reader sees the whole file or
// none. On failure nothing is left behind, and the error is one sentence that names the file and says what to do.
std::expected<std::string, std::string> write(const std::string& folder, const std::string& fileName,
                                              std::string_view bytes);

} // namespace glasshob::NewFile
