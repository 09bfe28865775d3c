#pragma once

// A gallery with its data, from start to stop.

#include "GlassHobGallery/site/Config.h"
#include "GlassHobGallery/site/Upkeep.h"

#include <string>

namespace glasshob::gallery {

// Serves until SIGINT or SIGTERM, and lets what is under way end. Call it before other threads start. Throws
// std::runtime_error with a sentence when it cannot begin.
void serve(Config config, Data& data);

// The link with which this person chooses a new password; empty when nobody is called so.
std::string resetLink(Config config, Data& data, std::string_view handle);

} // namespace glasshob::gallery
