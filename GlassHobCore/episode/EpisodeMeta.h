#pragma once

// The header of an episode: comment lines of a shader such as `// @episode 12 Smoke rings` or `// @still 4`. Every
// line of the source is looked at, and a later line overrides an earlier one. A line that makes no sense changes
// nothing. Pure; any thread; never fails.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

struct EpisodeMeta {
    std::int64_t number = 1;
    std::string title = "Untitled";
    // Seconds, above 0.
    double length = 60;
    double variationLength = 30;
    std::vector<std::int64_t> variations;
    // The time of the shader's best picture in seconds, 0 or above.
    double still = 10;
    std::string teaches;
    std::string category;
    std::string tags;
    std::string finalTitle;
    std::string finalSummary;

    static EpisodeMeta parse(std::string_view source);

    bool operator==(const EpisodeMeta&) const = default;
};

} // namespace glasshob
