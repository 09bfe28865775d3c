// The export of a window's model: its states, what is captured, cancelling at every stage, and every way to fail. Most
// of it with a maker of movies that the test leads; the real one at the end.

#include "GlassHob/model/EndRequests.h"
#include "GlassHob/model/ExportPace.h"
#include "GlassHob/model/StartStill.h"
#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHobRender/formats/ExportError.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>

#include <condition_variable>
#include <csignal>
#include <fstream>
#include <semaphore>

namespace glasshob {
namespace {

void put(const std::string& path, const std::string& bytes) {
    std::ofstream(path) << bytes;
}

// Until the person has cancelled.
void waitForStop(const std::stop_token& stop) {
    std::mutex lock;
    std::condition_variable_any end;
    std::unique_lock held(lock);
    end.wait(held, stop, [] { return false; });
}

class ExportJobTest : public AppModelTest {
  protected:
    void SetUp() override {
        movieMaker = [this](const ExportOrder& order, const ExportJob::Target& target) { make(order, target); };
        AppModelTest::SetUp();
        model->open(file("a.metal", shader("// @param s 1 0 2")));
        model->setExportChoices({.presetId = "site", .start = 1, .duration = 0.2});
        movie = folder.filePath("movie.mp4");
        questions.path = movie;
        QObject::connect(&model->exports(), &ExportJob::ended, [this] { ++ends; });
    }
    void TearDown() override {
        model.reset();
        EXPECT_EQ(QDir(folder.path()).entryList({".*.part"}, QDir::Files | QDir::Hidden), QStringList());
    }
    bool comesToAnEnd() {
        return comesTrue([this] { return !model->exports().isRunning(); });
    }
    template <typename State>
    bool is() const {
        return std::holds_alternative<State>(model->exportState());
    }

    ExportJob::Exporter make; // on the export's thread
    std::binary_semaphore go{0};
    QString movie;
    int ends = 0;
};

TEST_F(ExportJobTest, TakesWhatIsThereAtTheCommandAndPutsTheWholeFileInItsPlace) {
    file("movie.mp4", "old");
    ExportOrder got;
    make = [&](const ExportOrder& order, const ExportJob::Target& target) {
        got = order;
        put(target.path, "new");
        target.progress(0, 6);
        std::vector<std::uint32_t> pixels(1280 * 720, 0xff2040c0);
        target.show(reinterpret_cast<const std::byte*>(pixels.data()), 1280 * 4);
        go.acquire();
        target.progress(6, 6);
    };
    auto program = model->program();
    model->exports().chooseAndStart();
    EXPECT_EQ(questions.suggested, "a.mp4");
    EXPECT_EQ(model->exportState(), ExportState(ExportRunning{0, 6}));
    EXPECT_FALSE(model->exports().canStart()) << "one at a time";
    // Edited and compiled meanwhile.
    model->setValue("s", 2);
    model->textChanged(shader("// @param s 1 0 2", "float4(0.0)"));
    delay_->elapse();
    ASSERT_NE(model->program(), program);
    ASSERT_TRUE(comesTrue([&] { return !model->exports().picture().isNull(); }));
    EXPECT_EQ(model->exports().picture().size(), QSize(864, 486));
    EXPECT_EQ(model->exports().picture().pixelColor(400, 200), QColor(0x20, 0x40, 0xc0));
    EXPECT_EQ(contents(movie), "old");
    go.release();
    ASSERT_TRUE(comesToAnEnd());
    EXPECT_EQ(model->exportState(), ExportState(ExportFinished{movie}));
    EXPECT_EQ(contents(movie), "new");
    EXPECT_EQ(model->exports().bytes(), 3);
    ASSERT_EQ(got.segments.size(), 1U);
    const ExportSegment& segment = got.segments.front();
    EXPECT_EQ(segment.program, program);
    EXPECT_EQ(segment.values, (SliderValues{{"s", 1.0F}}));
    EXPECT_EQ(segment.start, 1);
    EXPECT_EQ(segment.duration, 0.2);
    EXPECT_TRUE(segment.watermark);
    EXPECT_EQ(got.preset, ExportPreset::site());
    EXPECT_EQ(got.format, ExportFormat::mp4);
    EXPECT_EQ(ends, 1);
    const std::weak_ptr<const ShaderProgram> old = program;
    program.reset();
    got.dropPrograms();
    EXPECT_TRUE(old.expired()) << "nor does it keep the program, and with it the device";
    model->exports().dismiss();
    EXPECT_TRUE(is<ExportIdle>());
    // The folder is where the next one is offered.
    EXPECT_EQ(QSettings().value("export/folder").toString(), folder.path());
}

TEST_F(ExportJobTest, TheNamesEndingSaysWhatIsWritten) {
    ExportOrder got;
    make = [&](const ExportOrder& order, const ExportJob::Target& target) {
        got = order;
        if (order.format != ExportFormat::pngs) put(target.path, "new");
    };
    // The preset has 60 frames a second, which a GIF cannot have.
    model->setExportChoices({.presetId = "web", .duration = 0.2});
    for (const auto& [name, format, fps] : {std::tuple{"a.gif", ExportFormat::gif, 50},
                                            {"a.WEBM", ExportFormat::webm, 60},
                                            {"a.mov", ExportFormat::mov, 60}}) {
        questions.path = folder.filePath(name);
        model->exports().chooseAndStart();
        ASSERT_TRUE(comesToAnEnd());
        EXPECT_EQ(model->exportState(), ExportState(ExportFinished{*questions.path}));
        EXPECT_EQ(got.format, format) << name;
        EXPECT_EQ(got.preset.fps, fps) << name;
        EXPECT_TRUE(QFile::exists(*questions.path));
    }
    // One that no format has is refused with those that are known; the next try asks for another name.
    questions.path = folder.filePath("a.avi");
    model->exports().chooseAndStart();
    const auto* failed = std::get_if<ExportFailed>(&model->exportState());
    ASSERT_NE(failed, nullptr);
    EXPECT_TRUE(failed->message.contains(".avi") && failed->message.contains(".webm")) << failed->message.toStdString();
    EXPECT_FALSE(QFile::exists(*questions.path));
    questions.path = movie;
    model->exports().tryAgain();
    ASSERT_TRUE(comesToAnEnd());
    EXPECT_EQ(model->exportState(), ExportState(ExportFinished{movie}));
    // What is offered follows the format that is chosen.
    for (const ExportFormatEntry& entry : ExportFormats::all()) {
        model->setExportChoices({.format = entry.format});
        EXPECT_EQ(model->exports().suggestedName(), "a" + QString::fromLatin1(entry.ending));
    }
    EXPECT_FALSE((model->setExportChoices({.format = ExportFormat::wav}), model->exports().canStart()))
        << "a shader without sound";
}

TEST_F(ExportJobTest, CompanionsStandBesideTheResultOrNothingDoes) {
    const ExportOrder order{.segments = {ExportSegment(model->program(), {}, 0, 0.1, false, true)},
                            .preset = ExportPreset::site(),
                            .path = movie,
                            .companions = {{".chapters.json", "{}\n"}, {"-chapters.txt", "0:00 Start\n"}}};
    const QString chapters = folder.filePath("movie.chapters.json"), text = folder.filePath("movie-chapters.txt");
    const auto run = [&](const ExportOrder& what) {
        model->exports().start(what);
        return comesToAnEnd();
    };
    file("movie.mp4", "old");
    file("movie.chapters.json", "old");
    const auto isAsBefore = [&] {
        return contents(movie) == "old" && contents(chapters) == "old" && !QFile::exists(text) &&
               QDir(folder.path()).entryList({".*.part"}, QDir::Files | QDir::Hidden).isEmpty();
    };
    bool isMade = false;
    make = [&](const ExportOrder&, const ExportJob::Target& target) {
        isMade = true;
        put(target.path, "half");
        throw ExportError::render(3);
    };
    ASSERT_TRUE(run(order));
    EXPECT_TRUE(is<ExportFailed>() && isMade && isAsBefore()) << "failed";
    make = [&](const ExportOrder&, const ExportJob::Target& target) {
        put(target.path, "whole");
        model->exports().cancelFlag()->set(true);
    };
    ASSERT_TRUE(run(order));
    EXPECT_TRUE(is<ExportIdle>() && isAsBefore()) << "cancelled after the last frame";

    // One that cannot be is found out before the first frame.
    QDir(folder.path()).mkdir("movie.folder");
    ExportOrder impossible = order;
    impossible.companions.push_back({".folder", "x"});
    isMade = false;
    make = [&](const ExportOrder&, const ExportJob::Target&) { isMade = true; };
    ASSERT_TRUE(run(impossible));
    const auto* failed = std::get_if<ExportFailed>(&model->exportState());
    ASSERT_NE(failed, nullptr);
    EXPECT_TRUE(failed->message.contains("movie.folder could not be written")) << failed->message.toStdString();
    EXPECT_TRUE(!isMade && isAsBefore());

    make = [](const ExportOrder&, const ExportJob::Target& target) { put(target.path, "new"); };
    ASSERT_TRUE(run(order));
    EXPECT_EQ(model->exportState(), ExportState(ExportFinished{movie}));
    EXPECT_EQ(contents(movie), "new");
    EXPECT_EQ(contents(chapters), "{}\n");
    EXPECT_EQ(contents(text), "0:00 Start\n");

    // Numbered pictures lie in a folder; what belongs to them stands beside it.
    make = [](const ExportOrder&, const ExportJob::Target& target) {
        QDir().mkdir(QString::fromStdString(target.path));
        put(target.path + "00000.png", "picture");
    };
    ExportOrder pictures = order;
    pictures.path = folder.filePath("frames.png");
    ASSERT_TRUE(run(pictures));
    EXPECT_TRUE(is<ExportFinished>());
    EXPECT_EQ(contents(folder.filePath("frames/00000.png")), "picture");
    EXPECT_EQ(contents(folder.filePath("frames.chapters.json")), "{}\n");
}

TEST_F(ExportJobTest, TenThousandReportsComeAsAFew) {
    int changes = 0;
    make = [&](const ExportOrder&, const ExportJob::Target& target) {
        put(target.path, "new");
        for (int i = 0; i <= 10000; ++i)
            target.progress(i, 10000);
        go.release();
    };
    model->exports().chooseAndStart();
    QObject::connect(model.get(), &AppModel::exportChanged, [&] { ++changes; });
    go.acquire();
    ASSERT_TRUE(comesToAnEnd());
    EXPECT_TRUE(is<ExportFinished>());
    EXPECT_LE(changes, 2) << "the newest, and the end";
}

TEST_F(ExportJobTest, CancelledAtAnyStageItLeavesTheOlderFileAndNothingElse) {
    const auto frames = [this](const ExportOrder&, const ExportJob::Target& target) {
        put(target.path, "half");
        go.acquire();
        if (!target.progress(3, 6)) throw ExportError::cancelled();
    };
    const std::pair<const char*, ExportJob::Exporter> stages[] = {
        {"while particles run up to the start",
         [](const ExportOrder&, const ExportJob::Target& target) {
             waitForStop(target.stop);
             throw ExportError::cancelled();
         }},
        {"between two frames", frames},
        {"after the last frame",
         [this](const ExportOrder&, const ExportJob::Target& target) {
             put(target.path, "whole");
             go.acquire();
         }},
        {"while it fails",
         [this](const ExportOrder&, const ExportJob::Target& target) {
             put(target.path, "half");
             go.acquire();
             throw ExportError::render(3);
         }},
    };
    file("movie.mp4", "old");
    for (const auto& [stage, maker] : stages) {
        SCOPED_TRACE(stage);
        make = maker;
        model->exports().chooseAndStart();
        ASSERT_TRUE(is<ExportRunning>());
        model->exports().cancel();
        EXPECT_TRUE(model->exports().isCancelling());
        go.release();
        ASSERT_TRUE(comesToAnEnd());
        EXPECT_TRUE(is<ExportIdle>());
        EXPECT_EQ(contents(movie), "old");
        (void)go.try_acquire();
    }
    // And a model that goes away.
    make = stages[0].second;
    model->exports().chooseAndStart();
    model.reset();
    EXPECT_EQ(contents(movie), "old");
}

TEST_F(ExportJobTest, AFailureKeepsItsWordsUntilItIsRead) {
    QDir(folder.path()).mkdir("folder.mp4");
    ASSERT_TRUE(QFile::link("/dev/null", folder.filePath("device.mp4")));
    ASSERT_TRUE(QFile::link(folder.filePath("a.metal"), folder.filePath("link.mp4")));
    const auto fails = [](const ExportOrder&, const ExportJob::Target& target) {
        put(target.path, "half");
        throw ExportError::writer("no space left on device");
    };
    const auto succeeds = [](const ExportOrder&, const ExportJob::Target& target) { put(target.path, "new"); };
    struct Case {
        QString path;
        ExportJob::Exporter maker;
        QString message;
    };
    const Case cases[] = {
        {movie, fails, "Writing the video failed: no space left on device"},
        {folder.filePath("folder.mp4"), succeeds,
         "%1 could not be written: it is a folder, so give the name of a file."},
        {folder.filePath("none/a.mp4"), succeeds,
         "%1 could not be written: its folder does not exist, so make the folder first or choose another."},
        {folder.filePath("device.mp4"), succeeds,
         "%1 could not be written: it is a device or a pipe, so give the name of a plain file."},
        {folder.filePath("link.mp4"), succeeds, "a.metal is the shader itself: choose another name for the video."},
    };
    for (const Case& c : cases) {
        questions.path = c.path;
        make = c.maker;
        model->exports().chooseAndStart();
        ASSERT_TRUE(comesToAnEnd());
        EXPECT_EQ(model->exportState(),
                  ExportState(ExportFailed{c.message.contains("%1") ? c.message.arg(c.path) : c.message}));
    }
    // Where the place is at fault, another one is asked for; one that is given up leaves things as they are.
    questions.path.reset();
    model->exports().tryAgain();
    EXPECT_TRUE(is<ExportFailed>());
    EXPECT_EQ(questions.suggested, "link.mp4");
    questions.path = movie;
    make = fails;
    model->exports().tryAgain();
    ASSERT_TRUE(comesToAnEnd());
    EXPECT_EQ(model->exportState(), ExportState(ExportFailed{"Writing the video failed: no space left on device"}));
    EXPECT_FALSE(QFileInfo::exists(movie));
    make = succeeds;
    questions.path.reset(); // not asked
    ASSERT_TRUE(model->exports().canTryAgain());
    model->exports().tryAgain();
    EXPECT_TRUE(is<ExportRunning>());
    ASSERT_TRUE(comesToAnEnd());
    EXPECT_EQ(contents(movie), "new");
}

TEST_F(ExportJobTest, NothingStartsWithoutAProgramAnAnswerOrARun) {
    make = [](const ExportOrder&, const ExportJob::Target&) { ADD_FAILURE() << "nothing was to be made"; };
    questions.path.reset();
    bool answered = false;
    model->exports().chooseAndStart([&] { answered = true; });
    EXPECT_TRUE(answered);
    EXPECT_TRUE(is<ExportIdle>());
    questions.path = movie;
    model->openDownloaded(*model->filePath(), QUrl("https://glasshob.example/s"));
    EXPECT_FALSE(model->exports().canStart());
    model->exports().chooseAndStart();
    EXPECT_TRUE(is<ExportIdle>());
    model->run();
    EXPECT_TRUE(model->exports().canStart());
}

TEST_F(ExportJobTest, AProcessThatEndsInAHurryTakesTheHalfFileAlong) {
    std::string partial;
    std::binary_semaphore written{0};
    make = [&](const ExportOrder&, const ExportJob::Target& target) {
        put(target.path, "half");
        partial = target.path;
        written.release();
        waitForStop(target.stop);
        throw ExportError::cancelled();
    };
    model->exports().chooseAndStart();
    written.acquire();
    EXPECT_TRUE(model->deviceIsBusy());
    model->reportSlowFrame(3);
    EXPECT_TRUE(model->deviceTrouble().startsWith("The picture waits while a frame of the video is drawn."));
    model->reportSlowFrame(0);
    EXPECT_TRUE(QFileInfo::exists(QString::fromStdString(partial)));
    model->close();
    EXPECT_FALSE(QFileInfo::exists(QString::fromStdString(partial)));
}

TEST_F(ExportJobTest, ARequestOfTheSystemToEndIsHeardInTheMainThread) {
    QList<int> heard;
    {
        const EndRequests requests;
        QObject::connect(&requests, &EndRequests::requested, [&](int signal) { heard << signal; });
        ASSERT_EQ(raise(SIGTERM), 0);
        EXPECT_EQ(heard, QList<int>()) << "not in the handler";
        ASSERT_EQ(raise(SIGHUP), 0);
        ASSERT_TRUE(comesTrue([&] { return heard.size() == 2; }));
    }
    EXPECT_EQ(heard, (QList<int>{SIGTERM, SIGHUP}));
}

// ---- With the video exporter ------------------------------------------------------------------------------------

using RealExportTest = AppModelTest;

TEST_F(RealExportTest, ALostDeviceEndsTheExportAndTheNextTryIsMadeWithTheNewOne) {
    model->open(file("a.metal", shader("")));
    model->setExportChoices({.presetId = "site", .duration = 0.1});
    questions.path = folder.filePath("movie.mp4");
    model->device()->injectLoss();
    model->exports().chooseAndStart();
    ASSERT_TRUE(comesTrue([&] { return !model->exports().isRunning(); }));
    const auto* failed = std::get_if<ExportFailed>(&model->exportState());
    ASSERT_NE(failed, nullptr);
    EXPECT_TRUE(failed->message.startsWith("Export could not start: ") ||
                failed->message == "The GPU failed while drawing frame 0.")
        << failed->message.toStdString();
    EXPECT_TRUE(model->deviceTrouble().startsWith("The graphics device was lost"));
    EXPECT_FALSE(model->exports().canTryAgain()) << "there is no program to try it with";
    EXPECT_FALSE(QFileInfo::exists(*questions.path));
    model->compileNow();
    ASSERT_TRUE(model->exports().canTryAgain());
    model->exports().tryAgain();
    ASSERT_TRUE(comesTrue([&] { return !model->exports().isRunning(); }));
    EXPECT_EQ(model->exportState(), ExportState(ExportFinished{*questions.path}));
    EXPECT_GT(model->exports().bytes(), 1000);
}

TEST_F(RealExportTest, PicturesSoundAndOwnSizesAreReallyWritten) {
    const auto exportTo = [&](const QString& name) {
        questions.path = folder.filePath(name);
        model->exports().chooseAndStart();
        EXPECT_TRUE(comesTrue([&] { return !model->exports().isRunning(); }));
    };
    model->open(file("b.metal", shader("", "float4(uv, 0.5, 1.0)") +
                                    "float2 sound(float t, constant Params& p) { return float2(sin(t * 440.0)); }\n"));
    const ExportChoices choices{.presetId = ExportChoices::ownId,
                                .duration = 0.25,
                                .watermark = false,
                                .format = ExportFormat::pngs,
                                .ownWidth = 90,
                                .ownHeight = 160,
                                .ownFps = 8};
    model->setExportChoices(choices);
    exportTo("b.png");
    EXPECT_EQ(model->exportState(), ExportState(ExportFinished{folder.filePath("b/")}));
    EXPECT_EQ(QDir(folder.filePath("b")).entryList(QDir::Files), (QStringList{"00000.png", "00001.png"}));
    EXPECT_EQ(QImage(folder.filePath("b/00001.png")).size(), QSize(90, 160));
    // Once more: the folder is not to be mixed up with another's files.
    exportTo("b.png");
    EXPECT_TRUE(std::holds_alternative<ExportFailed>(model->exportState()));
    exportTo("b.wav");
    EXPECT_EQ(model->exportState(), ExportState(ExportFinished{*questions.path}));
    EXPECT_EQ(QFileInfo(*questions.path).size(), 44 + 48000 / 4 * 4);
}

TEST_F(RealExportTest, TheStillOfTheStartFollowsWhatShowsInIt) {
    auto delay = std::make_unique<ManualDelay>();
    ManualDelay& wait = *delay;
    StartStill still(*model, std::move(delay));
    int changes = 0;
    QObject::connect(&still, &StartStill::changed, [&] { ++changes; });
    model->open(file("a.metal", shader("// @param s 0.2 0 1", "float4(u.time / 10.0, p.s, 0.0, 1.0)")));
    EXPECT_FALSE(wait.isWaiting()) << "nobody looks at it";
    model->setExportChoices({.start = 5, .watermark = false});
    still.setWanted(true);
    ASSERT_TRUE(comesTrue([&] { return changes == 1; }));
    const QPoint mark(1210, 640);
    EXPECT_EQ(still.image().size(), QSize(1280, 720));
    EXPECT_EQ(still.image().pixelColor(mark), QColor(128, 51, 0));

    model->setExportChoices({.start = 5, .duration = 3, .watermark = false});
    EXPECT_FALSE(wait.isWaiting()) << "the duration does not show";
    model->setExportChoices({.start = 5, .watermark = true});
    EXPECT_EQ(wait.seconds_, 0.3);
    model->setValue("s", 0.4F);
    wait.elapse();
    ASSERT_TRUE(comesTrue([&] { return changes == 2; }));
    EXPECT_EQ(still.image().pixelColor(300, 300), QColor(128, 102, 0));
    EXPECT_NE(still.image().pixelColor(mark), QColor(128, 102, 0));
    // Overtaken while it is drawn.
    model->setValue("s", 0.6F);
    wait.elapse();
    model->setValue("s", 0.8F);
    wait.elapse();
    ASSERT_TRUE(comesTrue([&] { return still.image().pixelColor(300, 300) == QColor(128, 204, 0); }));
    still.setWanted(false);
    const std::weak_ptr<const ShaderProgram> old = model->program();
    model->textChanged(shader(""));
    delay_->elapse();
    EXPECT_FALSE(wait.isWaiting());
    EXPECT_TRUE(old.expired());
}

// ---- The time that is left --------------------------------------------------------------------------------------

TEST(ExportPace, IsTheMeanOfTheLastThreeSeconds) {
    ExportPace pace(0);
    EXPECT_EQ(pace.secondsLeft(10, 100), std::nullopt);
    pace.report(0, 0);
    // A minute before the first frame, then ten frames a second.
    for (int i = 1; i <= 20; ++i)
        pace.report(60 + i * 0.1, i);
    EXPECT_NEAR(pace.secondsLeft(62, 120).value_or(0), 10, 0.01);
    // Then five a second: after three seconds nothing else counts.
    for (int i = 1; i <= 16; ++i)
        pace.report(62 + i * 0.2, 20 + i);
    EXPECT_NEAR(pace.secondsLeft(65.2, 136).value_or(0), 20, 0.3);
    // A frame that does not come stretches what is left.
    EXPECT_GT(pace.secondsLeft(75, 136).value_or(0), 40);

    ExportPace fast(0);
    for (int i = 0; i <= 100; ++i)
        fast.report(i * 0.01, i);
    EXPECT_EQ(fast.secondsLeft(1, 1000), std::nullopt) << "too early to tell";
    for (int i = 101; i <= 250; ++i)
        fast.report(i * 0.01, i);
    EXPECT_NEAR(fast.secondsLeft(2.5, 1250).value_or(0), 10, 0.1);
    EXPECT_EQ(fast.secondsLeft(2.5, 250), 0.0);
}

} // namespace
} // namespace glasshob
