#pragma once

// Shader text as coloured lines of a page. Any thread.

#include "GlassHobGallery/site/Page.h"

namespace glasshob::gallery {

// Adds the sections LINE, and LINES and SIZE in words.
void addSource(Values& page, std::string_view source);

} // namespace glasshob::gallery
