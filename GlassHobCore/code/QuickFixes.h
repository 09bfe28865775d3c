#pragma once

// Edits that mend what a message is about, for a person to choose from. Pure; any thread.

#include "GlassHobCore/code/Diagnostics.h"

#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

struct QuickFix {
    // "Change to 'float4'", "Add a slider 'glow'".
    std::string title;
    // In the text that the message is about. What it inserts may be whole lines.
    msl::FixIt edit;
};

// The best one first; none for most messages. `source` is the text that the message is about. A conversion of a whole
// text from another language is a fix of the row that explain() puts on top, and belongs here.
std::vector<QuickFix> quickFixes(const Diagnostic& message, std::string_view source);

} // namespace glasshob
