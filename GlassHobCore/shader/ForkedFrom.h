#pragma once

// The line that says which shader a text began as: "// @forked-from episode-07/2-many-rings" or "// @forked-from
// s/ab12". Pure; any thread; never fails.

#include <optional>
#include <string>
#include <string_view>

namespace glasshob::ForkedFrom {

// What the first such line names; none where that is none of GalleryNames.
std::optional<std::string> parse(std::string_view source);

// The source with its line for this item: in the place of the first such line, else behind the first line of the
// comment that the source begins with, which is its title. Nothing else changes, and the new line ends as those around
// it do.
std::string stamp(std::string_view source, std::string_view item);

} // namespace glasshob::ForkedFrom
