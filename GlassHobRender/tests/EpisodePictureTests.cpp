// Pictures of an episode's moments for previews: the shader in its place, what lies over it, any order of moments.

#include "GlassHobRender/export/EpisodePicture.h"
#include "GlassHobRender/paint/PaintFonts.h"
#include "GlassHobRender/tests/Programs.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <unistd.h>

using namespace glasshob;
using namespace glasshob::testing;

namespace {

const std::string green = picture("float4(0.0, 1.0, 0.0, 1.0)");
const std::string blue = picture("float4(0.0, 0.0, u.time / 100.0, 1.0)");

Episode episode() {
    Episode made;
    made.source = {"source.metal", "source.metal", "// @episode 3 Colours\n// @length 10\n" + blue};
    made.meta = EpisodeMeta::parse(made.source.text);
    made.stages = {{"1.metal", "stages/1.metal", green}};
    return made;
}

EpisodePlan plan(bool hasMark) {
    EpisodeChoices choices;
    choices.hasMark = hasMark;
    const auto made = EpisodePlan::make(episode(), ExportPreset::web(), choices);
    EXPECT_TRUE(made) << made.error().sentence;
    return *made;
}

bool isNear(QRgb a, QRgb b) {
    return std::abs(qRed(a) - qRed(b)) < 3 && std::abs(qGreen(a) - qGreen(b)) < 3 && std::abs(qBlue(a) - qBlue(b)) < 3;
}

} // namespace

TEST(EpisodePicture, ShowsTheMomentThatWasAskedForAtAnyTurn) {
    const TextPainting painting;
    const auto on = device();
    ASSERT_NE(on, nullptr);
    const auto finished = program(episode().source.text, on);
    const EpisodePlan made = plan(false);
    const QSize size = episodePictureSize(made, {640, 640});
    ASSERT_EQ(size, QSize(640, 360));
    EpisodePicture pictures(made, {finished, {program(green, on), finished}}, size);

    // A page of the first stage: its own picture at the top right, the code at the left.
    const auto page = pictures.at(pageMoment(made, 0, 0));
    ASSERT_TRUE(page) << page.error().description;
    ASSERT_EQ(page->size(), size);
    EXPECT_TRUE(isNear(page->pixel(620, 20), qRgb(0, 255, 0)));
    EXPECT_TRUE(isNear(page->pixel(10, 10), episodeLook::colour(Role::editor).rgb()));

    // Back to the show: the finished shader everywhere, at the time since it began.
    const auto show = pictures.at(made.parts()[1].at + 5);
    ASSERT_TRUE(show);
    EXPECT_TRUE(isNear(show->pixel(10, 10), qRgb(0, 0, 13))) << qBlue(show->pixel(10, 10));
    EXPECT_EQ(made.parts()[1].kind, EpisodePart::Kind::show);

    // The card hides the shader outside of its arch; far too late is the last moment.
    const auto end = pictures.at(1e9);
    ASSERT_TRUE(end);
    EXPECT_TRUE(isNear(end->pixel(2, 2), episodeLook::colour(Role::canvas).rgb()));
    EXPECT_EQ(pictures.at(std::nan(""))->pixel(2, 2), pictures.at(0)->pixel(2, 2));
}

TEST(EpisodePicture, ParticlesGoBack) {
    const TextPainting painting;
    const auto on = device();
    ASSERT_NE(on, nullptr);
    Episode dots = episode();
    dots.stages.clear();
    // One dot that moves by its steps, not by the time.
    dots.source.text = "// @episode 1 Dots\n// @length 4\n// @particles 1\n"
                       "struct Particle { float at; };\n"
                       "Particle spawn(uint id, constant Params& p) { return Particle{0.1}; }\n"
                       "void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {\n"
                       "    q.at += 0.2 * u.timeDelta;\n}\n"
                       "float3 place(Particle q, constant Uniforms& u, constant Params& p) {\n"
                       "    return float3(q.at, 0.5, 0.05);\n}\n"
                       "float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) {\n"
                       "    return float4(1.0);\n}\n"
                       "float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) {\n"
                       "    return trails.at(uv);\n}\n";
    EpisodeChoices choices;
    choices.hasCards = choices.hasMark = false;
    const auto made = EpisodePlan::make(dots, ExportPreset::site(), choices);
    ASSERT_TRUE(made) << made.error().sentence;
    const EpisodePrograms programs{program(dots.source.text, on), {}};
    EpisodePicture pictures(*made, programs, {320, 180}), others(*made, programs, {320, 180});
    const auto later = pictures.at(3);
    const auto earlier = pictures.at(1);
    ASSERT_TRUE(later && earlier);
    EXPECT_NE(*later, *earlier);
    EXPECT_EQ(*earlier, *others.at(1));
    EXPECT_EQ(*later, *others.at(3));
}

TEST(EpisodePicture, TheMarkAndMissingPrograms) {
    const TextPainting painting;
    const auto on = device();
    ASSERT_NE(on, nullptr);
    const auto finished = program(episode().source.text, on);
    const EpisodePlan made = plan(true);
    EpisodePicture pictures(made, {finished, {}}, {640, 360});
    EXPECT_FALSE(pictures.at(pageMoment(made, 0, 0))) << "a stage without a program has no picture";
    const auto marked = pictures.at(made.parts()[1].at + 1);
    ASSERT_TRUE(marked);
    EpisodePicture others(plan(false), {finished, {}}, {640, 360});
    const auto plain = others.at(made.parts()[1].at + 1);
    ASSERT_TRUE(plain);
    EXPECT_EQ(marked->copy(0, 0, 588, 308), plain->copy(0, 0, 588, 308));
    EXPECT_NE(*marked, *plain);
}
