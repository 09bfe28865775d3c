#include "hob/MovieOutput.h"

#include <sys/stat.h>

namespace hob {

std::optional<glasshob::PartialFile> openMovieOutput(Console& console, const std::string& output, bool replaces) {
    struct stat status = {};
    if (!replaces && stat(output.c_str(), &status) == 0) {
        console.problem(output + " is there already: add --force to replace it.");
        return {};
    }
    auto file = glasshob::PartialFile::beside(output);
    if (!file) {
        console.problem(file.error());
        return {};
    }
    return std::move(*file);
}

ExitStatus finishMovieOutput(Console& console, glasshob::PartialFile& file) {
    const auto moved = file.moveIntoPlace();
    if (!moved) console.problem(moved.error());
    return moved ? ExitStatus::done : ExitStatus::failed;
}

} // namespace hob
