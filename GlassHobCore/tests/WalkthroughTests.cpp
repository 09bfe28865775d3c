#include "GlassHobCore/episode/Walkthrough.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using namespace glasshob;

using Walkthrough::ParsedSource;
using Walkthrough::SourceLine;
using Kind = WalkthroughLine::Kind;

namespace {

std::vector<SourceLine> code(const std::vector<std::string>& texts) {
    std::vector<SourceLine> lines;
    for (const std::string& text : texts)
        lines.push_back({text, ""});
    return lines;
}

// "a" is an added line, "-a" context, "..." a gap, "" a blank one.
std::vector<std::string> shown(const WalkthroughPage& page) {
    std::vector<std::string> texts;
    for (const WalkthroughLine& line : page.lines) {
        EXPECT_EQ(line.text == "⋯", line.kind == Kind::gap);
        EXPECT_EQ(line.text.empty(), line.kind == Kind::blank);
        texts.push_back(line.kind == Kind::gap ? "..." : (line.kind == Kind::context ? "-" : "") + line.text);
    }
    return texts;
}

std::vector<std::vector<std::string>> pagesOf(const std::vector<SourceLine>& lines,
                                              const std::vector<SourceLine>& previous, std::int64_t maxLines = 16) {
    std::vector<std::vector<std::string>> made;
    for (const auto& page : Walkthrough::pages(lines, Walkthrough::addedFlags(lines, &previous), "", maxLines))
        made.push_back(shown(page));
    return made;
}

using Pages = std::vector<std::vector<std::string>>;

} // namespace

TEST(Walkthrough, ParsesHeaderAndBody) {
    const ParsedSource parsed = Walkthrough::parse("\xEF\xBB\xBF"
                                                   "\n"
                                                   "  // Step 2 · Soft · edges \r\n"
                                                   "// @param speed 1 0 2 Of the sound\n"
                                                   "//\n"
                                                   "\n"
                                                   "//Where the rings\n"
                                                   "// end.\n"
                                                   "#include <metal_stdlib>\r\n"
                                                   "// ---- Helpers ----\n"
                                                   "// one\n"
                                                   "//two\n"
                                                   "\n"
                                                   "float f(float x) {  \t// trailing \n"
                                                   "    // three\n"
                                                   "    return x; //\n"
                                                   "    // four\n"
                                                   "    s = \"a//b\"; // five\n"
                                                   "/* six // */ y; // seven\n"
                                                   "}\n"
                                                   "  float2 sound(float t, constant Params& p) {\n"
                                                   "never();\n");
    const ParsedSource expected = {"Soft · edges",
                                   "Where the rings end.",
                                   {{"#include <metal_stdlib>", ""},
                                    {"", ""},
                                    {"float f(float x) {", "trailing"},
                                    {"    return x;", "three"},
                                    {"    s = \"a//b\";", "five"},
                                    {"/* six // */ y;", "seven"},
                                    {"}", ""}}};
    EXPECT_EQ(parsed, expected);
    EXPECT_EQ(Walkthrough::parse("a;\n// The SOUND of it\nb;\n").lines, code({"a;"}));
    EXPECT_EQ(Walkthrough::parse("// One\n// sounds good\na; // sound").lines,
              (std::vector<SourceLine>{{"a;", "sound"}}));
    EXPECT_EQ(Walkthrough::parse("// Flowing Colour"), (ParsedSource{"Flowing Colour", "", {}}));
    EXPECT_EQ(Walkthrough::parse("// Step 3 ·"), ParsedSource{});
    EXPECT_EQ(Walkthrough::parse(""), ParsedSource{});
}

TEST(Walkthrough, FindsAddedLines) {
    const auto flags = [](const std::vector<std::string>& now, const std::vector<std::string>& before) {
        const auto previous = code(before);
        std::string text;
        for (const bool each : Walkthrough::addedFlags(code(now), &previous))
            text += each ? '+' : '.';
        return text;
    };
    EXPECT_EQ(flags({"a", "x", "", "b"}, {"a", "b"}), ".+..");
    EXPECT_EQ(flags({"  a", "b  "}, {"a", "", "b"}), "..");
    EXPECT_EQ(flags({"a", "b"}, {}), "++");
    EXPECT_EQ(flags({}, {"a"}), "");
    // Moved lines: of two ways that keep as much, the one that marks the earlier line.
    EXPECT_EQ(flags({"b", "a"}, {"a", "b"}), "+.");
    EXPECT_EQ(flags({"}", "x", "}"}, {"}"}), ".++");
    EXPECT_EQ(flags({"x", "c", "d"}, {"y", "c", "z", "d"}), "+..");
    const auto first = code({"a", "", "b"});
    EXPECT_EQ(Walkthrough::addedFlags(first, nullptr), (std::vector<bool>{true, false, true}));
}

// The lines that stay are as many as the plain definition says, and stand in the old text in this order.
TEST(Walkthrough, KeepsAsManyLinesAsPossible) {
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        std::vector<std::string> texts[2];
        for (auto& each : texts) {
            each.resize(random() % 12);
            for (std::string& text : each)
                text = std::string(1, char('a' + random() % 4));
        }
        const auto& [now, before] = texts;
        const auto previous = code(before);
        const auto added = Walkthrough::addedFlags(code(now), &previous);
        std::vector<std::vector<int>> length(now.size() + 1, std::vector<int>(before.size() + 1));
        for (std::size_t i = 0; i < now.size(); ++i) {
            for (std::size_t j = 0; j < before.size(); ++j) {
                length[i + 1][j + 1] =
                    now[i] == before[j] ? length[i][j] + 1 : std::max(length[i][j + 1], length[i + 1][j]);
            }
        }
        ASSERT_EQ(std::ranges::count(added, false), length.back().back());
        std::size_t at = 0;
        for (std::size_t i = 0; i < now.size(); ++i) {
            if (added[i]) continue;
            while (at < before.size() && before[at] != now[i])
                ++at;
            ASSERT_LT(at++, before.size());
        }
    }
}

TEST(Walkthrough, MakesPages) {
    std::vector<std::string> before, now;
    for (int i = 0; i < 14; ++i)
        before.push_back("l" + std::to_string(i));
    now = before;
    now[1] = "x";
    now[12] = "y";
    EXPECT_EQ(pagesOf(code(now), code(before)), (Pages{{"-l0", "x", "-l2", "...", "-l11", "y", "-l13"}}));
    EXPECT_EQ(pagesOf(code(now), code(before), 4), (Pages{{"-l0", "x", "-l2", "..."}, {"-l11", "y", "-l13"}}));
    // No gap before what a block begins with, none behind what it ends with; a blank line stops context and gaps.
    EXPECT_EQ(pagesOf(code({"a", "b", "", "x", "", "c", "d"}), code({"a", "b", "c", "d"})), (Pages{{"x"}}));
    EXPECT_EQ(pagesOf(code({"a", "b", "x", "c", "d", "", "e", "f", "y"}), code({"a", "b", "c", "d", "e", "f"})),
              (Pages{{"-b", "x", "-c", "", "-f", "y"}}));
    // Blocks share a page when they and a blank line fit.
    const auto blocks = code({"a", "b", "", "c", "d", "", "e"});
    EXPECT_EQ(pagesOf(blocks, {}, 7), (Pages{{"a", "b", "", "c", "d", "", "e"}}));
    EXPECT_EQ(pagesOf(blocks, {}, 6), (Pages{{"a", "b", "", "c", "d"}, {"e"}}));
    EXPECT_EQ(pagesOf(blocks, {}, 4), (Pages{{"a", "b"}, {"c", "d", "", "e"}}));
    EXPECT_EQ(pagesOf(code({"a", "b", "c", "", "d"}), {}, 2), (Pages{{"a", "b"}, {"c"}, {"d"}}));
    EXPECT_EQ(pagesOf(code({"a", "b"}), {}, 0), (Pages{{"a"}, {"b"}}));
    EXPECT_EQ(pagesOf(code({"", "a", ""}), code({"a"})), Pages{});
}

TEST(Walkthrough, MakesCaptionsOfComments) {
    const std::vector<SourceLine> lines = {{"a", "make it glow"}, {"b", "étude!"},      {"c", "make it glow"},
                                           {"d", "Why?"},         {"old", "unseen"},    {"e", "光る。"},
                                           {"f", "so …"},         {"g", "Make it glow"}};
    const std::vector<bool> added = {true, true, true, true, false, true, true, true};
    const auto caption = [&](std::span<const SourceLine> some, const std::vector<bool>& flags) {
        const auto pages = Walkthrough::pages(some, flags, "The summary", 16);
        return pages.empty() ? "no page" : pages.front().caption;
    };
    EXPECT_EQ(caption(lines, added), "Make it glow. Étude! Why? 光る。 So … Make it glow.");
    EXPECT_EQ(caption(code({"a"}), {true}), "The summary");
    EXPECT_EQ(caption(code({"a"}), {false}), "no page");
}

TEST(Walkthrough, BuildsStages) {
    const std::vector<std::string> sources = {"// Step 1 · One wave\n// A start.\na;\nb;\n", "a;\nx;\nb;\n"};
    EpisodeMeta meta;
    const auto stages = Walkthrough::stages("// Ignored\na;\nx;\ny; // last one\nb;\n", meta, sources, 16);
    ASSERT_EQ(stages.size(), 3U);
    EXPECT_EQ(stages[0], (WalkthroughStage{
                             1, "One wave", "A start.", {{{{"a;", Kind::added}, {"b;", Kind::added}}, "A start."}}}));
    EXPECT_EQ(stages[1].title, "Stage 2");
    EXPECT_EQ(shown(stages[1].pages.at(0)), (std::vector<std::string>{"-a;", "x;", "-b;"}));
    EXPECT_EQ(stages[2].number, 3);
    EXPECT_EQ(stages[2].title, "The finished shader");
    EXPECT_EQ(stages[2].pages.at(0).caption, "Last one.");
    meta.finalTitle = "Done";
    meta.finalSummary = "It glows";
    const auto single = Walkthrough::stages("a;\n", meta, {}, 16);
    ASSERT_EQ(single.size(), 1U);
    EXPECT_EQ(single[0], (WalkthroughStage{1, "Done", "It glows", {{{{"a;", Kind::added}}, "It glows"}}}));
}

TEST(Walkthrough, CutsAStageShorterWhereItsLastPageWouldBeNearlyEmpty) {
    const auto sizes = [](int lines, Walkthrough::PageLines pageLines) {
        std::string source;
        for (int i = 0; i < lines; ++i)
            source += "l" + std::to_string(i) + ";\n";
        std::vector<std::size_t> made;
        const auto stages = Walkthrough::stages(source, {}, {}, pageLines);
        for (const WalkthroughPage& page : stages.at(0).pages)
            made.push_back(page.lines.size());
        return made;
    };
    using Sizes = std::vector<std::size_t>;
    EXPECT_EQ(sizes(18, {16, 12}), (Sizes{15, 3}));
    EXPECT_EQ(sizes(17, {16, 12}), (Sizes{14, 3}));
    EXPECT_EQ(sizes(18, {16, 16}), (Sizes{16, 2}));
    EXPECT_EQ(sizes(19, {16, 12}), (Sizes{16, 3}));
    // Nothing helps.
    EXPECT_EQ(sizes(2, {16, 12}), (Sizes{2}));
}

TEST(WalkthroughTimeline, TellsThePageOfATime) {
    const WalkthroughTimeline timeline = {7.5, {2, 0, 3}};
    EXPECT_EQ(timeline.duration(), 37.5);
    EXPECT_EQ(timeline.stageStart(0), 0);
    EXPECT_EQ(timeline.stageStart(1), 15);
    EXPECT_EQ(timeline.stageStart(2), 15);
    EXPECT_EQ(timeline.stageStart(3), 37.5);
    EXPECT_EQ(timeline.pageIndex(0, 7.49), 0);
    EXPECT_EQ(timeline.pageIndex(0, 7.5), 1);
    EXPECT_EQ(timeline.pageIndex(2, 1e300), 2);
    EXPECT_EQ(timeline.pageIndex(2, -1e300), 0);
    EXPECT_EQ(timeline.pageIndex(1, 100), 0);
    EXPECT_DEATH(timeline.pageIndex(0, std::nan("")), "no page");
    EXPECT_DEATH((WalkthroughTimeline{0, {1}}).pageIndex(0, 1), "no page");
}
