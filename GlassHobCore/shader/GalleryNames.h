#pragma once

// How the gallery names its shaders: "episode-07" for the finished shader of an episode, "episode-07/2-many-rings" for
// one of its stages, "s/ab12" for one that a person has shared. Pure; any thread.

#include <optional>
#include <string>
#include <string_view>

namespace glasshob::GalleryNames {

// Whether it is one of these names.
bool isItem(std::string_view text);

// A small letter or a digit, and then these and dashes.
bool isStage(std::string_view text);
// Small letters and digits, 32 at most.
bool isSharedId(std::string_view text);

// "episode-07" of the folder of an episode such as "episode-007-sky", which has two or three digits and a name; nothing
// of any other folder.
std::optional<std::string> episodeOfFolder(std::string_view folder);

} // namespace glasshob::GalleryNames
