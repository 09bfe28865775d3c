#pragma once

// What an episode's video holds, as text for people and as JSON for programs. Pure.

#include "GlassHobRender/episode/EpisodePlan.h"

#include <string>

namespace hob {

// A line for the whole, and one for each part.
std::string episodeText(const glasshob::EpisodePlan& plan);

// One object: "number", "title", "frames", "seconds", "maxLines", "pageSeconds", "parts", "chapters" (as in the file
// beside the movie), "stages" with their pages and "variations".
std::string episodeJson(const glasshob::EpisodePlan& plan);

} // namespace hob
