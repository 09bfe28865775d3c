// Whole movies: written by the exporter, taken apart by the demuxer, and compared with what was asked for.
#include "GPU/Texture.h"
#include "GlassHobRender/formats/FrameConverter.h"
#include "GlassHobRender/paint/PaintedImage.h"
#include "GlassHobRender/tests/ExportFixture.h"

#include <QPainter>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>

namespace glasshob {
namespace {

using namespace glasshob::testing;

TEST_F(ExportTest, FramesTimesAndSoundAreThoseAskedFor) {
    for (const VideoCodec codec : {VideoCodec::h264, VideoCodec::hevc}) {
        std::vector<std::pair<std::int64_t, std::int64_t>> calls;
        ASSERT_EQ(failureOf({segment(clicking, 2, 5)}, preset(30, codec),
                            [&](std::int64_t done, std::int64_t total) {
                                calls.emplace_back(done, total);
                                return true;
                            }),
                  "");
        ASSERT_EQ(calls.size(), 151U);
        EXPECT_EQ(calls.front(), std::pair(std::int64_t(0), std::int64_t(150)));
        EXPECT_EQ(calls.back(), std::pair(std::int64_t(150), std::int64_t(150)));
        const ReadMovie movie = readMovie(path);
        ASSERT_EQ(movie.error, "");
        EXPECT_EQ(movie.videoCodec, codec == VideoCodec::hevc ? "hevc" : "h264");
        EXPECT_EQ(movie.videoTag, codec == VideoCodec::hevc ? "hvc1" : "avc1");
        EXPECT_EQ(movie.profile, codec == VideoCodec::hevc ? "Main" : "High");
        EXPECT_EQ(movie.primaries, 1); // all three: Rec. 709
        EXPECT_EQ(movie.transfer, 1);
        EXPECT_EQ(movie.matrix, 1);
        EXPECT_EQ(movie.range, 1); // limited
        EXPECT_TRUE(beginsWithIndex(path));
        ASSERT_EQ(movie.pictures.size(), 150U);
        std::size_t lastKey = 0;
        for (std::size_t i = 0; i < movie.pictures.size(); ++i) {
            const auto& picture = movie.pictures[i];
            EXPECT_NEAR(picture.time, double(i) / 30, 1e-6);
            if (picture.isKey) lastKey = i;
            EXPECT_LE(i - lastKey, 60U) << "a key frame at least every two seconds";
            const auto color = picture.at(30, 20);
            EXPECT_NEAR(color.red, std::min(double(i) / 100, 1.0) * 255, 2) << i;
            EXPECT_NEAR(color.green, std::fmod(double(i) / 30 + 1e-7, 1.0) * 255, 2.2) << i;
            EXPECT_NEAR(color.blue, 127.5, 2.5) << i;
        }
        ASSERT_TRUE(movie.hasSound);
        EXPECT_EQ(movie.soundRate, 48000);
        EXPECT_EQ(movie.soundChannels, 2);
        EXPECT_NEAR(movie.soundStart, 0, 1e-9);
        EXPECT_NEAR(movie.videoSeconds, 5, 1e-6);
        EXPECT_NEAR(movie.soundSeconds, 5, 1.0 / 48000);
        ASSERT_GE(movie.left.size(), 240000U);
        EXPECT_LT(movie.left.size(), 240000U + 2048U);
        // Every click where it was made.
        for (std::size_t second = 0; second < 5; ++second) {
            const std::size_t click = second * 48000 + 16000;
            const auto begin = movie.left.begin() + std::ptrdiff_t(second * 48000 + 2000);
            const auto loudest = std::max_element(begin, begin + 40000);
            EXPECT_EQ(loudest - movie.left.begin(), std::ptrdiff_t(click));
            EXPECT_GT(*loudest, 0.6F);
            EXPECT_LT(movie.right[click], -0.6F);
        }
        // The edges are faded: by 20 ms in, by 300 ms out.
        EXPECT_NEAR(movie.left[30], 0, 0.02);
        EXPECT_NEAR(movie.left[480], 0.125, 0.04);
        EXPECT_NEAR(movie.left[4800], 0.25, 0.03);
        EXPECT_NEAR(movie.left[240000 - 7200], 0.125, 0.03);
        EXPECT_NEAR(movie.left[240000 - 60], 0, 0.03);
    }
}

TEST_F(ExportTest, SegmentsFollowEachOther) {
    // The second one starts its frames anew, is silent, and the third one is heard with another program at its own
    // time.
    std::vector<ExportSegment> segments = {segment(clicking, 0, 0.5), segment(counting, 1, 0.5)};
    segments.emplace_back(program(counting, on), SliderValues{{"blue", 1.0F}}, -3.0, 0.5, false, true, std::nullopt,
                          program(clicking, on), SliderValues{}, 0.25);
    ASSERT_EQ(failureOf(segments, preset()), "");
    const ReadMovie movie = readMovie(path);
    ASSERT_EQ(movie.pictures.size(), 45U);
    for (std::size_t i = 0; i < 45; ++i) {
        EXPECT_NEAR(movie.pictures[i].at(9, 9).red, double(i % 15) * 2.55, 2.5) << i;
        EXPECT_NEAR(movie.pictures[i].at(9, 9).blue, i < 30 ? 127.5 : 255, 2.5) << i;
    }
    const auto loudest = [&](std::size_t from, std::size_t to) {
        return std::size_t(
            std::max_element(movie.left.begin() + std::ptrdiff_t(from), movie.left.begin() + std::ptrdiff_t(to)) -
            movie.left.begin());
    };
    EXPECT_EQ(loudest(2000, 24000), 16000U);
    for (std::size_t i = 26000; i < 46000; ++i)
        ASSERT_NEAR(movie.left[i], 0, 0.01) << i;
    EXPECT_EQ(loudest(50000, 56000), 48000U + 16000U - 12000U);
}

TEST_F(ExportTest, WhoLooksOnSeesTheFirstFrameAndTheLast) {
    std::vector<double> reds;
    VideoExporter::exportMovie(
        {segment(counting, 0, 0.5)}, preset(), on, path, [](auto, auto) { return true; }, {}, {},
        [&](const std::byte* pixels, std::size_t rowBytes) {
            reds.push_back(std::to_integer<int>(pixels[9 * rowBytes + 38]));
        });
    ASSERT_GE(reds.size(), 2U);
    EXPECT_NEAR(reds.front(), 0, 1);
    EXPECT_NEAR(reds.back(), 14 * 2.55, 1);
    EXPECT_TRUE(std::ranges::is_sorted(reds));
}

TEST_F(ExportTest, LayoutsAndTheMarkLieWhereTheyBelong) {
    // In the right half; nothing lies over the left one, or over anything from the second frame on.
    OverlaySequence overlays;
    overlays.add(0, [] {
        QImage image = overlayImage(160, 120);
        QPainter(&image).fillRect(80, 0, 80, 120, Qt::green);
        return image;
    });
    overlays.add(1.0 / 30, {});
    FrameLayout layout{{20, 10, 40, 30}, {0, 0, 1, 1}, overlays};
    const auto whole = program(picture("float4(u.resolution / 255.0, 0.0, 1.0)"), on);
    ExportSegment laidOut(whole, {}, 0, 0.1, false, false, layout);
    ASSERT_EQ(failureOf({laidOut}, preset(30, VideoCodec::h264, 160, 120)), "");
    ReadMovie movie = readMovie(path);
    EXPECT_FALSE(movie.hasSound);
    ASSERT_EQ(movie.pictures.size(), 3U);
    const auto& frame = movie.pictures.front();
    EXPECT_NEAR(frame.at(40, 24).red, 40, 3); // the picture's own size
    EXPECT_NEAR(frame.at(40, 24).green, 30, 3);
    EXPECT_NEAR(frame.at(10, 60).blue, 255, 3);
    EXPECT_NEAR(frame.at(120, 60).green, 255, 3);
    EXPECT_NEAR(movie.pictures.back().at(120, 60).green, 0, 3);
    overlays.add(1.5 / 30, [] { return QImage(); });
    laidOut.layout->overlays = overlays;
    EXPECT_EQ(failureOf({laidOut}, preset(30, VideoCodec::h264, 160, 120)),
              "Export could not start: could not draw the walkthrough overlay");

    ExportSegment marked(program(picture("float4(0.5, 0.5, 0.5, 1.0)"), on), {}, 0, 0, true, false);
    ASSERT_EQ(failureOf({marked}, preset(30, VideoCodec::h264, 640, 360)), "");
    movie = readMovie(path);
    ASSERT_EQ(movie.pictures.size(), 1U); // a length of 0 is one frame
    const WatermarkPlacement::Rect rect = WatermarkPlacement::rect(640, 360);
    const int x = int(rect.x + rect.size / 2);
    const int y = 360 - int(rect.y + rect.size * 0.42F);
    EXPECT_GT(movie.pictures[0].at(x, y).red, 200); // its glowing opening
    EXPECT_LT(movie.pictures[0].at(x, y).blue, 200);
    EXPECT_NEAR(movie.pictures[0].at(100, 100).red, 127, 3);
}

TEST_F(ExportTest, WhatCannotBeExportedLeavesNoFile) {
    std::ofstream(path) << "older";
    EXPECT_EQ(failureOf({}, preset()), "Export could not start: nothing to export");
    EXPECT_EQ(failureOf({segment(counting, 0, 1)}, preset(7)),
              "Export could not start: 7 fps does not divide the audio rate");
    EXPECT_EQ(std::filesystem::file_size(path), 5U); // untouched so far
    int calls = 0;
    EXPECT_EQ(failureOf({segment(clicking, 0, 2)}, preset(),
                        [&](std::int64_t done, std::int64_t) {
                            ++calls;
                            return done < 10;
                        }),
              "Export cancelled.");
    EXPECT_EQ(calls, 11);
    EXPECT_FALSE(std::filesystem::exists(path));
    path = folder / "missing" / "movie.mp4";
    EXPECT_NE(failureOf({segment(counting, 0, 1)}, preset()).find("could not be written"), std::string::npos);
}

TEST_F(ExportTest, TheSameShaderGivesTheSameFrames) {
    for (const VideoCodec codec : {VideoCodec::h264, VideoCodec::hevc}) {
        ASSERT_EQ(failureOf({segment(clicking, 0, 1)}, preset(60, codec, 162, 90)), "");
        const ReadMovie first = readMovie(path);
        ASSERT_EQ(failureOf({segment(clicking, 0, 1)}, preset(60, codec, 162, 90)), "");
        const ReadMovie second = readMovie(path);
        ASSERT_EQ(first.pictures.size(), 60U);
        for (std::size_t i = 0; i < 60; ++i) {
            const auto& a = first.pictures[i];
            const auto& b = second.pictures.at(i);
            EXPECT_TRUE(a.y == b.y && a.u == b.u && a.v == b.v) << i;
        }
        EXPECT_EQ(first.left, second.left);
    }
}

TEST_F(ExportTest, MoviesOfAFewFramesHaveTheirTimes) {
    for (const VideoCodec codec : {VideoCodec::h264, VideoCodec::hevc})
        for (const MovieQuality quality : {MovieQuality::fast, MovieQuality::balanced, MovieQuality::best})
            for (const int frames : {1, 2, 3, 4, 7}) {
                VideoExporter::Encoding encoding;
                encoding.quality = quality;
                VideoExporter::exportMovie(
                    {segment(counting, 0, frames / 25.0)}, preset(25, codec), on, path, [](auto, auto) { return true; },
                    encoding);
                const ReadMovie movie = readMovie(path);
                ASSERT_EQ(movie.pictures.size(), std::size_t(frames));
                EXPECT_NEAR(movie.videoSeconds, frames / 25.0, 1e-6);
                for (std::size_t i = 0; i < movie.pictures.size(); ++i) {
                    EXPECT_NEAR(movie.pictures[i].time, double(i) / 25, 1e-6);
                    EXPECT_NEAR(movie.pictures[i].at(9, 9).red, double(i) * 2.55, 2);
                }
            }
}

TEST_F(ExportTest, MovAndWebmHoldWhatAnMp4Holds) {
    const struct {
        MovieContainer container;
        const char* begins;
        std::size_t at;
        const char* codec;
    } cases[] = {{MovieContainer::mov, "ftypqt  ", 4, "h264"}, {MovieContainer::webm, "webm", 24, "vp9"}};
    for (const auto& each : cases) {
        VideoExporter::Encoding encoding;
        encoding.quality = MovieQuality::fast;
        encoding.container = each.container;
        VideoExporter::exportMovie(
            {segment(clicking, 2, 2)}, preset(30, VideoCodec::h264, 65, 49), on, path, [](auto, auto) { return true; },
            encoding);
        std::string head(64, ' ');
        std::ifstream(path, std::ios::binary).read(head.data(), 64);
        EXPECT_EQ(head.find(each.begins), each.at) << head;
        const ReadMovie movie = readMovie(path);
        ASSERT_EQ(movie.error, "");
        EXPECT_EQ(movie.videoCodec, each.codec);
        EXPECT_EQ(movie.matrix, 1); // Rec. 709
        EXPECT_EQ(movie.range, 1);
        ASSERT_EQ(movie.pictures.size(), 60U);
        for (std::size_t i = 0; i < movie.pictures.size(); ++i) {
            EXPECT_NEAR(movie.pictures[i].time, double(i) / 30, each.container == MovieContainer::webm ? 0.0006 : 1e-6);
            EXPECT_NEAR(movie.pictures[i].at(30, 20).red, std::min(double(i) / 100, 1.0) * 255, 3) << i;
        }
        ASSERT_TRUE(movie.hasSound);
        EXPECT_EQ(movie.soundRate, 48000);
        EXPECT_EQ(movie.soundChannels, 2);
        // Opus has 6.5 ms before its first sample, which players leave out.
        EXPECT_NEAR(movie.soundStart, 0, each.container == MovieContainer::webm ? 0.0075 : 0.001);
        // The click of the second second, where it was made.
        ASSERT_GE(movie.left.size(), 96000U);
        const auto loudest = std::ranges::max_element(movie.left.begin() + 48000, movie.left.end(), {},
                                                      [](float sample) { return std::abs(sample); });
        EXPECT_NEAR(double(loudest - movie.left.begin()), 48000 + 16000, 240);
    }
}

TEST_F(ExportTest, FlatColorsComeBack) {
    std::string source = "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                         "    float3 colors[] = {";
    const std::vector<std::array<int, 3>> colors = {{0, 0, 0},       {255, 255, 255}, {255, 0, 0},     {0, 255, 0},
                                                    {0, 0, 255},     {255, 255, 0},   {0, 255, 255},   {255, 0, 255},
                                                    {128, 128, 128}, {16, 16, 16},    {235, 235, 235}, {200, 120, 40},
                                                    {30, 90, 160},   {90, 20, 60},    {250, 200, 190}};
    for (const auto& [red, green, blue] : colors)
        source += "float3(" + std::to_string(red) + ", " + std::to_string(green) + ", " + std::to_string(blue) + "), ";
    source +=
        "};\n    return float4(colors[min(u.frame, " + std::to_string(colors.size() - 1) + "u)] / 255.0, 1.0);\n}\n";
    for (const VideoCodec codec : {VideoCodec::h264, VideoCodec::hevc}) {
        ASSERT_EQ(failureOf({segment(source, 0, double(colors.size()) / 30)}, preset(30, codec, 128, 96)), "");
        const ReadMovie movie = readMovie(path);
        ASSERT_EQ(movie.pictures.size(), colors.size());
        for (std::size_t i = 0; i < colors.size(); ++i)
            for (const auto& [x, y] : {std::pair{3, 3}, {64, 48}, {124, 90}}) {
                const auto color = movie.pictures[i].at(x, y);
                EXPECT_NEAR(color.red, colors[i][0], 2) << i;
                EXPECT_NEAR(color.green, colors[i][1], 2) << i;
                EXPECT_NEAR(color.blue, colors[i][2], 2) << i;
            }
    }
}

TEST_F(ExportTest, AnOddSizeIsMadeEvenByItsLastColumnAndRow) {
    // Luma alone tells the pixel: chroma is half as fine.
    const std::string ramp = picture("float4(float3(floor(uv.x * u.resolution.x) * 2.0 + "
                                     "floor(uv.y * u.resolution.y)) / 255.0, 1.0)");
    for (const VideoCodec codec : {VideoCodec::h264, VideoCodec::hevc})
        for (const auto& [width, height] : {std::pair{65, 49}, {64, 49}, {65, 48}}) {
            ASSERT_EQ(failureOf({segment(ramp, 0, 0.2)}, preset(30, codec, width, height)), "");
            const ReadMovie movie = readMovie(path);
            ASSERT_EQ(movie.pictures.size(), 6U);
            const auto& frame = movie.pictures.back();
            EXPECT_EQ(frame.width, width + width % 2);
            EXPECT_EQ(frame.height, height + height % 2);
            for (int y = 0; y < frame.height; ++y)
                for (int x = 0; x < frame.width; ++x) {
                    const int fromBelow = height - 1 - std::min(y, height - 1); // as uv counts
                    EXPECT_NEAR(frame.at(x, y).red, 2 * std::min(x, width - 1) + fromBelow, 4) << x << ", " << y;
                }
        }
}

TEST(FrameConverter, MatchesTheMatrixAtEverySize) {
    for (const auto& [width, height] : {std::pair{1, 1}, {2, 2}, {7, 5}, {64, 3}, {33, 18}}) {
        std::vector<std::uint8_t> bgra;
        for (int i = 0; i < width * height; ++i)
            for (const int value : {i * 37 % 256, i * 91 % 256, i * 53 % 256, 255})
                bgra.push_back(std::uint8_t(value));
        const int half = (width + 1) / 2;
        const int rows = (height + 1) / 2;
        std::vector<std::uint8_t> y(std::size_t(width * height)), uv(std::size_t(2 * half * rows)),
            u(std::size_t(half * rows)), v(std::size_t(half * rows));
        FrameConverter::convert(bgra.data(), std::size_t(width) * 4, width, height,
                                {y.data(), std::size_t(width), uv.data(), std::size_t(2 * half), nullptr, 0});
        std::vector<std::uint8_t> again(y.size());
        FrameConverter::convert(
            bgra.data(), std::size_t(width) * 4, width, height,
            {again.data(), std::size_t(width), u.data(), std::size_t(half), v.data(), std::size_t(half)});
        EXPECT_EQ(y, again);
        const auto channel = [&](int x, int row, int c) {
            return double(bgra[std::size_t(std::min(row, height - 1) * width + std::clamp(x, 0, width - 1)) * 4 +
                               std::size_t(c)]);
        };
        const auto luma = [](double b, double g, double r) { return 0.2126 * r + 0.7152 * g + 0.0722 * b; };
        for (int row = 0; row < height; ++row)
            for (int x = 0; x < width; ++x)
                EXPECT_NEAR(y[std::size_t(row * width + x)],
                            16 + 219 * luma(channel(x, row, 0), channel(x, row, 1), channel(x, row, 2)) / 255, 1);
        for (int row = 0; row < rows; ++row)
            for (int c = 0; c < half; ++c) {
                double mean[3] = {};
                for (int k = 0; k < 3; ++k)
                    for (const int line : {2 * row, 2 * row + 1})
                        mean[k] +=
                            (channel(2 * c - 1, line, k) + 2 * channel(2 * c, line, k) + channel(2 * c + 1, line, k)) /
                            8;
                const double l = luma(mean[0], mean[1], mean[2]);
                const auto at = std::size_t(row * half + c);
                EXPECT_NEAR(u[at], 128 + 224 * (mean[0] - l) / 1.8556 / 255, 1.5);
                EXPECT_NEAR(v[at], 128 + 224 * (mean[2] - l) / 1.5748 / 255, 1.5);
                EXPECT_EQ(uv[2 * at], u[at]);
                EXPECT_EQ(uv[2 * at + 1], v[at]);
            }
    }
}

} // namespace
} // namespace glasshob
