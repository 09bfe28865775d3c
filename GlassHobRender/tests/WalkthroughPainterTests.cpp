#include "GlassHobRender/episode/CardPainter.h"
#include "GlassHobRender/episode/CodeColumn.h"
#include "GlassHobRender/episode/ProgressCells.h"
#include "GlassHobRender/episode/WalkthroughPainter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

using namespace glasshob;

using Kind = WalkthroughLine::Kind;
using episodeLook::Picture;

namespace {

const std::vector<EpisodeFrame> frameSizes = {{1280, 720}, {1920, 1080}, {3840, 2160}};

std::string many(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

// Texts of every length and script, as title, caption and code alike.
std::vector<WalkthroughStage> stages() {
    std::vector<WalkthroughStage> made;
    const std::vector<std::string> texts = {"x",
                                            "float2 t = 2.0 * fract(x) - 1.0;",
                                            many("Many words that go on. ", 120),
                                            many("Unbroken", 400),
                                            many("光る波。", 500),
                                            many("مرحبا بالعالم ", 200),
                                            many("🔥🌊", 20)};
    for (const std::string& text : texts) {
        WalkthroughStage& stage = made.emplace_back();
        stage.number = std::int64_t(made.size()) * 40;
        stage.title = stage.summary = text;
        stage.pages.push_back({{{text, Kind::added}, {text, Kind::context}, {"⋯", Kind::gap}}, text});
        stage.pages.push_back({std::vector(16, WalkthroughLine{text, Kind::added}), ""});
    }
    return made;
}

// Whether every pixel of a box (in units) has this colour.
testing::AssertionResult isFlat(const QImage& image, const QRectF& units, const QColor& colour) {
    const QRect box = EpisodeFrame{image.width(), image.height()}.pixels(units);
    const QRgb wanted = colour.rgba();
    for (int y = box.top(); y <= box.bottom(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        const auto* end = line + box.right() + 1;
        const auto* other = std::find_if_not(line + box.left(), end, [&](QRgb pixel) { return pixel == wanted; });
        if (other != end) {
            return testing::AssertionFailure() << "at " << other - line << ", " << y << " of " << image.width() << ": "
                                               << image.pixelColor(int(other - line), y).name().toStdString();
        }
    }
    return testing::AssertionSuccess();
}

QColor at(const QImage& image, double x, double y) {
    const double scale = image.height() / 1080.0;
    return image.pixelColor(int(x * scale), int(y * scale));
}

const QColor clear(0, 0, 0, 0);

} // namespace

TEST(WalkthroughPainter, MarksAddedRowsAndNothingElse) {
    WalkthroughStage stage;
    stage.title = "Soft edges";
    stage.pages.push_back({{{"a;", Kind::context},
                            {"b;", Kind::added},
                            {"c;", Kind::added},
                            {"⋯", Kind::gap},
                            {"d;", Kind::context},
                            {"", Kind::blank},
                            {"float e = function(argument, another) + 0.5;", Kind::added}},
                           "Why."});
    const WalkthroughLine::Kind kinds[] = {Kind::context, Kind::added, Kind::added, Kind::gap,
                                           Kind::context, Kind::blank, Kind::added};
    for (const EpisodeFrame& frame : frameSizes) {
        const WalkthroughPainter painter(frame, {stage});
        const QImage image = painter.page(0, 0);
        const CodeRows rows = codeRows(stage.pages[0].lines, codeColumn::textWidth(frame));
        ASSERT_EQ(rows.rows.size(), std::size(kinds));
        ASSERT_EQ(rows.size, 40);
        const double top = codeColumn::top(rows);
        EXPECT_LE(std::abs(top + rows.height() / 2 - 540), 1.5);
        for (std::size_t i = 0; i < std::size(kinds); ++i) {
            const double y = top + double(i) * rows.rowHeight;
            const bool isAdded = kinds[i] == Kind::added;
            const QColor behind =
                isAdded ? episodeLook::colour(episodeLook::VideoRole::addedTint) : episodeLook::colour(Role::editor);
            EXPECT_TRUE(
                isFlat(image, {0, y, 6, double(rows.rowHeight)}, isAdded ? episodeLook::colour(Role::accent) : behind))
                << "row " << i;
            EXPECT_TRUE(isFlat(image, {6, y, 36, double(rows.rowHeight)}, behind)) << "row " << i;
            EXPECT_TRUE(isFlat(image, {1140, y, 12, double(rows.rowHeight)}, behind)) << "row " << i;
        }
        EXPECT_TRUE(isFlat(image, {0, 0, 1152, top}, episodeLook::colour(Role::editor)));
    }
}

TEST(WalkthroughPainter, NothingRunsOutOfItsPlace) {
    const auto all = stages();
    const QColor editor = episodeLook::colour(Role::editor), panel = episodeLook::colour(Role::panel);
    for (const EpisodeFrame& frame : frameSizes) {
        const WalkthroughPainter painter(frame, all);
        for (std::size_t stage = 0; stage < all.size(); ++stage) {
            SCOPED_TRACE(stage);
            for (std::size_t page = 0; page < 2; ++page) {
                const QImage image = painter.page(stage, page);
                ASSERT_EQ(image.size(), QSize(frame.width, frame.height));
                EXPECT_TRUE(isFlat(image, {1152, 0, 768, 432}, clear));
                EXPECT_TRUE(isFlat(image, {0, 0, 1152, 54}, editor));
                EXPECT_TRUE(isFlat(image, {0, 1026, 1152, 54}, editor));
                // Margins round the words, and the place of the mark.
                EXPECT_TRUE(isFlat(image, {1152, 432, 48, 648}, panel));
                EXPECT_TRUE(isFlat(image, {1872, 432, 48, 648}, panel));
                EXPECT_TRUE(isFlat(image, {1152, 936, 768, 54}, panel));
                EXPECT_TRUE(isFlat(image, {1764, 936, 156, 144}, panel));
                for (int y = 0; y < 1080; y += 3) {
                    const QColor edge = at(image, 1149, y);
                    EXPECT_TRUE(edge == editor || edge == episodeLook::colour(episodeLook::VideoRole::addedTint)) << y;
                }
            }
            const QImage moment = painter.titleMoment(stage);
            EXPECT_TRUE(isFlat(moment, {1152, 0, 768, 432}, clear));
            EXPECT_TRUE(isFlat(moment, {1140, 0, 12, 1080}, editor));
            EXPECT_TRUE(isFlat(moment, {1872, 432, 48, 648}, panel));
            EXPECT_TRUE(isFlat(moment, {1152, 936, 768, 54}, panel));
        }
    }
}

TEST(WalkthroughPainter, PaintsTheSameBytesOnEveryThread) {
    const auto all = stages();
    const WalkthroughPainter painter(frameSizes[0], all);
    for (std::size_t stage = 0; stage < all.size(); ++stage) {
        const QImage first = painter.page(stage, 0, 0.55), moment = painter.titleMoment(stage);
        QImage second;
        std::thread([&] { second = WalkthroughPainter(frameSizes[0], stages()).page(stage, 0, 0.55); }).join();
        EXPECT_EQ(first, second);
        EXPECT_EQ(painter.titleMoment(stage), moment);
    }
}

TEST(WalkthroughPainter, OnlyTextFades) {
    const WalkthroughPainter painter(frameSizes[1], stages());
    const QImage none = painter.page(1, 0, 0), half = painter.page(1, 0, 0.5), full = painter.page(1, 0);
    EXPECT_TRUE(isFlat(none, {0, 0, 1152, 1080}, episodeLook::colour(Role::editor)));
    const QRect title = frameSizes[1].pixels({1200, 480, 660, 111}),
                progress = frameSizes[1].pixels({1200, 990, 560, 20});
    for (const QRect& steady : {title, progress}) {
        EXPECT_EQ(none.copy(steady), full.copy(steady));
        EXPECT_EQ(half.copy(steady), full.copy(steady));
    }
    const auto red = [&](const QImage& image) { return at(image, 3, 480).red(); };
    EXPECT_NEAR(red(half), (red(none) + red(full)) / 2.0, 1);
}

TEST(WalkthroughPainter, TellsHowAPageFits) {
    const WalkthroughPainter painter(frameSizes[1], stages());
    EXPECT_EQ(painter.fit(0, 0).codeSize, 44);
    EXPECT_FALSE(painter.fit(0, 0).isCaptionCut);
    const PageFit much = painter.fit(2, 1);
    EXPECT_EQ(much.lines, 16);
    EXPECT_EQ(much.codeSize, 26);
    EXPECT_EQ(much.columns, 70);
    EXPECT_GT(much.cutLines, 0);
    EXPECT_TRUE(much.isCaptionCut);
    EXPECT_GT(much.captionLines, 3);
}

TEST(ProgressCells, HaveRoomForAnyNumberOfPages) {
    const QRectF box(1212, 996, 528, 6);
    for (const std::size_t count : {1U, 2U, 5U, 20U, 40U, 100U, 500U}) {
        for (const std::size_t pages : {1U, 3U, 30U}) {
            std::vector<WalkthroughStage> all(count);
            for (WalkthroughStage& stage : all)
                stage.pages.resize(pages);
            const auto cells = progressCells(box, all, count / 2, pages - 1);
            ASSERT_FALSE(cells.empty());
            double right = box.left();
            int current = 0;
            for (const ProgressCell& cell : cells) {
                EXPECT_GE(cell.box.left(), right - 1e-6);
                EXPECT_GE(cell.box.width(), 8.9) << count << " stages of " << pages;
                right = cell.box.right();
                current += cell.state == ProgressCell::State::current ? 1 : 0;
            }
            EXPECT_LE(right, box.right() + 1e-6);
            EXPECT_EQ(current, 1);
        }
    }
}

TEST(CardPainter, ShowsThePictureThroughTheArch) {
    EpisodeMeta meta;
    meta.number = 7;
    for (const std::string& text :
         {std::string("Flowing Colour"), std::string(), many("光る波。", 300), many("Words ", 300)}) {
        meta.title = meta.teaches = meta.finalSummary = text;
        for (const EpisodeFrame& frame : frameSizes) {
            for (const Card card : {Card::opening, Card::end}) {
                const QImage image = paintCard(frame, meta, card);
                const double left = card == Card::opening ? 990 : 174;
                EXPECT_TRUE(isFlat(image, {left + 3, 540, 714, 540}, clear));
                EXPECT_EQ(at(image, left + 360, 200), clear);
                const QColor canvas = episodeLook::colour(Role::canvas),
                             wall = episodeLook::colour(episodeLook::VideoRole::archWall);
                EXPECT_EQ(at(image, left + 3, 183), canvas);
                EXPECT_TRUE(isFlat(image, {left - 33, 600, 30, 480}, wall));
                EXPECT_TRUE(isFlat(image, {left + 723, 600, 30, 480}, wall));
                // Round the words.
                EXPECT_TRUE(isFlat(image, {0, 0, 90, 1080}, canvas));
                EXPECT_TRUE(isFlat(image, {1860, 0, 60, 1080}, canvas));
                EXPECT_TRUE(isFlat(image, {0, 0, 1920, 90}, canvas));
                EXPECT_TRUE(isFlat(image, {1764, 936, 156, 144}, canvas));
                EXPECT_EQ(image, paintCard(frame, meta, card));
            }
        }
    }
}

TEST(CardPainter, LabelOfAVariationEndsBeforeTheMark) {
    const std::string longName(200, 'n');
    const std::vector<ParamDecl> params = {{"flow", 0.5F, 0, 2, ""}, {longName, 0, -1000000, 1000000, ""}};
    Variation variation;
    variation.values = {{"flow", 0.94F}, {longName, -123456.78F}};
    variation.highlights = "flow 0.94, " + longName + " -123456.78";
    const VariationLabel label = variationLabel(variation, params, 3, 6);
    ASSERT_EQ(label.sliders.size(), 2U);
    EXPECT_EQ(label.sliders[0].value, "0.94");
    EXPECT_NEAR(label.sliders[0].at, 0.47, 1e-6);
    EXPECT_NEAR(label.sliders[0].defaultAt, 0.25, 1e-6);
    for (const EpisodeFrame& frame : frameSizes) {
        const QImage image = paintVariationLabel(frame, label);
        EXPECT_TRUE(isFlat(image, {0, 0, 1920, 873}, clear));
        EXPECT_TRUE(isFlat(image, {1719, 0, 201, 1080}, clear));
        EXPECT_TRUE(isFlat(image, {0, 0, 57, 1080}, clear));
        EXPECT_EQ(at(image, 80, 900), episodeLook::colour(Role::panel));
        EXPECT_TRUE(isFlat(paintVariationLabel(frame, label, 0), {0, 0, 1920, 1080}, clear));
    }
    variation.highlights.clear();
    const VariationLabel plain = variationLabel(variation, params, 1, 1000000);
    EXPECT_TRUE(plain.sliders.empty());
    EXPECT_TRUE(isFlat(paintVariationLabel(frameSizes[0], plain), {1719, 0, 201, 1080}, clear));
}
