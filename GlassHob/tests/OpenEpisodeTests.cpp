// The episode of the open document: what it is read from, when it is read again, and what stands in its way.

#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHob/tests/TinyEpisode.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QFileInfo>

namespace glasshob {
namespace {

using State = OpenEpisode::State;
using Need = OpenEpisode::Need;

class OpenEpisodeTest : public AppModelTest {
  protected:
    void SetUp() override {
        AppModelTest::SetUp();
        tiny.emplace(folder.path());
    }
    OpenEpisode& episode() { return model->episode(); }
    void need(Need what) { episode().setNeed(&user, what); }
    void openAndNeed(Need what) {
        model->open(tiny->source());
        need(what);
    }

    std::optional<TinyEpisode> tiny;
    QObject user;
};

TEST_F(OpenEpisodeTest, IsReadFromTheFolderWithTheTextAsItIsEdited) {
    openAndNeed(Need::texts);
    ASSERT_EQ(episode().state(), State::ready);
    EXPECT_EQ(episode().episode()->meta.title, "Rings");
    EXPECT_EQ(episode().episode()->stages.size(), 2U);
    EXPECT_EQ(episode().folder(), tiny->folder);

    // Not what is on disk.
    std::string edited = TinyEpisode::sourceText("float d = cos(uv.y);");
    edited.replace(edited.find("Rings"), 5, "Bands");
    model->textChanged(edited);
    EXPECT_TRUE(comesTrue([&] { return episode().episode()->meta.title == "Bands"; }));
    EXPECT_EQ(episode().episode()->source.text, edited);

    // Nothing without a header, and nothing is kept when nobody needs it any more.
    model->textChanged(TinyEpisode::body("float d = 0.0;"));
    EXPECT_TRUE(comesTrue([&] { return !episode().hasHeader(); }));
    EXPECT_EQ(episode().state(), State::nothing);
    EXPECT_FALSE(episode().episode());
    model->textChanged(edited);
    EXPECT_TRUE(comesTrue([&] { return episode().state() == State::ready; }));
    need(Need::nothing);
    EXPECT_FALSE(episode().episode());
    EXPECT_TRUE(episode().hasHeader());
}

TEST_F(OpenEpisodeTest, TellsWhereStagesAreMissing) {
    need(Need::texts);
    // The sample has no file.
    model->loadSample();
    model->setText(TinyEpisode::sourceText());
    ASSERT_TRUE(comesTrue([&] { return episode().state() == State::notSaved; }));
    EXPECT_EQ(episode().episode()->meta.number, 7);
    EXPECT_EQ(episode().folder(), QString());

    const QString alone = file("rings.metal", TinyEpisode::sourceText());
    model->open(alone);
    EXPECT_EQ(episode().state(), State::noStages);
    EXPECT_FALSE(episode().looksForStages());

    // Stages that come while the window is open are seen without a command.
    QDir(tiny->folder + "/stages").removeRecursively();
    model->open(tiny->source());
    EXPECT_EQ(episode().state(), State::noStages);
    EXPECT_TRUE(episode().looksForStages());
    QDir().mkpath(tiny->folder + "/stages");
    writeText(tiny->stage(1), TinyEpisode::stageText("Flat", "float d = uv.x;"));
    EXPECT_TRUE(comesTrue([&] { return episode().state() == State::ready; }));

    QDir(tiny->folder + "/stages").removeRecursively();
    writeText(tiny->folder + "/stages", "no folder");
    episode().lookAgain();
    ASSERT_EQ(episode().state(), State::unreadable);
    EXPECT_TRUE(episode().problem().contains("is not a folder")) << episode().problem().toStdString();
    EXPECT_TRUE(episode().episode()->stages.empty());
}

TEST_F(OpenEpisodeTest, FollowsStagesThatAreSaved) {
    openAndNeed(Need::texts);
    ASSERT_EQ(episode().state(), State::ready);
    // Written in place, and replaced by another file, as editors do.
    writeText(tiny->stage(2), TinyEpisode::stageText("Wide", "float d = length(uv) * 2.0;"));
    EXPECT_TRUE(comesTrue([&] { return episode().episode()->stages[1].text.contains("Wide"); }));
    const QString other = folder.filePath("other.metal");
    writeText(other, TinyEpisode::stageText("Narrow", "float d = length(uv) * 0.5;"));
    ASSERT_EQ(rename(other.toUtf8(), tiny->stage(2).toUtf8()), 0);
    EXPECT_TRUE(comesTrue([&] { return episode().episode()->stages[1].text.contains("Narrow"); }));
    writeText(tiny->stage(2), TinyEpisode::stageText("Again", "float d = length(uv) * 0.3;"));
    EXPECT_TRUE(comesTrue([&] { return episode().episode()->stages[1].text.contains("Again"); }));
}

TEST_F(OpenEpisodeTest, AStageWithoutCodeIsAFaultOfThatStage) {
    writeText(tiny->stage(2), TinyEpisode::stageText("Round", "float d = uv.x;"));
    openAndNeed(Need::texts);
    ASSERT_EQ(episode().state(), State::stageFault);
    EXPECT_EQ(episode().fault()->number, 2);
    EXPECT_EQ(episode().fault()->path, tiny->stage(2));
    EXPECT_EQ(episode().fault()->text(), "Stage 2 has no code to show: it is the same as stage 1.");
}

TEST_F(OpenEpisodeTest, ProgramsAreMadeBesideAndFaultsAreTold) {
    openAndNeed(Need::programs);
    EXPECT_TRUE(comesTrue([&] { return episode().hasAllPrograms(); }));
    EXPECT_EQ(episode().programs().stages.size(), 3U);
    EXPECT_EQ(episode().programs().stages.back(), episode().programs().finished);
    const auto first = episode().programs().stages.front();

    writeText(tiny->stage(2), TinyEpisode::stageText("Round", "float d = lenght(uv);"));
    EXPECT_TRUE(comesTrue([&] { return episode().state() == State::stageFault; }));
    EXPECT_EQ(episode().fault()->number, 2);
    EXPECT_EQ(episode().fault()->line, 6);
    EXPECT_TRUE(episode().fault()->text().startsWith("Stage 2, 02-stage.metal, does not compile: line 6: "))
        << episode().fault()->text().toStdString();
    // What has not changed is not made again.
    EXPECT_EQ(episode().programs().stages.front(), first);
    EXPECT_EQ(episode().programs().stages[1], nullptr);

    writeText(tiny->stage(2), TinyEpisode::stageText("Round", "float d = length(uv);"));
    EXPECT_TRUE(comesTrue([&] { return episode().hasAllPrograms(); }));
    EXPECT_EQ(episode().state(), State::ready);

    // The finished shader's program is that of the text in the editor, or none.
    model->textChanged(TinyEpisode::sourceText("float d = oops;"));
    EXPECT_TRUE(comesTrue([&] { return episode().sourceFault().has_value(); }));
    EXPECT_EQ(episode().programs().finished, nullptr);
    need(Need::texts);
    EXPECT_EQ(episode().programs().stages.front(), nullptr);
}

TEST_F(OpenEpisodeTest, AShaderThatWaitsToBeReadIsNotCompiled) {
    model->openDownloaded(tiny->source(), QUrl("https://example.org/episode-07-rings/source.metal"));
    need(Need::programs);
    EXPECT_FALSE(episode().isCompiling());
    model->run();
    EXPECT_TRUE(comesTrue([&] { return episode().hasAllPrograms(); }));
}

} // namespace
} // namespace glasshob
