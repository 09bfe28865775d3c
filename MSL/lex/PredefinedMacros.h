// The macros that exist before the first line: the numeric constants of the standard library's headers and what says
// which compiler this is. A static table; nothing is set up per compile.
#pragma once

#include <string_view>

namespace msl {

bool isPredefinedMacro(std::string_view name);

// The replacement text of a predefined macro; empty for those without one. Infinity and not-a-number, which no literal
// can spell, are the words "inf" and "nan" (with "h" for half precision) that only this table may use as numbers.
std::string_view predefinedMacroText(std::string_view name);

} // namespace msl
