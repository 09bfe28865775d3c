#pragma once

// Writes the `// @variations` line of an episode's header: the edit of the text that makes an episode show the chosen
// variations and leaves every other line as it is. Pure; any thread; never fails.

#include "MSL/Diagnostic.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

struct VariationsLine {
    enum class Change {
        // The text says so already, or it has no header to write in.
        none,
        rewrite,
        add,
        remove,
    };
    Change change = Change::none;
    // As it will stand in the text, without what stands before its "//"; empty where there will be none.
    std::string text;
    // From 1, as an editor counts: the line that is rewritten, that is new, or is there already; the ones that go.
    // Several go where several are there, since an earlier one would count without the last.
    std::vector<std::int64_t> numbers;
    // The directive that a new line stands under, "@variation"; empty for the others.
    std::string under;
    // For `rewrite` and `add`. A column behind the end of its line stands for its end.
    std::optional<msl::FixIt> edit;

    // `indices` in their order; none: no line.
    static VariationsLine write(std::string_view source, std::span<const std::int64_t> indices);
};

} // namespace glasshob
