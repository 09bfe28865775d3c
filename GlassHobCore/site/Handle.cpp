#include "GlassHobCore/site/Handle.h"

#include "GlassHobCore/text/Ascii.h"

#include <algorithm>

namespace glasshob::Handle {

bool isValid(std::string_view text) {
    return text.size() >= 3 && text.size() <= 24 &&
           std::ranges::all_of(text, [](char c) { return isSmallLetter(c) || isDigit(c) || c == '-'; });
}

} // namespace glasshob::Handle
