// Parts of a movie: each frame as the whole's, and the whole made of parts again.
#include "GPU/Texture.h"
#include "GlassHobRender/export/EpisodeVideo.h"
#include "GlassHobRender/export/FrameDrawer.h"
#include "GlassHobRender/export/MovieJoiner.h"
#include "GlassHobRender/paint/PaintedImage.h"
#include "GlassHobRender/tests/ExportFixture.h"

#include <QPainter>

#include <cstring>
#include <fstream>
#include <optional>
#include <tuple>

namespace glasshob {
namespace {

using namespace glasshob::testing;

class PartTest : public ExportTest {
  protected:
    std::string name(const std::string& file) const { return folder / file; }

    // Renders a part; what goes wrong fails the test.
    std::string part(const std::string& file, const std::string& text, const ExportPlan& plan, std::int64_t first,
                     std::int64_t end, const SliderValues& values = {}, const VideoExporter::Encoding& encoding = {}) {
        const auto made = program(text, on);
        try {
            const MoviePart told = MoviePart::of({ExportSegment(made, values, plan.start, plan.duration, false, true)},
                                                 plan.preset, {first, end}, [&](const auto&) { return text; });
            VideoExporter::exportPart(
                told.exportSegments([&](const auto&) { return made; }), told, on, name(file),
                [](auto, auto) { return true; }, encoding);
        } catch (const std::exception& error) {
            ADD_FAILURE() << file << ": " << error.what();
        }
        return name(file);
    }

    // Joins into `path`; the sentence when that fails.
    std::string joinFailure(
        const std::vector<std::string>& parts,
        const MovieJoiner::Progress& progress = [](auto, auto) { return true; }) const {
        const auto joiner = MovieJoiner::make(parts);
        if (!joiner) return joiner.error();
        const auto segments =
            joiner->whole().exportSegments([this](const std::string& text) { return program(text, on); });
        const auto joined = joiner->join(path, MovieContainer::mp4, segments, on, progress);
        return joined ? "" : joined.error();
    }
};

// Dots that move by their own memory, whose trails hold on to older frames.
const std::string swarm = R"(// @particles 60
struct Particle { float2 at; float2 speed; };
Particle spawn(uint id, constant Params& p) {
    Particle q;
    q.at = fract(float2(float(id) * 0.37, float(id) * 0.11));
    q.speed = float2(sin(float(id)), cos(float(id))) * 0.2;
    return q;
}
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {
    q.speed += (float2(0.5) - q.at) * u.timeDelta;
    q.at = fract(q.at + q.speed * u.timeDelta);
}
float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(q.at, 0.03); }
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(q.at, 0.3, 1.0) * 0.1; }
float4 fade(float2 uv, Trails previous, constant Uniforms& u, constant Params& p) { return previous.at(uv) * 0.9; }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) {
    return float4(trails.at(uv).rgb + float(u.frame % 7) * 0.01, 1.0);
}
)";
const std::string mesh = R"(// @grid 12
struct Vertex { float4 position [[position]]; float height; };
Vertex corner(float2 grid, constant Uniforms& u, constant Params& p) {
    Vertex v;
    v.height = sin(u.time * 3.0 + grid.x * 5.0) * 0.5 + 0.5;
    v.position = float4(grid.x * 2.0 - 1.0, (grid.y * 2.0 - 1.0) * v.height, 0.5, 1.0);
    return v;
}
float4 background(float2 uv, constant Uniforms& u, constant Params& p) { return float4(uv, fract(u.time), 1.0); }
float4 shade(Vertex v, constant Uniforms& u, constant Params& p) { return float4(v.height, 0.2, float(u.frame) * 0.01, 1.0); }
)";

TEST_F(PartTest, AFrameDrawnAloneIsThatOfTheWhole) {
    const ExportPreset as = preset(24, VideoCodec::h264, 80, 60);
    const auto target = on->makeTexture(
        {.width = 80, .height = 60, .storage = gpu::StorageMode::shared, .usage = {.renderTarget = true}});
    ASSERT_TRUE(target);
    const auto bytes = [&] {
        std::vector<std::uint8_t> texels(std::size_t(80) * 60 * 4);
        (*target)->getBytes(texels.data(), 80 * 4, {0, 0, 80, 60});
        return texels;
    };
    // One image that lies partly over the picture, nothing, and another one.
    OverlaySequence overlays;
    const auto paint = [](const QRect& box, const QColor& colour) {
        return [=] {
            QImage image = overlayImage(80, 60);
            QPainter(&image).fillRect(box, colour);
            return image;
        };
    };
    overlays.add(0, paint({10, 10, 30, 20}, QColor(255, 0, 0, 128)));
    overlays.add(0.5, {});
    overlays.add(1, paint({0, 40, 80, 5}, Qt::green));
    const FrameLayout apart{{20, 5, 40, 30}, {0, 0, 0.5, 1}, overlays}, whole{{0, 0, 80, 60}, {0, 0, 0, 1}, overlays};
    for (const auto& [source, first, second] :
         {std::tuple(swarm, std::optional<FrameLayout>(), std::optional<FrameLayout>()),
          {mesh, {}, {}},
          {counting, {}, {}},
          {counting, apart, whole},
          {swarm, apart, {}},
          {mesh, {}, apart}}) {
        // Two stretches: frame 40 and those behind it lie in the second, with a clock and particles of its own.
        const auto made = program(source, on);
        const std::vector<ExportSegment> segments = {{made, {}, 0.4, 40.0 / 24, true, false, first},
                                                     {made, {}, 1.1, 40.0 / 24, true, false, second}};
        const ExportTimeline timeline(segments, 24);
        std::vector<std::vector<std::uint8_t>> frames;
        FrameDrawer all(timeline, as, on);
        for (std::int64_t i = 0; i < timeline.frameCount(); ++i) {
            ASSERT_TRUE(all.draw(i, *target)) << i;
            frames.push_back(bytes());
        }
        EXPECT_TRUE(frames[10] != frames[11]);
        for (const std::int64_t from : {1, 17, 39, 40, 63}) {
            FrameDrawer some(timeline, as, on);
            for (std::int64_t i = from; i < from + 3; ++i) {
                ASSERT_TRUE(some.draw(i, *target));
                EXPECT_TRUE(bytes() == frames[std::size_t(i)]) << "frame " << i << " drawn from " << from;
            }
        }
    }
}

TEST_F(PartTest, JoinedPartsAreThePicturesOfThePartsWithTheSoundOfTheWhole) {
    for (const VideoCodec codec : {VideoCodec::h264, VideoCodec::hevc}) {
        const ExportPlan plan(preset(30, codec, 96, 64), 2.25, 3.5);
        const SliderValues values = {{"blue", 0.7F}};
        // One of a single frame, one longer than the distance of key frames; in no order.
        const std::vector<std::string> parts = {part("c", clicking, plan, 31, 105, values),
                                                part("a", clicking, plan, 0, 30, values),
                                                part("b", clicking, plan, 30, 31, values)};
        ASSERT_EQ(joinFailure(parts), "");
        const ReadMovie joined = readMovie(path);
        ASSERT_EQ(joined.error, "");
        EXPECT_EQ(joined.videoTag, codec == VideoCodec::hevc ? "hvc1" : "avc1");
        EXPECT_EQ(joined.profile, codec == VideoCodec::hevc ? "Main" : "High");
        for (const int tag : {joined.primaries, joined.transfer, joined.matrix, joined.range})
            EXPECT_EQ(tag, 1); // Rec. 709, limited
        EXPECT_TRUE(beginsWithIndex(path));
        ASSERT_EQ(joined.pictures.size(), 105U);
        std::size_t at = 0;
        for (const std::size_t which : {1, 2, 0}) {
            const ReadMovie one = readMovie(parts[which]);
            EXPECT_FALSE(one.hasSound);
            for (std::size_t i = 0; i < one.pictures.size(); ++i, ++at) {
                const auto& picture = joined.pictures.at(at);
                EXPECT_NEAR(one.pictures[i].time, double(i) / 30, 1e-6);
                EXPECT_NEAR(picture.time, double(at) / 30, 1e-6);
                EXPECT_TRUE(picture.isKey || i != 0) << "a part begins with a key frame";
                EXPECT_TRUE(picture.y == one.pictures[i].y && picture.u == one.pictures[i].u &&
                            picture.v == one.pictures[i].v)
                    << at;
                EXPECT_NEAR(picture.at(30, 20).red, std::min(double(at) / 100, 1.0) * 255, 2.5) << at;
            }
        }
        EXPECT_EQ(at, 105U);
        ExportSegment whole = segment(clicking, 2.25, 3.5);
        whole.values = values;
        ASSERT_EQ(failureOf({whole}, plan.preset), "");
        const ReadMovie asked = readMovie(path);
        ASSERT_TRUE(joined.hasSound);
        EXPECT_NEAR(joined.soundStart, 0, 1e-9);
        EXPECT_EQ(joined.left, asked.left);
        EXPECT_EQ(joined.right, asked.right);
    }
}

TEST_F(PartTest, WhatIsNoWholeIsToldAndMakesNoFile) {
    const ExportPlan plan(preset(), 0, 2);
    const std::string a = part("a", counting, plan, 0, 20);
    const std::string b = part("b", counting, plan, 20, 40);
    const std::string c = part("c", counting, plan, 40, 60);
    const std::string wide = part("wide", counting, plan, 15, 40);
    const std::string blue = part("blue", counting, plan, 20, 40, {{"blue", 0.9F}});
    const std::string best = part("best", counting, plan, 20, 40, {}, {.quality = MovieQuality::best});
    const std::string movie = name("movie");
    VideoExporter::exportMovie(program(counting, on), {}, plan, false, on, movie, [](auto, auto) { return true; });
    const std::string text = name("text");
    std::ofstream(text) << "no movie";
    const std::string cut = name("cut");
    std::filesystem::copy_file(b, cut);
    std::filesystem::resize_file(cut, std::filesystem::file_size(b) - 5);
    // The table of times tells 256 times as long a frame.
    const std::string late = name("late");
    std::ifstream file(b, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), {});
    std::swap(bytes.at(bytes.find("stts") + 18), bytes.at(bytes.find("stts") + 17));
    std::ofstream(late, std::ios::binary) << bytes;
    const std::string absent = name("absent");
    const std::size_t before = names().size();
    const struct {
        std::vector<std::string> parts;
        std::vector<std::string> told;
    } cases[] = {
        {{c, a}, {"Frames 20 to 39 are missing", "--frames 20:40."}},
        {{b}, {"Frames 0 to 19, frames 40 to 59 are missing", "--frames 0:20, --frames 40:60."}},
        {{a, b, c, b}, {b + " and " + b + " hold the same frames 20 to 39"}},
        {{c, wide, a}, {a + " and " + wide + " both hold frames 15 to 19"}},
        {{a, blue, c}, {a + " and " + blue, "two different exports", "the values of the sliders"}},
        {{a, best, c}, {a + " and " + best, "two different ways", "--quality"}},
        {{a, movie}, {movie + " is no part of an export"}},
        {{text}, {text + " is no movie"}},
        {{a, cut, c}, {cut + " is not whole", "--frames 20:40."}},
        {{a, late, c}, {late + " is damaged", "--frames 20:40."}},
        {{a, absent}, {"There is no file " + absent}},
        {{folder}, {folder.string() + " is a folder"}},
        {{}, {"no parts"}},
    };
    for (const auto& each : cases) {
        const std::string failure = joinFailure(each.parts);
        for (const std::string& words : each.told)
            EXPECT_NE(failure.find(words), std::string::npos) << failure << "\n  lacks " << words;
        EXPECT_TRUE(failure.ends_with('.')) << failure;
    }
    EXPECT_EQ(joinFailure({b, a, c}, [](std::int64_t done, std::int64_t) { return done < 45; }), "Export cancelled.");
    EXPECT_EQ(names().size(), before);
}

TEST_F(PartTest, AnyByteThatIsChangedIsNoticed) {
    const ExportPlan plan(preset(), 0, 1);
    const std::string good = part("good", counting, plan, 0, 30);
    const auto size = std::int64_t(std::filesystem::file_size(good));
    const std::string bad = name("bad");
    for (int i = 0; i < 60; ++i) {
        std::filesystem::copy_file(good, bad, std::filesystem::copy_options::overwrite_existing);
        {
            std::fstream file(bad, std::ios::in | std::ios::out | std::ios::binary);
            const std::int64_t at = i * (size - 1) / 59;
            file.seekg(at);
            const int byte = file.get();
            file.seekp(at);
            file.put(char(byte ^ (1 << i % 8)));
        }
        EXPECT_NE(joinFailure({bad}), "") << "byte " << i * (size - 1) / 59 << " of " << size;
    }
    EXPECT_EQ(joinFailure({good}), "");
}

TEST(MoviePart, ComesBackFromItsText) {
    MoviePart part;
    part.preset = {"any", "Any", 641, 359, 48, 123456, VideoCodec::hevc};
    part.segments = {{.start = 0.1,
                      .duration = 1.0 / 3,
                      .hasMark = true,
                      .values = {{"größe", 0.1F}, {"b", -3.0e-9F}},
                      .shader = "// \"quoted\" \\ ünïcode \t\n",
                      .heard = {}},
                     {.start = 2,
                      .duration = 0.5,
                      .hasSound = true,
                      .values = {},
                      .shader = "another",
                      .heard = MoviePart::Heard{1.5, {{"b", 2}}, "heard"}}};
    part.first = 3;
    part.end = 16;
    const auto again = MoviePart::fromText(part.toText());
    ASSERT_TRUE(again);
    EXPECT_EQ(again->wholeIdentity(), part.wholeIdentity());
    EXPECT_EQ(again->segments, part.segments);
    EXPECT_EQ(again->frameCount(), 16 + 24);
    EXPECT_TRUE(again->hasSound());
    EXPECT_EQ(again->first, 3);
    EXPECT_EQ(again->end, 16);
    EXPECT_EQ(again->differenceFrom(part), "");
    const auto changed = [&](const std::string& from, const std::string& to) {
        std::string text = part.toText();
        text.replace(text.find(from), from.size(), to);
        return MoviePart::fromText(text).has_value();
    };
    EXPECT_FALSE(changed("\"end\":16", "\"end\":41"));        // beyond the whole
    EXPECT_FALSE(changed("\"first\":3", "\"first\":16"));     // nothing in it
    EXPECT_FALSE(changed("\"shader\":1", "\"shader\":9"));    // no such text
    EXPECT_FALSE(changed("\"fps\":48", "\"fps\":0"));         // no rate
    EXPECT_FALSE(changed("\"mark\":true", "\"mark\":false")); // not the whole it says it is of
    EXPECT_FALSE(changed("\"version\":3", "\"version\":2"));
    EXPECT_FALSE(MoviePart::fromText("[]"));
}

// A stage of an episode is drawn while another shader is heard, and its pages lie over it.
TEST_F(PartTest, PartsOfAnEpisodeKeepItsSoundAndItsChapters) {
    const std::string still = picture("float4(0.2, 0.4, 0.6, 1.0)");
    const std::string humming =
        picture("float4(u.time, 0.0, 0.0, 1.0)") +
        "float2 sound(float t, constant Params& p) { return float2(sin(t * 900.0) * 0.3, cos(t * 700.0) * 0.2); }\n";
    const auto seen = program(still, on), heard = program(humming, on);
    ExportSegment show(heard, {}, 0, 0.5, false, true), stage(seen, {}, 0.5, 0.5, true, true);
    stage.soundProgram = heard;
    const std::vector<ExportSegment> segments = {show, stage};
    const VideoChapters chapters{1, {{0, "Hum", {}}, {0.5, "1 · Still", "speed 1"}}};
    const auto text = [&](const ShaderProgram& program) { return &program == seen.get() ? still : humming; };
    std::vector<std::string> files;
    for (const auto& [first, end] : {std::pair(0, 20), std::pair(20, 30)}) {
        MoviePart part = MoviePart::of(segments, preset(), {first, end}, text);
        part.look = "pages";
        part.chapters = chapters;
        const auto read = MoviePart::fromText(part.toText());
        ASSERT_TRUE(read);
        EXPECT_EQ(read->segments, part.segments);
        EXPECT_EQ(read->chapters, chapters);
        MoviePart other = part;
        other.look = "other pages";
        EXPECT_EQ(part.differenceFrom(other), "the pages");
        files.push_back(name(std::to_string(first) + ".mp4"));
        VideoExporter::exportPart(segments, part, on, files.back(), [](auto, auto) { return true; });
    }
    ASSERT_EQ(joinFailure(files), "");
    const ReadMovie joined = readMovie(path);
    VideoExporter::Encoding encoding;
    encoding.chapters = movieChapters(chapters);
    VideoExporter::exportMovie(segments, preset(), on, path, [](auto, auto) { return true; }, encoding);
    const ReadMovie whole = readMovie(path);
    EXPECT_EQ(joined.left, whole.left);
    EXPECT_FALSE(joined.left.empty());
    ASSERT_EQ(whole.chapters.size(), 2U);
    EXPECT_EQ(whole.chapters, joined.chapters);
    EXPECT_EQ(whole.chapters[1], (MovieChapter{0.5, 1, "1 · Still"}));
}

} // namespace
} // namespace glasshob
