#pragma once

// Reads an episode from disk: a folder `episode-NN-slug` with `source.metal`, the finished shader with its header, and
// `stages/*.metal`, the steps towards it; or a single shader file with an `@episode` line, which has no stages. Nothing
// outside of the folder is read: a symbolic link that leads out of it is refused. Paths are native bytes. Any thread;
// blocks while it reads. Fails with a whole sentence that names the file and says what to do.

#include "GlassHobCore/episode/EpisodeMeta.h"
#include "GlassHobCore/episode/Walkthrough.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

struct EpisodeFile {
    std::string path;
    // "source.metal", "stages/02-soft-edges.metal": what messages call it.
    std::string name;
    std::string text;

    bool operator==(const EpisodeFile&) const = default;
};

struct Episode {
    EpisodeFile source;
    EpisodeMeta meta;
    // In the order of their names, numbers compared as numbers; none: an episode without a walkthrough.
    std::vector<EpisodeFile> stages;

    // Number, title, pages of each stage; none of it for an episode without stages. Fails for a stage without new
    // code.
    struct StageFault {
        // From 1.
        std::int64_t number = 1;
        // "Stage 3 has no code to show: it is the same as stage 2."
        std::string sentence;
    };
    std::expected<std::vector<WalkthroughStage>, StageFault> walkthrough(Walkthrough::PageLines pageLines) const;

    bool operator==(const Episode&) const = default;
};

namespace EpisodeFolder {

inline constexpr std::size_t stageLimit = 500;
// Lines of one stage: they are compared with each of the stage before.
inline constexpr std::size_t stageLineLimit = 20'000;
// Bytes of all stages together.
inline constexpr std::size_t stagesSizeLimit = std::size_t{64} << 20;

enum class Problem {
    missing,
    // A folder without a source.
    noSource,
    // No header line, or one without a number.
    noHeader,
    // A file that is none, is no text, cannot be read or is too large.
    badFile,
    // A name that leads out of the folder.
    leadsOut,
    tooManyStages,
};

struct Failure {
    Problem problem = Problem::missing;
    std::string sentence;
};

// `path` is the folder or the single file. A file named `source.metal` in an episode's folder stands for the folder.
// `text` stands in the place of the source's own, as an editor has it.
std::expected<Episode, Failure> read(const std::string& path, const std::optional<std::string>& text = {});

// The episode of a text that is in no file yet: one without stages. `name` is what messages call it.
std::expected<Episode, Failure> ofText(const std::string& name, const std::string& text);

// Whether a text has a header line that makes it an episode.
bool hasHeader(std::string_view text);

// The episodes in a folder: paths of the folders in it that are named `episode-*` and hold a source, in the order of
// their names. Empty when there are none or the folder cannot be read.
std::vector<std::string> list(const std::string& folder);

// The order of names in which "stage-2" comes before "stage-10".
bool isBefore(std::string_view a, std::string_view b);

} // namespace EpisodeFolder
} // namespace glasshob
