#pragma once

// Where a movie goes: found out before the work whether it can stand there, written beside its place, and moved there
// when it is whole. Everything that stands against it is told on the console. One thread.

#include "GlassHobCore/PartialFile.h"
#include "hob/Console.h"

#include <optional>
#include <string>

namespace hob {

/// Nothing after the reason was told: a file that is there is only replaced when that is asked for.
std::optional<glasshob::PartialFile> openMovieOutput(Console& console, const std::string& output, bool replaces);

/// The last step: the movie appears under its name.
ExitStatus finishMovieOutput(Console& console, glasshob::PartialFile& file);

} // namespace hob
