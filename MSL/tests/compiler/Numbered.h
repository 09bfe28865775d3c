// Long texts, of which the tests of limits are made.
#pragma once

#include <string>

namespace msl::test {

// The text `count` times, with 0, 1, 2 and so on in the place of each `$`.
inline std::string numbered(const std::string& text, int count) {
    std::string out;
    for (int i = 0; i < count; ++i)
        for (const char c : text)
            out += c == '$' ? std::to_string(i) : std::string(1, c);
    return out;
}

} // namespace msl::test
