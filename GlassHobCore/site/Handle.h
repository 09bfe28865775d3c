#pragma once

// The name under which a person shows on the gallery. Pure; any thread.

#include <string_view>

namespace glasshob::Handle {

// Whether the gallery takes it: 3 to 24 characters, each a small letter, a digit or "-".
bool isValid(std::string_view text);

} // namespace glasshob::Handle
