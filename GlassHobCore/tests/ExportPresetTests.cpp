#include "GlassHobCore/shader/ExportFormats.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace glasshob {
namespace {

TEST(ExportPreset, IsFoundByItsExactId) {
    ASSERT_NE(ExportPreset::find("main4k"), nullptr);
    EXPECT_EQ(*ExportPreset::find("main4k"), ExportPreset::main4k());
    EXPECT_EQ(ExportPreset::main4k().codec, VideoCodec::hevc);
    EXPECT_EQ(ExportPreset::preview().bitrate, 4 * ExportPreset::web().bitrate);
    for (const char* unknown : {"Main4k", "", "main4k "})
        EXPECT_EQ(ExportPreset::find(unknown), nullptr) << unknown;
    for (const ExportPreset& preset : ExportPreset::all()) {
        const std::string numbers =
            std::to_string(preset.width) + "×" + std::to_string(preset.height) + " · " + std::to_string(preset.fps);
        EXPECT_NE(preset.name.find(" · " + numbers + " fps"), std::string::npos) << preset.name;
        EXPECT_EQ(videoCodec(rawValue(preset.codec)), preset.codec);
    }
    EXPECT_EQ(videoCodec("H264"), std::nullopt);
}

TEST(ExportFormats, AreFoundByTheEndingAlone) {
    for (const ExportFormatEntry& entry : ExportFormats::all())
        EXPECT_EQ(ExportFormats::ofPath("some.folder/a.b" + std::string(entry.ending)), entry.format) << entry.ending;
    EXPECT_EQ(ExportFormats::ofPath("A.GIF"), ExportFormat::gif);
    EXPECT_EQ(ExportFormats::ofPath("frames/"), ExportFormat::pngs);
    EXPECT_EQ(StillFormats::ofPath("a.JPEG"), StillFormat::jpeg);
    const std::pair<const char*, const char*> refused[] = {
        {"a.avi", "a.avi: there is no format for the ending .avi. Choose a name that ends in .mp4, .mov, .webm, .gif, "
                  ".png, .wav or .y4m."},
        {"films.mp4/movie", "movie has no ending that says what to write. Choose"},
        {".mp3", ".mp3 has no ending"},
    };
    for (const auto& [path, sentence] : refused) {
        const auto format = ExportFormats::ofPath(path);
        ASSERT_FALSE(format) << path;
        EXPECT_TRUE(format.error().starts_with(sentence)) << format.error();
    }
    EXPECT_TRUE(StillFormats::ofPath("a/stills/").error().starts_with("a/stills/ has no ending that says what"));
    EXPECT_EQ(ExportFormats::fitted(ExportPreset::web(), ExportFormat::gif).fps, 50);
    EXPECT_EQ(ExportFormats::fitted(ExportPreset::web(), ExportFormat::webm), ExportPreset::web());
}

TEST(ExportPlan, CountsFramesAndTakesNonsenseAsZero) {
    struct Case {
        double duration;
        std::int64_t frames;
    };
    for (const Case& c :
         {Case{0, 1}, Case{1.0 / 120, 1}, Case{2.5 / 60, 3}, Case{10, 600}, Case{-1, 1}, Case{std::nan(""), 1}})
        EXPECT_EQ(ExportPlan(ExportPreset::web(), 0, c.duration).frameCount(), c.frames) << c.duration;
    const double endless = std::numeric_limits<double>::infinity();
    EXPECT_EQ(ExportPlan(ExportPreset::web(), -3, endless).start, 0);
    EXPECT_EQ(ExportPlan(ExportPreset::web(), std::nan(""), endless).start, 0);
    EXPECT_EQ(ExportPlan(ExportPreset::web(), 0, endless).duration, endless);
    EXPECT_DEATH((void)ExportPlan(ExportPreset::web(), 0, endless).frameCount(), "endless");
    const ExportPlan plan(ExportPreset::web(), 0.1, 1);
    EXPECT_EQ(plan.timeOfFrame(0), 0.1f);
    EXPECT_EQ(plan.timeOfFrame(60), float(0.1 + 1));
}

TEST(WatermarkPlacement, IsBottomRightAndInPortraitTopLeft) {
    const auto wide = WatermarkPlacement::rect(3840, 2160);
    EXPECT_FLOAT_EQ(wide.size, 237.6f);
    EXPECT_NEAR(wide.x, 3551.4f, 0.1f);
    EXPECT_NEAR(wide.y, 46.0f, 0.1f);
    const auto square = WatermarkPlacement::rect(1000, 1000);
    EXPECT_GT(square.x, 800);
    EXPECT_LT(square.y, 100);
    const auto portrait = WatermarkPlacement::rect(1080, 1920);
    EXPECT_LT(portrait.x, 100);
    EXPECT_GT(portrait.y, 1600);
}

} // namespace
} // namespace glasshob
