#pragma once

// Rewrites the `// @param` lines of a shader. Pure; any thread.

#include "GlassHobCore/shader/Params.h"
#include "MSL/Diagnostic.h"

#include <string_view>
#include <vector>

namespace glasshob {

// The edits that make the values the defaults of their sliders, in the order of the lines. Sliders that stand at their
// default, and values without a slider, need none.
std::vector<msl::FixIt> defaultEdits(std::string_view source, const SliderValues& values);

} // namespace glasshob
