#pragma once

// What is wrong with the directives of a shader (`// @param` and its like). A directive that cannot be read changes
// nothing and stops no compile, so this is the only place where its author hears of it. Pure, linear in the source; any
// thread; never fails.

#include "GlassHobCore/code/Diagnostics.h"

#include <string_view>
#include <vector>

namespace glasshob {

// Warnings in the order of their lines, each with the stretch of the line that it is about and, where one is known,
// the edit that mends it. No more than `mostDirectiveNotes`.
std::vector<Diagnostic> directiveNotes(std::string_view source);

inline constexpr std::size_t mostDirectiveNotes = 100;

} // namespace glasshob
