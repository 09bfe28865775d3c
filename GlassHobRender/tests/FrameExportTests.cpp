// Frames as GIF, as numbered PNG files and as raw frames: taken apart again and compared with stills of the same
// moments.
#include "GlassHobRender/export/FrameExporter.h"
#include "GlassHobRender/formats/FrameConverter.h"
#include "GlassHobRender/formats/GifSink.h"
#include "GlassHobRender/formats/PngSink.h"
#include "GlassHobRender/formats/Y4mSink.h"
#include "GlassHobRender/output/StillRenderer.h"
#include "GlassHobRender/tests/ExportFixture.h"

#include <gmock/gmock.h>

#include <QColorSpace>
#include <QImage>

#include <cmath>
#include <csignal>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace glasshob {
namespace {

using namespace glasshob::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// A gradient that wanders with the time and tells the frame's number in a corner.
const std::string wandering =
    picture("uv.x < 0.1 ? float4(float(u.frame) / 255.0, 0.0, 0.0, 1.0)"
            " : float4(fract(uv.x + u.time), uv.y, 0.5 + 0.5 * sin(u.time * 3.0 + uv.x * 2.0), 1.0)");

class FrameExportTest : public ExportTest {
  protected:
    std::expected<void, ExportError> frames(FrameSink& sink, const ExportPreset& as, double duration,
                                            std::optional<FrameRange> range = {},
                                            const std::string& source = wandering) const {
        return exportFrames({segment(source, 1, duration)}, {.preset = as, .device = on, .frames = range}, sink);
    }
    StillImage still(std::int64_t frame, const ExportPreset& as) {
        if (wanderer == nullptr) wanderer = program(wandering, on);
        const auto image = StillRenderer::render(wanderer, on, as.width, as.height, std::uint32_t(frame), {},
                                                 float(1 + double(frame) / double(as.fps)));
        EXPECT_TRUE(image);
        return image.value_or(StillImage{});
    }
    ByteOutput file(const std::string& name) const { return std::move(ByteOutput::file(folder / name, name).value()); }
    std::string bytesOf(const std::string& name) const {
        std::ifstream in(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    std::shared_ptr<const ShaderProgram> wanderer;
};

TEST_F(FrameExportTest, AGifHasItsFramesDelaysAndColors) {
    for (const std::int64_t fps : {7, 24, 30, 48, 50}) {
        const ExportPreset as = preset(fps, VideoCodec::h264, 96, 64);
        GifSink sink(file("a.gif"), as.width, as.height, fps);
        ASSERT_TRUE(frames(sink, as, 1.5));
        const ReadMovie movie = readMovie(folder / "a.gif");
        ASSERT_EQ(movie.error, "");
        const auto count = std::size_t(std::lround(1.5 * double(fps)));
        ASSERT_EQ(movie.pictures.size(), count) << fps;
        for (std::size_t i = 0; i < count; ++i) {
            const auto& shown = movie.pictures[i];
            EXPECT_NEAR(shown.time, double(i) / double(fps), 0.0051) << fps << " frame " << i;
            ASSERT_EQ(shown.bgra.size(), 96U * 64 * 4);
            const StillImage drawn = still(std::int64_t(i), as);
            // Dithered: near in each pixel, nearer on the whole. An unchanged pixel counts as well as any.
            std::int64_t sum = 0;
            int most = 0;
            for (std::size_t k = 0; k < drawn.bytes.size(); ++k) {
                if (k % 4 == 3) continue;
                const int difference = std::abs(int(drawn.bytes[k]) - int(shown.bgra[k]));
                sum += difference;
                most = std::max(most, difference);
            }
            EXPECT_LT(double(sum) / (96 * 64 * 3), 7) << fps << " frame " << i;
            EXPECT_LT(most, 80) << fps << " frame " << i;
        }
        EXPECT_THAT(bytesOf("a.gif"), StartsWith("GIF89a"));
        EXPECT_THAT(bytesOf("a.gif"), HasSubstr(std::string("NETSCAPE2.0\3\1\0\0\0", 16))) << "for ever";
    }
}

TEST_F(FrameExportTest, AGifOfFewColorsIsExactAndHoldsOnlyWhatChanges) {
    // A square of one colour walks over a still background.
    const ExportPreset as = preset(50, VideoCodec::h264, 200, 100);
    GifSink sink(file("a.gif"), as.width, as.height, as.fps);
    ASSERT_TRUE(frames(sink, as, 1, {},
                       picture("all(abs(uv * float2(200.0, 100.0) - float2(20.0 + float(u.frame) * 2.0, 50.0)) < 8.0)"
                               " ? float4(1.0, 0.6, 0.2, 1.0) : float4(0.2, 0.2 + 0.6 * floor(uv.y * 4.0) / 4.0, 0.4, "
                               "1.0)")));
    const ReadMovie movie = readMovie(folder / "a.gif");
    ASSERT_EQ(movie.pictures.size(), 50U);
    for (std::size_t i = 0; i < 50; ++i) {
        const auto at = [&](std::size_t x) {
            const auto* p = &movie.pictures[i].bgra[(45 * 200 + x) * 4];
            return std::vector<int>{p[2], p[1], p[0]};
        };
        EXPECT_THAT(at(20 + 2 * i), ElementsAre(255, 153, 51)) << i;
        EXPECT_THAT(at(190), ElementsAre(51, 128, 102)) << i;
    }
    // 768 bytes of each frame are its colours.
    EXPECT_LT(bytesOf("a.gif").size(), 50U * 1000);
}

TEST_F(FrameExportTest, PngFilesAreStillsOfTheirMoments) {
    const ExportPreset as = preset(24, VideoCodec::h264, 65, 33);
    for (const std::optional<FrameRange> range : {std::optional<FrameRange>(), std::optional(FrameRange{5, 9})}) {
        auto sink = PngSink::make(FrameNames::parse(folder / "new/").value(), as.width, as.height);
        ASSERT_TRUE(sink) << sink.error();
        ASSERT_TRUE(frames(**sink, as, 0.5, range));
        const bool isWhole = !range;
        std::int64_t found = 0;
        for (const auto& each : std::filesystem::directory_iterator(folder / "new")) {
            const QImage read(QString::fromStdString(each.path()));
            EXPECT_EQ(read.format(), QImage::Format_RGB32);
            EXPECT_EQ(read.colorSpace(), QColorSpace(QColorSpace::SRgb));
            const std::int64_t number = std::stoll(each.path().stem());
            EXPECT_EQ(each.path().filename().string().size(), 9U);
            const StillImage drawn = still(number, as);
            QImage same(drawn.bytes.data(), 65, 33, 65 * 4, QImage::Format_RGB32);
            same.setColorSpace(QColorSpace::SRgb);
            EXPECT_EQ(read, same) << number;
            EXPECT_TRUE(isWhole || (number >= 5 && number < 9));
            ++found;
        }
        EXPECT_EQ(found, isWhole ? 12 : 4);
        std::filesystem::remove_all(folder / "new");
    }
}

TEST(FrameNames, OnePlaceForTheNumber) {
    struct Case {
        const char *text, *folder, *seventh;
    };
    const Case good[] = {
        {"a/", "a/", "00007.png"},
        {"a/%05d.png", "a/", "00007.png"},
        {"%d.png", "", "7.png"},
        {"/x/sea-%03d.png", "/x/", "sea-007.png"},
        {"100%%-%02d.png", "", "100%-07.png"},
    };
    for (const Case& each : good) {
        const auto names = FrameNames::parse(each.text);
        ASSERT_TRUE(names) << each.text;
        EXPECT_EQ(names->folder(), each.folder);
        EXPECT_EQ(names->name(7), each.seventh);
        EXPECT_THAT(names->name(1234567), HasSubstr("1234567"));
    }
    for (const char* bad : {"a.png", "%s.png", "%05x.png", "%d-%d.png", "%", "%5d.png", "%0d.png", "%012d.png",
                            "a%02d/b.png", "a%02d/%02d.png", "50%.png"})
        EXPECT_FALSE(FrameNames::parse(bad)) << bad;
}

TEST_F(FrameExportTest, RawFramesAreTheConvertersPlanes) {
    const ExportPreset as = preset(25, VideoCodec::h264, 67, 35);
    Y4mSink sink(file("a.y4m"), as.width, as.height, as.fps);
    ASSERT_TRUE(frames(sink, as, 0.4));
    EXPECT_THAT(bytesOf("a.y4m"),
                StartsWith("YUV4MPEG2 W67 H35 F25:1 Ip A1:1 C420mpeg2 XYSCSS=420MPEG2 XCOLORRANGE=LIMITED\nFRAME\n"));
    const ReadMovie movie = readMovie(folder / "a.y4m");
    ASSERT_EQ(movie.error, "");
    ASSERT_EQ(movie.pictures.size(), 10U);
    EXPECT_EQ(movie.range, 1); // limited
    for (std::size_t i = 0; i < 10; ++i) {
        const auto& shown = movie.pictures[i];
        EXPECT_NEAR(shown.time, double(i) / 25, 1e-9);
        const StillImage drawn = still(std::int64_t(i), as);
        std::vector<std::uint8_t> y(67 * 35), u(34 * 18), v(34 * 18);
        FrameConverter::convert(drawn.bytes.data(), 67 * 4, 67, 35, {y.data(), 67, u.data(), 34, v.data(), 34});
        EXPECT_EQ(shown.y, y) << i;
        EXPECT_EQ(shown.u, u) << i;
        EXPECT_EQ(shown.v, v) << i;
    }
}

TEST_F(FrameExportTest, CancelledAtAnyFrameNothingIsLeft) {
    for (const std::int64_t at : {0, 1, 7}) {
        auto sink = PngSink::make(FrameNames::parse(folder / "new/").value(), 64, 48);
        ASSERT_TRUE(sink);
        std::int64_t calls = 0;
        const auto done = exportFrames({segment(wandering, 0, 1)},
                                       {.preset = preset(),
                                        .device = on,
                                        .progress =
                                            [&](std::int64_t number, std::int64_t total) {
                                                EXPECT_EQ(total, 30);
                                                EXPECT_EQ(number, calls++);
                                                return number < at;
                                            }},
                                       **sink);
        ASSERT_FALSE(done);
        EXPECT_EQ(done.error().description, "Export cancelled.");
        EXPECT_EQ(calls, at + 1);
        sink->reset();
        EXPECT_THAT(names(), ElementsAre());
    }
    // A folder that was there stays, with what is in it.
    std::filesystem::create_directory(folder / "old");
    std::ofstream(folder / "old/00002.png") << "older";
    auto sink = PngSink::make(FrameNames::parse(folder / "old/").value(), 64, 48);
    ASSERT_FALSE(exportFrames({segment(wandering, 0, 1)},
                              {.preset = preset(), .device = on, .progress = [](auto i, auto) { return i < 9; }},
                              **sink));
    sink->reset();
    EXPECT_EQ(bytesOf("old/00002.png"), "older");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / "old"), {}), 1);
}

TEST(FrameConverter, BothWaysGiveTheSameBitsAndKeepInside) {
    std::uint32_t state = 1;
    const auto random = [&] { return std::uint8_t((state = state * 1664525 + 1013904223) >> 24U); };
    for (int width = 1; width <= 100; ++width)
        for (const int height : {1, 2, 5})
            for (const bool isInterleaved : {false, true}) {
                const auto w = std::size_t(width), c = std::size_t((width + 1) / 2), rows = std::size_t(height + 1) / 2;
                std::vector<std::uint8_t> bgra(4 * w * std::size_t(height)); // no more, for the sanitizer
                for (auto& byte : bgra)
                    byte = width % 7 == 0 ? std::uint8_t(random() < 128 ? 0 : 255) : random();
                std::vector<std::uint8_t> made[2];
                for (const bool isWide : {false, true}) {
                    auto& bytes = made[isWide ? 1 : 0];
                    bytes.assign(w * std::size_t(height) + 2 * c * rows, 0xAB);
                    std::uint8_t* u = bytes.data() + w * std::size_t(height);
                    const FrameConverter::Planes planes =
                        isInterleaved ? FrameConverter::Planes{bytes.data(), w, u, 2 * c, nullptr, 0}
                                      : FrameConverter::Planes{bytes.data(), w, u, c, u + c * rows, c};
                    if (!isWide)
                        FrameConverter::convertPlain(bgra.data(), 4 * w, width, height, planes);
                    else if (!FrameConverter::convertWide(bgra.data(), 4 * w, width, height, planes))
                        GTEST_SKIP() << "This processor has no such vectors.";
                }
                ASSERT_EQ(made[0], made[1]) << width << " by " << height << (isInterleaved ? " interleaved" : "");
            }
}

class Pipe {
  public:
    Pipe() { EXPECT_EQ(::pipe(ends), 0); }
    ~Pipe() {
        closeReader();
        ::close(ends[1]);
    }
    void closeReader() {
        if (ends[0] >= 0) ::close(std::exchange(ends[0], -1));
    }
    int ends[2] = {-1, -1};
};

TEST_F(FrameExportTest, APipeThatNobodyReadsCanBeCancelledAndAClosedOneIsTold) {
    std::signal(SIGPIPE, SIG_IGN);
    const ExportPreset as = preset(30, VideoCodec::h264, 1280, 1024); // one frame fills the pipe
    {
        const Pipe pipe;
        Y4mSink sink(std::move(ByteOutput::descriptor(pipe.ends[1], "The pipe").value()), as.width, as.height, 30);
        std::stop_source stop;
        const auto done = exportFrames({segment(wandering, 0, 10)},
                                       {.preset = as,
                                        .device = on,
                                        .progress =
                                            [&](std::int64_t number, std::int64_t) {
                                                if (number == 2) stop.request_stop();
                                                return true;
                                            },
                                        .stop = stop.get_token()},
                                       sink);
        ASSERT_FALSE(done);
        EXPECT_EQ(done.error().description, "Export cancelled.");
    }
    Pipe pipe;
    pipe.closeReader();
    Y4mSink sink(std::move(ByteOutput::descriptor(pipe.ends[1], "The pipe").value()), as.width, as.height, 30);
    const auto done = frames(sink, as, 10);
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().description, "The pipe could not be written: the program that was to read it has ended.");
}

} // namespace
} // namespace glasshob
