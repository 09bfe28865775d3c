#pragma once

// Sets of slider values for an episode, each to be shown for a while from a start time of its own. Which ones there are
// follows from the seed and the declared sliders alone: the same arguments give the same variations on every machine.
// Pure; any thread; never fails.

#include "GlassHobCore/episode/VideoChapters.h"
#include "GlassHobCore/shader/Params.h"

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

struct Variation {
    // Its place in the endless run of variations; any number, negative ones too.
    std::int64_t index = 0;
    // Seconds of the shader's time, on a grid of half seconds.
    double start = 0;
    SliderValues values;
    // The one or two sliders that are farthest off their defaults, "speed 1.25, hue 0.4"; empty when none is.
    std::string highlights;

    // What it is called: its highlights, or "Default settings".
    const std::string& title() const;
    bool operator==(const Variation&) const = default;
};

namespace Variations {

// Sliders that keep the user's value: they are never varied and never named.
const std::set<std::string, std::less<>>& excluded();

// `count` variations from the index `first` on; none for a count below 1. They start within the first `span` seconds,
// early enough that `hold` seconds are left. `amount` says how far values stray from their defaults: 0 not at all,
// 1 over the whole range.
std::vector<Variation> make(std::span<const ParamDecl> params, std::uint64_t seed, std::int64_t first,
                            std::int64_t count, double span, double hold, float amount);

// A chapter for each variation, `variationLength` seconds each, the first at `offset`. Gives where the last one ends.
double appendChapters(std::span<const Variation> variations, double variationLength, double offset,
                      std::vector<VideoChapters::Chapter>& chapters);

} // namespace Variations
} // namespace glasshob
