#pragma once

// The episodes that a person may begin from: those that come with the program, and the folders `episode-*` among the
// person's own shaders. Each of their stages, and the finished shader, can be copied to be edited; an episode itself is
// never written to. Reads the disk at every call; any thread; paths are native bytes.

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob::EpisodeShelf {

struct Entry {
    // "stages/2-many-rings.metal", "source.metal": it identifies the shader within its episode.
    std::string name;
    std::string title;
};

struct Shelved {
    std::string folder;
    std::int64_t number = 0;
    std::string title;
    // The stages in their order, the finished shader last; none when the folder cannot be read.
    std::vector<Entry> entries;
    // Why it cannot be read, a whole sentence; else empty.
    std::string problem;
};

// All of them in the order of their numbers, those of the program first where they are equal. One that cannot be read
// has the number in its name. `ownFolder` is that of the person's shaders; it need not be there.
std::vector<Shelved> all(const std::string& ownFolder);

// How a copy is called, and what it says that it began as (ForkedFrom); nothing where the names of folder and stage are
// not those that an episode of the gallery has.
struct Copy {
    std::string fileName;
    std::optional<std::string> item;

    bool operator==(const Copy&) const = default;
};
// `folderName` is "episode-07-smoke-rings", `entry` the name of one of its shaders: gives
// "episode-07-smoke-rings-2-many-rings.metal" and "episode-07/2-many-rings".
Copy copyOf(std::string_view folderName, std::string_view entry);

// Copies a shader of an episode as it is now under a name that is free; gives the copy's path. The error is a whole
// sentence.
std::expected<std::string, std::string> copyInto(const std::string& ownFolder, const std::string& episode,
                                                 const std::string& entry);

} // namespace glasshob::EpisodeShelf
