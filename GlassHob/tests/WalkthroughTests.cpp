// The window that pages through the walkthrough of the open episode.

#include "GlassHob/model/EpisodeExport.h"
#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHob/tests/TinyEpisode.h"
#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Segments.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/walkthrough/PageView.h"
#include "GlassHob/ui/walkthrough/WalkthroughList.h"
#include "GlassHob/ui/walkthrough/WalkthroughTexts.h"
#include "GlassHob/ui/walkthrough/WalkthroughWindow.h"

#include <QAction>
#include <QSignalSpy>
#include <QTest>

namespace glasshob {
namespace {

class WalkthroughTest : public AppModelTest {
  protected:
    static void SetUpTestSuite() { Theme::instance().install(); }

    void SetUp() override {
        AppModelTest::SetUp();
        tiny.emplace(folder.path());
    }
    void TearDown() override {
        delete window.data();
        model.reset();
    }
    // With the picture of its page.
    void openWindow() {
        window = new WalkthroughWindow(*model, nullptr);
        window->show();
        window->activateWindow();
        QObject::connect(window, &WalkthroughWindow::pictureShown, window, [this] { ++pictures; });
    }
    bool comesPicture(const std::function<bool(const QImage&)>& isIt) {
        return comesTrue([&] { return !window->page()->image().isNull() && isIt(window->page()->image()); });
    }
    // How red the shader's picture is near its right edge, half way down.
    static int redness(const QImage& page) { return page.pixelColor(page.width() * 99 / 100, page.height() / 5).red(); }
    static bool isCode(const QColor& pixel) { return std::abs(pixel.red() - 0x11) < 3 && pixel.green() < 0x14; }
    QString linesOf(PagePlace place) const { return window->list()->linesOf(place); }

    std::optional<TinyEpisode> tiny;
    QPointer<WalkthroughWindow> window;
    int pictures = 0;
};

TEST_F(WalkthroughTest, TurnsThePagesOfTheFilm) {
    model->open(tiny->source());
    openWindow();
    EXPECT_EQ(window->windowTitle(), "Walkthrough of Rings");
    EXPECT_EQ(window->place(), (PagePlace{0, 0}));
    // The first stage is reddest at the right; the page's code stands beside it.
    EXPECT_TRUE(comesPicture([](const QImage& page) { return redness(page) > 240; }));
    EXPECT_TRUE(isCode(window->page()->image().pixelColor(4, 4)));
    EXPECT_EQ(window->page()->accessibleName(), "Page 1 of stage 1, Flat");
    EXPECT_TRUE(window->page()->accessibleDescription().startsWith("What Flat is about.\nadded float4 shade("))
        << window->page()->accessibleDescription().toStdString();
    EXPECT_EQ(window->messages(), QStringList{"Everything fits"});
    EXPECT_TRUE(comesTrue([&] { return !window->list()->pictureOf({2, 0}).isNull(); }));

    const auto key = [&](Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(window, key, modifiers);
        return window->place().stage;
    };
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    EXPECT_EQ(key(Qt::Key_Left), 0U);
    EXPECT_EQ(key(Qt::Key_Right), 1U);
    EXPECT_EQ(window->page()->accessibleName(), "Page 1 of stage 2, Round");
    EXPECT_EQ(key(Qt::Key_PageDown), 2U);
    EXPECT_EQ(key(Qt::Key_Right), 2U);
    EXPECT_EQ(key(Qt::Key_PageUp), 1U);
    EXPECT_EQ(key(Qt::Key_Home), 0U);
    EXPECT_EQ(key(Qt::Key_Down, Qt::ControlModifier), 1U);
    EXPECT_EQ(key(Qt::Key_Up, Qt::ControlModifier), 0U);
    EXPECT_EQ(key(Qt::Key_End), 2U);
    EXPECT_TRUE(comesPicture([](const QImage& page) { return redness(page) < 240; })) << "of the finished shader";

    // The arrows step through the list and among the sizes when the keyboard is there.
    window->list()->setFocus();
    QTest::keyClick(window->list(), Qt::Key_Up);
    EXPECT_EQ(window->place(), (PagePlace{1, 0}));
    window->size()->setFocus();
    QTest::keyClick(window->size(), Qt::Key_Right);
    EXPECT_EQ(window->place(), (PagePlace{1, 0}));
    EXPECT_EQ(window->page()->pageRect().size(), QSize(512, 288));
    window->page()->setFocus();
    QTest::keyClick(window->page(), Qt::Key_P);
    EXPECT_EQ(window->size()->current(), 0);

    // A click on a cell, a little beside its paint.
    auto* last = window->cells()->findChildren<QAbstractButton*>().last();
    EXPECT_EQ(last->accessibleName(), "Stage 3, page 1");
    EXPECT_EQ(last->accessibleDescription(), "");
    QTest::mouseClick(last, Qt::LeftButton, {}, QPoint(8, 2));
    EXPECT_EQ(window->place(), (PagePlace{2, 0}));
    EXPECT_EQ(last->accessibleDescription(), "current");

    EXPECT_FALSE(window->exportButton()->isVisible());
    QAction exportEpisode;
    QSignalSpy wanted(&exportEpisode, &QAction::triggered);
    window->exportBy(&exportEpisode);
    key(Qt::Key_Return);
    EXPECT_EQ(wanted.count(), 1);
    exportEpisode.setEnabled(false);
    key(Qt::Key_Return);
    EXPECT_EQ(wanted.count(), 1);
    EXPECT_FALSE(window->exportButton()->isEnabled());
    key(Qt::Key_Escape);
    EXPECT_TRUE(comesTrue([&] { return window.isNull(); }));
}

TEST_F(WalkthroughTest, FollowsTheFilesAndStaysOnItsPage) {
    model->open(tiny->source());
    openWindow();
    window->turnTo({1, 0});
    ASSERT_TRUE(comesPicture([](const QImage& page) { return redness(page) > 200; }));
    const QString before = linesOf({1, 0});

    writeText(tiny->stage(2), TinyEpisode::stageText("Dark", "float d = 0.0;\n    d = d * 1.0;\n    d = min(d, 1.0);"));
    EXPECT_TRUE(comesPicture([](const QImage& page) { return redness(page) < 30; }));
    EXPECT_EQ(window->place(), (PagePlace{1, 0}));
    EXPECT_NE(linesOf({1, 0}), before);
    EXPECT_EQ(window->page()->accessibleName(), "Page 1 of stage 2, Dark");

    // One that does not compile has its code, and why there is no picture.
    writeText(tiny->stage(2), TinyEpisode::stageText("Wrong", "float d = lenght(uv);"));
    ASSERT_TRUE(comesTrue([&] { return window->messages().value(0).startsWith("Stage 2, "); }));
    EXPECT_TRUE(window->messages()[0].startsWith("Stage 2, 02-stage.metal, does not compile: line 6: "))
        << window->messages()[0].toStdString();
    EXPECT_EQ(window->place(), (PagePlace{1, 0}));
    EXPECT_TRUE(comesPicture([&](const QImage& page) {
        return page.pixelColor(page.width() * 99 / 100, page.height() / 5) == QColor(0x09, 0x07, 0x08);
    }));
    EXPECT_TRUE(isCode(window->page()->image().pixelColor(4, 4)));

    // One without new code.
    writeText(tiny->stage(2), TinyEpisode::stageText("Same", "float d = uv.x;"));
    const QString same = "Stage 2 has no code to show: it is the same as stage 1.";
    EXPECT_TRUE(comesTrue([&] { return window->messages().value(0) == same; }));

    // Mended, and what is being typed into the finished shader shows as well.
    writeText(tiny->stage(2), TinyEpisode::stageText("Round", "float d = length(uv);"));
    EXPECT_TRUE(comesTrue([&] { return window->messages() == QStringList{"Everything fits"}; }));
    EXPECT_EQ(window->place(), (PagePlace{1, 0}));
    window->turnTo({2, 0});
    model->textChanged(TinyEpisode::sourceText("float d = 1.0;"));
    EXPECT_TRUE(comesPicture([](const QImage& page) { return redness(page) == 255; }));
    EXPECT_EQ(window->place(), (PagePlace{2, 0}));

    // A stage fewer: the page that is nearest.
    QFile::remove(tiny->stage(2));
    EXPECT_TRUE(comesTrue([&] { return window->list()->stageCount() == 2; }));
    EXPECT_EQ(window->place(), (PagePlace{1, 0}));
}

TEST_F(WalkthroughTest, PlaysToTheEndAtThePaceOfItsPages) {
    model->open(tiny->source());
    openWindow();
    double now = 100;
    window->now = [&] { return now; };
    EpisodeExportChoices choices = model->episodeExport().choices();
    choices.pageSeconds = 8;
    model->episodeExport().setChoices(choices);
    ASSERT_TRUE(comesTrue([&] { return pictures > 0; }));
    const int still = pictures;
    QTest::keyClick(window->page(), Qt::Key_Space);
    EXPECT_TRUE(window->isPlaying());
    EXPECT_EQ(window->playButton()->toolIcon(), Icon::pause);
    EXPECT_TRUE(comesTrue([&] { return pictures > still; }));
    now += 7.9;
    const int late = pictures;
    EXPECT_TRUE(comesTrue([&] { return pictures > late + 1; }));
    EXPECT_EQ(window->place(), (PagePlace{0, 0}));
    now += 0.2;
    EXPECT_TRUE(comesTrue([&] { return window->place() == PagePlace{1, 0}; }));
    now += 8;
    EXPECT_TRUE(comesTrue([&] { return window->place() == PagePlace{2, 0}; }));
    now += 7.8;
    const int last = pictures;
    EXPECT_TRUE(comesTrue([&] { return pictures > last + 1; }));
    EXPECT_TRUE(window->isPlaying());
    now += 0.2;
    EXPECT_TRUE(comesTrue([&] { return !window->isPlaying(); }));
    EXPECT_EQ(window->place(), (PagePlace{2, 0}));
    EXPECT_GT(pictures, still);
    // From the beginning, after the end.
    window->setPlaying(true);
    EXPECT_EQ(window->place(), (PagePlace{0, 0}));
    window->turnTo({1, 0});
    EXPECT_TRUE(window->isPlaying());
    window->setPlaying(false);
    // With nothing to play.
    model->loadSample();
    EXPECT_TRUE(comesTrue([&] { return window->list()->stageCount() == 0; }));
    window->setPlaying(true);
    EXPECT_FALSE(window->isPlaying());
}

TEST_F(WalkthroughTest, SaysWhyThereAreNoPages) {
    model->loadSample();
    openWindow();
    EXPECT_TRUE(window->messages().value(0).startsWith("This shader is not an episode. "));
    model->setText(TinyEpisode::sourceText());
    EXPECT_TRUE(comesTrue([&] {
        return window->messages() == QStringList{"Save the shader first: the stages are looked for beside its file."};
    }));
    model->open(file("rings.metal", TinyEpisode::sourceText()));
    EXPECT_TRUE(comesTrue([&] { return window->messages().value(0).startsWith("No stages found. "); }));
    writeText(tiny->folder + "/stages/3-link.metal", "\xff");
    model->open(tiny->source());
    EXPECT_TRUE(comesTrue([&] { return window->messages().value(0).contains("stages/3-link.metal"); }))
        << window->messages().join('\n').toStdString();
    QFile::remove(tiny->folder + "/stages/3-link.metal");
    EXPECT_TRUE(comesTrue([&] { return window->list()->stageCount() == 3; }));
}

TEST(WalkthroughTexts, TellWhatDoesNotFit) {
    using namespace walkthroughTexts;
    EXPECT_EQ(warnings({.lines = 13}), QStringList());
    EXPECT_EQ(warnings({.columns = 62, .wrappedLines = 1}),
              QStringList{"1 line is wrapped: more than 62 columns at this size"});
    EXPECT_EQ(warnings({.columns = 62, .wrappedLines = 2, .cutLines = 1, .isCaptionCut = true, .captionLines = 8}),
              (QStringList{"1 line is cut at the end", "The caption is cut: it fits 8 lines here",
                           "2 lines are wrapped: more than 62 columns at this size"}));
    EXPECT_EQ(facts({.lines = 13, .codeSize = 29}, true), "13 lines · code size 29 · caption fits");
    EXPECT_EQ(facts({.lines = 1, .codeSize = 44}, false), "1 line · code size 44 · no caption");
    WalkthroughStage stage{.number = 1, .title = "A", .summary = "About it.", .pages = {{}, {}}};
    stage.pages[0].lines = {{"  a;", WalkthroughLine::Kind::context},
                            {"  b;", WalkthroughLine::Kind::added},
                            {"⋯", WalkthroughLine::Kind::gap},
                            {"", WalkthroughLine::Kind::blank}};
    EXPECT_EQ(spoken(stage, stage.pages[0]), "About it.\na;\nadded b;\nlines left out");
    EXPECT_EQ(place({stage, stage}, 1, 0), "Stage 2 of 2, page 1 of 2");
    EXPECT_EQ(summary({stage, stage, stage}, 10), "3 stages, 6 pages, 1:00 at 10 seconds a page");
    EXPECT_EQ(summary({stage}, 4.5), "1 stage, 2 pages, 0:09 at 4.5 seconds a page");
}

} // namespace
} // namespace glasshob
