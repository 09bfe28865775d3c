#pragma once

// The line that says which shader a text began as: "// @forked-from episode-07/2-many-rings" or "// @forked-from
// s/ab12". Pure; any thread; never fails.

#include <optional>
#include <string>
#include <string_view>

namespace glasshob::ForkedFrom {

// What the first such line names; none where that is no name of the gallery's.
std::optional<std::string> parse(std::string_view source);

// Whether it is the name of an episode ("episode-07"), of a stage ("episode-07/2-many-rings") or of a shader that was
// shared ("s/ab12").
bool isItem(std::string_view text);

// The source with its line for this item: in the place of the first such line, else behind the comment that the source
// begins with. Nothing else changes, and the new line ends as those around it do.
std::string stamp(std::string_view source, std::string_view item);

} // namespace glasshob::ForkedFrom
