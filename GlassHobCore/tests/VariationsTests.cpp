#include "GlassHobCore/episode/Variations.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace glasshob;

namespace {

const std::vector<ParamDecl> params = {{"speed", 1, 0, 3, ""},       {"volume", 0.4F, 0, 1, ""},
                                       {"hue", 0.25F, -1, 1, ""},    {"size", -4.5F, -5, 15, ""},
                                       {"fine", 0.03F, 0, 0.1F, ""}, {"warmth", 0, 0, 1, ""}};

Variation variation(std::int64_t index, double start, std::array<float, 5> values, std::string highlights) {
    const auto [speed, hue, size, fine, warmth] = values;
    return {index,
            start,
            {{"speed", speed}, {"hue", hue}, {"size", size}, {"fine", fine}, {"warmth", warmth}},
            std::move(highlights)};
}

} // namespace

// The expected numbers come from a program in another language that was written from the formulas.
TEST(Variations, FollowFromSeedAndSliders) {
    constexpr std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
    const std::vector<Variation> plain = {
        variation(1, 6, {1.28F, 0.45F, -4.74F, 0.03F, 0.31F}, "warmth 0.31, hue 0.45"),
        variation(2, 66.5, {0.68F, -0.16F, -4.77F, 0.02F, 0.28F}, "warmth 0.28, hue -0.16"),
        variation(3, 83, {1.22F, 0.25F, -4.67F, 0.02F, 0.29F}, "warmth 0.29, fine 0.02"),
    };
    EXPECT_EQ(Variations::make(params, 12, 1, 3, 120, 30, 0.6F), plain);
    EXPECT_EQ(Variations::make(params, 12, 2, 1, 120, 30, 0.6F), (std::vector{plain[1]}));
    const std::vector<Variation> negative = {
        variation(-2, 47.5, {2.88F, 0.92F, 3.17F, 0, 0.43F}, "speed 2.88, warmth 0.43"),
        variation(-1, 48.5, {1.63F, 0.57F, -4.88F, 0.05F, 0}, "speed 1.63, fine 0.05"),
    };
    EXPECT_EQ(Variations::make(params, 0, -2, 2, 120, 30, 1), negative);
    EXPECT_EQ(Variations::make(params, 0, -2, 2, 120, 30, 7), negative);
    const std::vector<Variation> largest = {
        variation(7, 289.5, {0.76F, 0.35F, 3.71F, 0.03F, 0.3F}, "size 3.71, warmth 0.3"),
        variation(8, 382, {1.21F, 0.48F, 2.95F, 0.02F, 0}, "size 2.95, hue 0.48"),
    };
    EXPECT_EQ(Variations::make(params, last, 7, 2, 600, 20, 0.6F), largest);
    // Nothing is left of the span.
    const std::vector<Variation> far = {
        variation(99999999999, 0, {2.09F, -0.05F, -3.99F, 0.07F, 0}, "fine 0.07, speed 2.09")};
    EXPECT_EQ(Variations::make(params, last, 99999999999, 1, 20, 30, 1), far);
    EXPECT_TRUE(Variations::make(params, 12, 1, 0, 120, 30, 0.6F).empty());
    EXPECT_TRUE(Variations::make(params, 12, 1, -5, 120, 30, 0.6F).empty());
}

TEST(Variations, AmountZeroIsTheDefaults) {
    // Finer than values are rounded to.
    const std::vector<ParamDecl> fine = {{"a", 0.0125F, 0, 0.02F, ""}};
    for (const float amount : {0.0F, -1.0F, std::nanf("")}) {
        const auto made = Variations::make(fine, 3, 5, 1, 120, 30, amount);
        ASSERT_EQ(made.size(), 1U);
        EXPECT_EQ(made[0].values, (SliderValues{{"a", 0.0125F}}));
        EXPECT_EQ(made[0].highlights, "");
    }
}

TEST(Variations, RangesWithoutEndStayAtTheirDefaults) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const std::vector<ParamDecl> odd = {
        {"up", 1, 0, infinity, ""}, {"lost", std::nanf(""), 0, 1, ""}, {"b", 0, 0, 1, ""}};
    for (const Variation& each : Variations::make(odd, 3, 0, 40, 120, 30, 1)) {
        const float up = each.values.at("up");
        EXPECT_TRUE(up >= 0 && up <= 1) << up;
        EXPECT_TRUE(std::isnan(each.values.at("lost")));
        EXPECT_TRUE(each.highlights.empty() || each.highlights.starts_with("b ")) << each.highlights;
    }
}

TEST(Variations, BecomeChapters) {
    auto variations = Variations::make(params, 12, 1, 3, 120, 30, 0.6F);
    variations[1].highlights.clear();
    std::vector<VideoChapters::Chapter> chapters = {{0, "Opening", {}}};
    EXPECT_EQ(Variations::appendChapters(variations, 30, 5, chapters), 95);
    const std::vector<VideoChapters::Chapter> expected = {
        {0, "Opening", {}},
        {5, "warmth 0.31, hue 0.45", "fine 0.03, hue 0.45, size -4.74, speed 1.28, warmth 0.31"},
        {35, "Default settings", "fine 0.02, hue -0.16, size -4.77, speed 0.68, warmth 0.28"},
        {65, "warmth 0.29, fine 0.02", "fine 0.02, hue 0.25, size -4.67, speed 1.22, warmth 0.29"},
    };
    EXPECT_EQ(chapters, expected);
    EXPECT_EQ(Variations::appendChapters({}, 30, 5, chapters), 5);
    EXPECT_EQ(chapters.size(), 4U);
}

TEST(VideoChapters, AreReadAsTheyWereWritten) {
    const VideoChapters chapters = {
        95.1, {{0, "Opening", {}}, {1.0 / 3, "\"q\" \\ \n\t\x01 Ünïcode 彩 🔥", "speed 1.25"}, {66.5, "", ""}}};
    const std::string text = chapters.json();
    EXPECT_EQ(VideoChapters::fromJson(text), chapters) << text;
    EXPECT_EQ((VideoChapters{2, {{0, "a", {}}, {1.5, "b", "c"}}}).json(), R"({
    "duration": 2,
    "chapters": [
        {
            "at": 0,
            "title": "a"
        },
        {
            "at": 1.5,
            "title": "b",
            "settings": "c"
        }
    ]
}
)");
    EXPECT_EQ(VideoChapters::fromJson(VideoChapters{}.json()), VideoChapters{});
}

TEST(VideoChapters, OtherTextsAreRefused) {
    for (const char* text :
         {"", "[]", "{}", R"({"duration": 1})", R"({"duration": "1", "chapters": []})",
          R"({"duration": 1, "chapters": {}})", R"({"duration": 1, "chapters": [1]})",
          R"({"duration": 1, "chapters": [{"at": 0}]})", R"({"duration": 1, "chapters": [{"title": "a"}]})",
          R"({"duration": 1, "chapters": [{"at": 0, "title": "a", "settings": 3}]})",
          R"({"duration": 1, "chapters": [)"}) {
        const auto read = VideoChapters::fromJson(text);
        ASSERT_FALSE(read) << text;
        EXPECT_TRUE(read.error().starts_with("These are no chapters of a video: ") && read.error().ends_with('.'))
            << read.error();
    }
    EXPECT_TRUE(VideoChapters::fromJson(R"({"chapters": [{"title": "a", "x": 1, "at": 2}], "duration": 1, "y": 0})"));
}
