// What is chosen for an episode's video and what stands in its way, and the movie that comes of it.

#include "GlassHob/model/EpisodeExport.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHob/tests/TinyEpisode.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <fstream>

namespace glasshob {
namespace {

class EpisodeExportTest : public AppModelTest {
  protected:
    void SetUp() override {
        movieMaker = [this](const ExportOrder& order, const ExportJob::Target& target) {
            got = order;
            std::ofstream(target.path) << "a movie";
            if (fails) throw std::runtime_error("The disk is full.");
        };
        AppModelTest::SetUp();
        tiny.emplace(folder.path());
    }
    EpisodeExport& episode() { return model->episodeExport(); }
    void openAndPrepare() {
        model->open(tiny->source());
        model->episode().setNeed(&user, OpenEpisode::Need::programs);
        EXPECT_TRUE(comesTrue([&] { return model->episode().hasAllPrograms(); }));
    }
    template <typename Change>
    void change(Change change) {
        EpisodeExportChoices choices = episode().choices();
        change(choices);
        episode().setChoices(choices);
    }
    void run() {
        model->exports().chooseAndStart(*episode().order(), episode().suggestedName());
        EXPECT_TRUE(comesTrue([&] { return !model->exports().isRunning(); }));
    }

    std::optional<TinyEpisode> tiny;
    QObject user;
    ExportOrder got;
    bool fails = false;
};

TEST_F(EpisodeExportTest, TheOrderIsWhatIsChosen) {
    EXPECT_EQ(episode().plan(), nullptr);
    EXPECT_FALSE(episode().canStart());
    openAndPrepare();
    ASSERT_EQ(episode().obstacle(), QString());
    EXPECT_EQ(episode().stageCount(), 3);
    EXPECT_EQ(episode().pageCount(), 3);
    EXPECT_EQ(episode().plan()->seconds(), 8 + 1 + 30 + 2);

    change([](auto& choices) {
        choices.hasCards = false;
        choices.pageSeconds = 2; // too short to be read
        choices.hasMark = false;
    });
    EXPECT_EQ(episode().choices().pageSeconds, 4);
    model->setValue("volume", 0.25F);
    model->setValue("warm", 0.9F);
    const auto order = episode().order();
    ASSERT_TRUE(order);
    ASSERT_EQ(order->segments.size(), 6U);
    EXPECT_EQ(order->seconds(), 1 + 12 + 2);
    // As declared, but as loud as the person wants it.
    EXPECT_EQ(order->segments[0].values, (SliderValues{{"volume", 0.25F}}));
    EXPECT_EQ(order->segments[1].program, model->episode().programs().stages[0]);
    EXPECT_FALSE(order->segments[1].watermark);
    ASSERT_EQ(order->companions.size(), 1U);
    EXPECT_EQ(order->companions[0].text, episode().plan()->chapters().json());
    EXPECT_EQ(episode().suggestedName(), "Rings.mp4");

    // Made with the amount that was seen where the variations were chosen.
    model->episodeAmount().set(0);
    EXPECT_EQ(episode().plan()->shownVariations()[0].values.at("warm"), 0.5F);
    EXPECT_NE(order->episode->shownVariations()[0].values.at("warm"), 0.5F);
}

TEST_F(EpisodeExportTest, SaysWhatStandsInItsWay) {
    openAndPrepare();
    change([](auto& choices) { choices.hasShow = choices.hasWalkthrough = choices.hasVariations = false; });
    EXPECT_EQ(episode().obstacle(), "Choose at least one part.");
    change([](auto& choices) { choices.hasWalkthrough = choices.hasShow = true; });
    EXPECT_EQ(episode().obstacle(), QString());

    // A stage with a fault counts only when it would be shown.
    writeText(tiny->stage(2), TinyEpisode::stageText("Round", "float d = oops;"));
    EXPECT_TRUE(comesTrue([&] { return model->episode().fault().has_value(); }));
    EXPECT_EQ(episode().obstacle(), "Repair stage 2 or leave the walkthrough out.");
    EXPECT_FALSE(episode().walkthroughSeconds());
    EXPECT_FALSE(episode().order());
    change([](auto& choices) { choices.hasWalkthrough = false; });
    EXPECT_EQ(episode().obstacle(), QString());
    change([](auto& choices) { choices.hasWalkthrough = true; });
    writeText(tiny->stage(2), TinyEpisode::stageText("Round", "float d = uv.x;"));
    EXPECT_TRUE(comesTrue([&] { return model->episode().fault() && model->episode().fault()->hasNoCode; }));
    EXPECT_EQ(episode().plan(), nullptr);
    ASSERT_NE(episode().planToShow(), nullptr);
    EXPECT_TRUE(episode().planToShow()->stages().empty());

    model->textChanged(TinyEpisode::sourceText("float d = oops;"));
    EXPECT_TRUE(comesTrue([&] { return model->episode().sourceFault().has_value(); }));
    EXPECT_EQ(episode().obstacle(), "The finished shader does not compile: repair it first.");
}

TEST_F(EpisodeExportTest, MovieAndChaptersAreThereTogetherOrNeither) {
    openAndPrepare();
    const QString movie = folder.filePath("Rings.mp4"), chapters = folder.filePath("Rings.chapters.json");
    questions.path = movie;
    run();
    EXPECT_EQ(questions.suggested, "Rings.mp4");
    EXPECT_EQ(contents(movie), "a movie");
    EXPECT_EQ(contents(chapters), episode().plan()->chapters().json());
    ASSERT_NE(model->exports().order()->episode, nullptr);
    EXPECT_EQ(model->exports().order()->episode->chapters(), episode().plan()->chapters());

    // A failure leaves what was there, and the same order can be tried again.
    QFile::remove(movie);
    file("Rings.chapters.json", "older");
    fails = true;
    run();
    EXPECT_EQ(std::get<ExportFailed>(model->exportState()).message, "The disk is full.");
    EXPECT_FALSE(QFile::exists(movie));
    EXPECT_EQ(contents(chapters), "older");
    fails = false;
    ASSERT_TRUE(model->exports().canTryAgain());
    model->exports().tryAgain();
    EXPECT_TRUE(comesTrue([&] { return !model->exports().isRunning(); }));
    EXPECT_EQ(contents(movie), "a movie");
    EXPECT_NE(contents(chapters), "older");
    model->exports().dismiss();

    // Not beside it when nobody wants them, and no picture format.
    QFile::remove(chapters);
    change([](auto& choices) { choices.writesChapters = false; });
    run();
    EXPECT_FALSE(QFile::exists(chapters));
    questions.path = folder.filePath("Rings.gif");
    run();
    EXPECT_TRUE(std::get<ExportFailed>(model->exportState()).message.startsWith("Rings.gif is no movie"));
}

} // namespace
} // namespace glasshob
