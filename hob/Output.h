#pragma once

// Where a command's file goes: a path, or standard output for "-". Asked before the work whether it can be written, so
// that nobody waits for a result that cannot be kept. A file is replaced whole or not at all.

#include "hob/Console.h"

#include <string>
#include <string_view>

namespace hob {

/// Whether the output can be taken; tells why when not. `source` is the path of what the work is done on, which is
/// never overwritten, and `role` what that is.
bool checkOutput(Console& console, const std::string& output, const std::string& source,
                 std::string_view role = "the shader itself");

/// Writes the bytes; tells why when that fails.
bool writeOutput(Console& console, const std::string& output, std::string_view bytes);

} // namespace hob
