#include "GlassHobCore/site/Handle.h"

#include <algorithm>

namespace glasshob::Handle {

bool isValid(std::string_view text) {
    return text.size() >= 3 && text.size() <= 24 && std::ranges::all_of(text, [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
           });
}

} // namespace glasshob::Handle
