#pragma once

// Which lines of a text are new compared with another: those outside of a longest common subsequence. Pure; any thread.

#include <span>
#include <string_view>
#include <vector>

namespace glasshob {

// One flag for each of `now`. Takes a bit of memory for every pair of lines behind the first difference.
std::vector<bool> addedLines(std::span<const std::string_view> now, std::span<const std::string_view> before);

} // namespace glasshob
