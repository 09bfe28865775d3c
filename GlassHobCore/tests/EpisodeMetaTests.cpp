#include "GlassHobCore/episode/EpisodeMeta.h"

#include <gtest/gtest.h>

#include <functional>

using namespace glasshob;

TEST(EpisodeMeta, ReadsEachDirective) {
    struct Case {
        std::string source;
        std::function<void(EpisodeMeta&)> change;
    };
    const auto nothing = [](EpisodeMeta&) {};
    const std::vector<Case> cases = {
        {"", nothing},
        {"// @episode 12 Smoke rings",
         [](EpisodeMeta& m) {
             m.number = 12;
             m.title = "Smoke rings";
         }},
        {"// @episode 7", [](EpisodeMeta& m) { m.number = 7; }},
        {"// @episode seven Title", nothing},
        {"// @episode 3  two blanks",
         [](EpisodeMeta& m) {
             m.number = 3;
             m.title = " two blanks";
         }},
        {"// @length 0\n// @length -5\n// @length nan\n// @length 5 s", nothing},
        {"// @length 12.5\n//@variation 4", [](EpisodeMeta& m) { m.length = 12.5, m.variationLength = 4; }},
        {"// @still 0", [](EpisodeMeta& m) { m.still = 0; }},
        {"// @still -1\n// @still 1,5\n// @stills 3", nothing},
        {"// @still 3\n\n  //\t@still\t0x1p2 \r\n", [](EpisodeMeta& m) { m.still = 4; }},
        {"// @variations 3, x, -2, 5,,+7", [](EpisodeMeta& m) { m.variations = {3, 5, 7}; }},
        {"// @variations 3\n// @variations x", nothing},
        {"//@final Done|  It glows  ", [](EpisodeMeta& m) { m.finalTitle = "Done", m.finalSummary = "It glows"; }},
        {"// @final Done", [](EpisodeMeta& m) { m.finalTitle = "Done"; }},
        {"// @final a|b|c", [](EpisodeMeta& m) { m.finalTitle = "a", m.finalSummary = "b|c"; }},
        {"// @final |b", [](EpisodeMeta& m) { m.finalTitle = "b"; }},
        {"// @tags x\n// @final a|b\n// @final |", [](EpisodeMeta& m) { m.tags = "x"; }},
        {"// @tags", nothing},
        {"// @Tags x\n/* @tags x */\nint a; // @tags x", nothing},
        {"// @teaches a  b\n// @category \xC2\xA0"
         "c\n// @tags d, e",
         [](EpisodeMeta& m) { m.teaches = "a  b", m.category = "c", m.tags = "d, e"; }},
    };
    for (const Case& each : cases) {
        EpisodeMeta expected;
        each.change(expected);
        EXPECT_EQ(EpisodeMeta::parse(each.source), expected) << each.source;
    }
}
