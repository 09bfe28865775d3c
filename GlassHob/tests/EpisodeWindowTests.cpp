// The window in which an episode is exported, in the whole window: its parts and chapters, what it says when something
// is missing, its keys, its pages, and a movie made by it.

#include "GlassHob/model/EpisodeExport.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/tests/TinyEpisode.h"
#include "GlassHob/ui/controls/DialogPicture.h"
#include "GlassHob/ui/export/ChapterList.h"
#include "GlassHob/ui/export/EpisodePages.h"
#include "GlassHob/ui/export/EpisodeParts.h"
#include "GlassHob/ui/export/EpisodeWindow.h"
#include "GlassHob/ui/export/ExportActions.h"
#include "GlassHob/ui/export/ExportForm.h"
#include "GlassHob/ui/export/ExportProgress.h"
#include "GlassHob/ui/export/ExportWindow.h"
#include "GlassHob/ui/export/PresetCards.h"
#include "GlassHobRender/episode/EpisodePlan.h"
#include "GlassHobRender/formats/ExportError.h"
#include "GlassHobRender/tests/MovieReader.h"

#include <QCheckBox>
#include <QClipboard>
#include <QSignalSpy>

#include <atomic>
#include <fstream>
#include <semaphore>

namespace glasshob {
namespace {

class RealEpisodeWindowTest : public ShownWindow {
  protected:
    void SetUp() override {
        ShownWindow::SetUp();
        tiny.emplace(folder.path());
        movie = folder.filePath("Rings.mp4");
        questions.path = movie;
    }
    EpisodeWindow* open() {
        QAction* action = window->exportActions()->exportEpisode;
        EXPECT_TRUE(action->isEnabled());
        action->trigger();
        EpisodeWindow* shown = window->exportActions()->episodeWindow();
        EXPECT_TRUE(comesTrue([&] { return QApplication::activeWindow() == shown; }));
        return shown;
    }
    // Of the tiny episode, with all its programs.
    EpisodeWindow* openReady() {
        model->open(tiny->source());
        EpisodeWindow* shown = open();
        EXPECT_TRUE(comesTrue([&] { return shown->form()->exportButton()->isEnabled(); }));
        return shown;
    }
    static QStringList titles(const ChapterList* list) {
        QStringList made;
        for (const ChapterRow& row : list->chapters()->rows())
            made << row.time + u' ' + row.title;
        return made;
    }
    template <typename Change>
    void change(Change change) {
        EpisodeExportChoices choices = model->episodeExport().choices();
        change(choices);
        model->episodeExport().setChoices(choices);
    }

    std::optional<TinyEpisode> tiny;
    QString movie;
};

// With a maker of movies that the test leads.
class EpisodeWindowTest : public RealEpisodeWindowTest {
  protected:
    void SetUp() override {
        movieMaker = [this](const ExportOrder& order, const ExportJob::Target& target) {
            std::ofstream(target.path) << "a movie";
            target.progress(doneBefore, order.frameCount());
            go.acquire();
            if (!target.progress(order.frameCount(), order.frameCount())) throw ExportError::cancelled();
            if (fails) throw ExportError::render(3);
        };
        RealEpisodeWindowTest::SetUp();
    }
    void TearDown() override {
        go.release();
        RealEpisodeWindowTest::TearDown();
    }
    void start(EpisodeWindow* shown) {
        QTest::keyClick(shown, Qt::Key_Return, Qt::ControlModifier);
        EXPECT_TRUE(comesTrue([&] {
            const auto* running = std::get_if<ExportRunning>(&model->exportState());
            return running && running->done == doneBefore;
        }));
    }
    void finish() {
        go.release();
        EXPECT_TRUE(comesTrue([&] { return !model->exports().isRunning(); }));
    }

    std::int64_t doneBefore = 8 * 60; // in the walkthrough
    std::binary_semaphore go{0};
    std::atomic<bool> fails = false;
};

TEST_F(EpisodeWindowTest, IsThereForEpisodesAndTellsWhatTheVideoHolds) {
    model->open(file("a.metal", shader("// @param s 1 0 2")));
    EXPECT_FALSE(window->exportActions()->exportEpisode->isEnabled());
    EpisodeWindow* shown = openReady();
    EpisodeForm* form = shown->form();
    EpisodeParts* parts = form->parts();
    EXPECT_EQ(parts->cards()->length(), "0:08");
    EXPECT_EQ(parts->show()->detail(), "1 second of the finished shader");
    EXPECT_EQ(parts->walkthrough()->detail(), "3 stages, 3 pages");
    EXPECT_EQ(parts->walkthrough()->check()->accessibleDescription(), "3 stages, 3 pages, 0:30");
    EXPECT_EQ(parts->variations()->detail(), "2, 1 second each");
    EXPECT_EQ(parts->total()->text(), "0:41");
    EXPECT_EQ(form->foreseen()->text(), "2,460 frames, about 26 MB");
    const QStringList all = titles(form->chapters());
    ASSERT_EQ(all.size(), 8);
    EXPECT_EQ(all.mid(0, 5),
              QStringList({"0:00 Rings", "0:04 Full show", "0:05 1 · Flat", "0:15 2 · Round", "0:25 3 · Rings"}));
    EXPECT_EQ(all.back(), "0:37 End");
    EXPECT_EQ(form->chapters()->chapters()->index(3).data(Qt::AccessibleTextRole), "0:15, 2, Round");
    EXPECT_TRUE(form->chapters()->chapters()->index(5).data(Qt::ToolTipRole).toString().contains("warm"));

    // The chosen chapter is the picture.
    EXPECT_EQ(form->chapters()->chosen(), 0);
    EXPECT_TRUE(comesTrue([&] { return !form->picture()->image().isNull(); }));
    const QImage card = form->picture()->image();
    form->chapters()->setFocus();
    QTest::keyClick(form->chapters(), Qt::Key_Down);
    QTest::keyClick(form->chapters(), Qt::Key_Down);
    EXPECT_EQ(form->picture()->accessibleDescription(), "1 · Flat");
    EXPECT_TRUE(comesTrue([&] { return form->picture()->image() != card; }));
    EXPECT_EQ(QColor(form->picture()->image().pixel(4, 4)), episodeLook::colour(Role::editor));

    // Parts go and come.
    parts->cards()->check()->setFocus();
    QTest::keyClick(parts->cards()->check(), Qt::Key_Space);
    EXPECT_EQ(titles(form->chapters()).front(), "0:00 Full show");
    EXPECT_EQ(parts->total()->text(), "0:33");
    QTest::keyClick(parts->pageSeconds(), Qt::Key_Up);
    EXPECT_EQ(parts->pageSeconds()->text(), "11");
    EXPECT_EQ(parts->total()->text(), "0:36");
    for (PartRow* row : {parts->show(), parts->walkthrough(), parts->variations()})
        row->check()->click();
    EXPECT_EQ(form->foreseen()->text(), "Choose at least one part.");
    EXPECT_FALSE(form->exportButton()->isEnabled());
}

TEST_F(EpisodeWindowTest, AFieldThatIsRefusedKeepsTheExportBack) {
    EpisodeWindow* shown = openReady();
    EpisodeParts* parts = shown->form()->parts();
    parts->pageSeconds()->setFocus();
    parts->pageSeconds()->selectAll();
    QTest::keyClicks(parts->pageSeconds(), "3");
    QTest::keyClick(shown, Qt::Key_Return, Qt::ControlModifier);
    EXPECT_TRUE(parts->pageSeconds()->isRefused());
    EXPECT_EQ(shown->form()->foreseen()->text(), "A page is seen for 4 to 30 seconds.");
    EXPECT_FALSE(model->exports().isRunning());
    QTest::keyClick(parts->pageSeconds(), Qt::Key_Backspace);
    QTest::keyClicks(parts->pageSeconds(), "4,5");
    EXPECT_FALSE(parts->pageSeconds()->isRefused());
    EXPECT_EQ(model->episodeExport().choices().pageSeconds, 4.5);
}

TEST_F(EpisodeWindowTest, SaysWhatIsMissingAndWhatToDo) {
    EpisodeWindow* shown = openReady();
    EpisodeForm* form = shown->form();
    PartRow* row = form->parts()->walkthrough();
    EXPECT_FALSE(row->isTelling());

    writeText(tiny->stage(2), TinyEpisode::stageText("Round", "float d = oops;"));
    EXPECT_TRUE(comesTrue([&] { return row->isTelling(); }));
    EXPECT_TRUE(row->told().startsWith("Stage 2, 02-stage.metal, does not compile: line 6: "))
        << row->told().toStdString();
    EXPECT_EQ(row->length(), "–:––");
    EXPECT_EQ(form->foreseen()->text(), "Repair stage 2 or leave the walkthrough out.");
    EXPECT_FALSE(form->exportButton()->isEnabled());
    form->parts()->leaveOut()->click();
    EXPECT_FALSE(row->check()->isChecked());
    EXPECT_FALSE(row->isTelling());
    EXPECT_TRUE(form->exportButton()->isEnabled());
    row->check()->click();

    writeText(tiny->stage(2), TinyEpisode::stageText("Round", "float d = uv.x;"));
    EXPECT_TRUE(comesTrue([&] { return row->told() == "Stage 2 has no code to show: it is the same as stage 1."; }));
    form->parts()->openStage()->click();
    EXPECT_EQ(model->filePath(), tiny->stage(2));
    EXPECT_EQ(form->foreseen()->text(), "The shader has no line @episode");
    EXPECT_EQ(form->chapters()->chapters()->rowCount(), 0);

    QDir(tiny->folder + "/stages").removeRecursively();
    model->open(tiny->source());
    EXPECT_FALSE(row->check()->isEnabled());
    EXPECT_EQ(row->detail(), "No stages found");
    EXPECT_TRUE(form->parts()->lookAgain()->isVisible());
    EXPECT_TRUE(comesTrue([&] { return form->exportButton()->isEnabled(); })) << "not an error";

    // No variations chosen, and no file.
    QSignalSpy asked(window->exportActions(), &ExportActions::variationsAsked);
    model->loadSample();
    std::string text = TinyEpisode::sourceText();
    const std::size_t line = text.find("// @variations");
    text.erase(line, text.find('\n', line) + 1 - line);
    model->setText(text);
    EXPECT_TRUE(comesTrue([&] { return form->parts()->variations()->detail() == "None chosen"; }));
    EXPECT_EQ(row->told(), "Save the shader first: the stages are looked for beside its file.");
    form->parts()->variations()->check()->click();
    EXPECT_FALSE(form->parts()->variations()->check()->isChecked());
    form->parts()->choose()->click();
    EXPECT_EQ(asked.count(), 2);
}

TEST_F(EpisodeWindowTest, TellsHowFarItIsAndHowItEnded) {
    EpisodeWindow* shown = openReady();
    start(shown);
    ASSERT_TRUE(shown->progress()->isVisible());
    EXPECT_EQ(shown->progress()->figures()->percent()->text(), "19%");
    EXPECT_EQ(shown->progress()->figures()->frames()->text(), "Frame 480 of 2,460");
    const ChapterModel* chapters = shown->progress()->chapters()->chapters();
    EXPECT_EQ(chapters->progress()->row, 2);
    EXPECT_EQ(chapters->progress()->percent, 30);
    EXPECT_EQ(chapters->index(0).data(Qt::AccessibleDescriptionRole), "done");
    EXPECT_EQ(chapters->index(2).data(Qt::AccessibleDescriptionRole), "30 percent");
    // One at a time, and each in its own window.
    window->exportActions()->exportVideo->trigger();
    EXPECT_EQ(window->exportActions()->window(), nullptr);
    EXPECT_FALSE(model->exports().canStart());
    // Return never stops it; closing asks.
    QTest::keyClick(shown, Qt::Key_Return);
    EXPECT_TRUE(model->exports().isRunning());
    questions.choice = 1;
    shown->reject();
    EXPECT_TRUE(questions.asked.last().contains("Rings.mp4"));
    EXPECT_TRUE(shown->isVisible());

    fails = true;
    finish();
    EXPECT_TRUE(shown->failed()->isVisible());
    EXPECT_EQ(shown->failed()->accessibleName(), "The episode was not made");
    EXPECT_FALSE(QFile::exists(folder.filePath("Rings.chapters.json")));
    fails = false;
    doneBefore = 1;
    shown->failed()->tryAgain()->click();
    finish();
    ASSERT_TRUE(shown->finished()->isVisible());
    EXPECT_EQ(shown->finished()->heading()->text(), "The episode is ready");
    EXPECT_EQ(shown->finished()->companion()->text(), "Rings.chapters.json");
    EXPECT_TRUE(shown->finished()->figures()->text().startsWith("0:41 · "));
    shown->finished()->done()->click();
    EXPECT_TRUE(std::holds_alternative<ExportIdle>(model->exportState()));
    EXPECT_EQ(window->exportActions()->episodeWindow(), nullptr);
}

TEST_F(EpisodeWindowTest, AVideoAndAnEpisodeKeepOutOfEachOthersWindows) {
    EpisodeWindow* shown = openReady();
    window->exportActions()->exportVideo->trigger();
    ExportWindow* video = window->exportActions()->window();
    start(shown);
    EXPECT_TRUE(video->form()->isVisible());
    EXPECT_FALSE(video->form()->exportButton()->isEnabled());
    video->reject();
    EXPECT_TRUE(model->exports().isRunning());
    shown->progress()->cancelButton()->click();
    finish();
    EXPECT_TRUE(shown->form()->isVisible());
    EXPECT_FALSE(QFile::exists(movie));

    doneBefore = 1;
    model->exports().chooseAndStart();
    EXPECT_TRUE(shown->form()->isVisible());
    EXPECT_EQ(shown->form()->foreseen()->text(), "Another export is running");
    finish();
    EXPECT_TRUE(window->exportActions()->window() != nullptr);
    EXPECT_TRUE(shown->form()->isVisible());
}

TEST_F(RealEpisodeWindowTest, MakesTheMovieWithItsChapters) {
    QFile::remove(tiny->stage(2));
    EpisodeWindow* shown = openReady();
    EpisodeForm* form = shown->form();
    for (PresetCard* card : form->presets()->cards())
        if (card->id() == "site") card->click();
    change([](auto& choices) {
        choices.hasCards = choices.hasVariations = false;
        choices.pageSeconds = 4;
    });
    const EpisodePlan plan = *model->episodeExport().plan();
    form->exportButton()->click();
    EXPECT_TRUE(comesTrue([&] { return !model->exports().isRunning(); }));
    ASSERT_TRUE(shown->finished()->isVisible());

    const auto read = testing::readMovie(movie.toStdString());
    ASSERT_EQ(read.error, "");
    ASSERT_EQ(read.pictures.size(), 270U);
    EXPECT_EQ(read.pictures[0].width, 1280);
    ASSERT_EQ(read.chapters.size(), 3U);
    EXPECT_EQ(read.chapters[0].title, "Rings");
    EXPECT_EQ(read.chapters[1].title, "1 · Flat");
    EXPECT_DOUBLE_EQ(read.chapters[2].start, 5);
    // The show fills the frame; a page has code on the dark ground at its left, and the picture at the right.
    const auto dark = episodeLook::colour(Role::editor);
    EXPECT_GT(read.pictures[10].at(40, 40).green, 100);
    const auto page = read.pictures[30 + 90].at(700, 20);
    EXPECT_NEAR(page.red, dark.red(), 6);
    EXPECT_GT(read.pictures[30 + 90].at(1200, 100).red, 180);

    const auto chapters = VideoChapters::fromJson(contents(folder.filePath("Rings.chapters.json")));
    ASSERT_TRUE(chapters) << chapters.error();
    EXPECT_EQ(*chapters, plan.chapters());
    shown->finished()->copyChapters()->click();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "0:00 Rings\n0:01 1 · Flat\n0:05 2 · Rings\n");
}

} // namespace
} // namespace glasshob
