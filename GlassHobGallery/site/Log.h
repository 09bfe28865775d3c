#pragma once

// What happens, one JSON object a line, on the standard error. Never a token, a password, a code or a query. Any
// thread.

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace glasshob::gallery {

using LogFields = std::initializer_list<std::pair<std::string_view, std::string>>;
void logEvent(std::string_view event, LogFields fields = {});

// The path of a request as it may be kept: without what stands for a secret in it.
std::string pathForLog(std::string_view path);

} // namespace glasshob::gallery
