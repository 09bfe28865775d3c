#pragma once

// The messages of a failed compile as a person sees them: nothing about lines that are not the person's own. Errors in
// the host's own code come from a function that is missing or does not fit, and are reported so, at its line where it
// has one; code from elsewhere gets a row on top that says what it is. Pure; any thread; never fails.

#include "GlassHobCore/code/Diagnostics.h"

#include <span>
#include <string_view>
#include <vector>

namespace glasshob {

// `diagnostics` are those of the failed compile of `source`. In the result no message but the host's own help and what
// concerns the text as a whole has line 0; the hints on names of other programs follow the errors that they are about.
std::vector<Diagnostic> explain(std::span<const Diagnostic> diagnostics, std::string_view source);

} // namespace glasshob
