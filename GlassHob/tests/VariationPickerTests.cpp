// What there is to pick from and what is picked, over a model with documents that come and go; the pictures are drawn.

#include "GlassHob/model/VariationPicker.h"

#include "GlassHob/model/BesideWork.h"
#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHobRender/episode/EpisodePlan.h"

#include <cmath>

namespace glasshob {
namespace {

using State = VariationPicker::State;
using List = std::vector<std::int64_t>;

const std::string head = "// @episode 7 Rings\n// @variation 1\n";
const std::string sliders = "// @param warm 0.5 0.0 1.0\n// @param volume 0.25 0.0 1.0\n";
// The slider's value, the time and the loudness can be read from the picture.
const std::string picture = "float4(p.warm, fract(u.time), p.volume, 1.0)";

std::string episode(const std::string& header = head, const std::string& params = sliders,
                    const std::string& color = picture) {
    return header + shader(params, color);
}

class VariationPickerTest : public AppModelTest {
  protected:
    void SetUp() override {
        AppModelTest::SetUp();
        rings = file("rings.metal", episode(head + "// @variations 2, 5\n"));
    }
    void TearDown() override {
        picker.reset();
        EXPECT_TRUE(comesTrue([] { return !besideWorkGoesOn(); }));
        AppModelTest::TearDown();
    }
    void open(const QString& path) {
        model->open(path);
        if (picker) return;
        auto delay = std::make_unique<ManualDelay>();
        amountDelay = delay.get();
        picker = std::make_unique<VariationPicker>(*model, std::move(delay));
        picker->setPictureSize({16, 9});
    }
    void pick(const List& indices) { picker->setChosen(ChosenVariations(indices)); }
    void edit(const std::string& text) {
        model->textChanged(text);
        delay_->elapse();
    }
    bool isDrawn(std::int64_t index) const { return !picker->still(index).isNull() && !picker->isStale(index); }
    static int part(float value) { return int(std::lround(value * 255)); }

    QString rings;
    ManualDelay* amountDelay = nullptr;
    std::unique_ptr<VariationPicker> picker;
};

TEST(ChosenVariationsTest, AreChosenGivenBackAndPutIntoOrder) {
    ChosenVariations chosen(List{10, 2, 6});
    EXPECT_TRUE(chosen.toggle(99999999999));
    EXPECT_TRUE(chosen.toggle(2));
    EXPECT_EQ(chosen.list(), (List{10, 6, 99999999999}));
    EXPECT_TRUE(chosen.put(4, 0)) << "a new one";
    EXPECT_TRUE(chosen.put(99999999999, 1)) << "one that is there already";
    EXPECT_EQ(chosen.list(), (List{4, 99999999999, 10, 6}));
    EXPECT_TRUE(chosen.put(7, 8)) << "behind the last";
    EXPECT_TRUE(chosen.move(4, 0));
    EXPECT_TRUE(chosen.move(0, 2));
    EXPECT_EQ(chosen.list(), (List{4, 99999999999, 7, 10, 6}));
    EXPECT_FALSE(chosen.move(0, -1));
    EXPECT_FALSE(chosen.move(4, 9));
    EXPECT_FALSE(chosen.move(9, 0));
    EXPECT_FALSE(chosen.giveBack(3));
    // A header that names one twice.
    chosen = ChosenVariations(List{3, 1, 3});
    EXPECT_EQ(chosen.placeOf(3), 0);
    EXPECT_TRUE(chosen.giveBack(3));
    EXPECT_EQ(chosen.list(), List{1});
}

TEST_F(VariationPickerTest, FollowsTheHeaderUntilSomethingIsPicked) {
    open(rings);
    EXPECT_EQ(picker->state(), State::ready);
    EXPECT_EQ(picker->chosen().list(), (List{2, 5}));
    EXPECT_FALSE(picker->canWrite()) << "the text says so";
    model->textChanged(episode(head + "// @variations 3\n"));
    EXPECT_EQ(picker->chosen().list(), List{3});
    pick({3, 7});
    EXPECT_EQ(picker->line().numbers, List{3});
    EXPECT_TRUE(picker->canWrite());
    // The line has moved and says something else: what is picked stays.
    model->textChanged("// Rings\n" + episode(head + "// @variations 4\n"));
    EXPECT_EQ(picker->chosen().list(), (List{3, 7}));
    EXPECT_EQ(picker->line().numbers, List{4});
    model->textChanged(episode(head + "// @variations 3, 7\n"));
    EXPECT_FALSE(picker->canWrite());
    model->textChanged(episode());
    EXPECT_EQ(picker->chosen().list(), List{}) << "it follows again";
}

TEST_F(VariationPickerTest, WhatIsPickedStaysWithItsDocument) {
    const QString other = file("other.metal", episode("// @episode 8 Other\n// @variations 9\n"));
    const QString plain = file("plain.metal", shader(sliders));
    open(rings);
    pick({1, 2, 3});
    picker->more();
    model->episodeAmount().set(0.2F);
    for (int i = 0; i < 2; ++i) {
        model->open(other);
        EXPECT_EQ(picker->chosen().list(), List{9});
        EXPECT_EQ(picker->count(), VariationPicker::batch);
        EXPECT_EQ(picker->meta().title, "Other");
        EXPECT_FALSE(picker->canWrite());
        EXPECT_FALSE(amountDelay->isWaiting());
        EXPECT_EQ(picker->variation(2), EpisodePlan::variations(*EpisodeFolder::ofText("o", model->currentText()), 2, 1,
                                                                EpisodeAmount::usual)[0]);
        model->open(plain);
        EXPECT_EQ(picker->state(), State::noHeader);
        EXPECT_EQ(picker->chosen().list(), List{});
        EXPECT_FALSE(picker->canWrite());
        model->open(rings);
        EXPECT_EQ(picker->chosen().list(), (List{1, 2, 3}));
        EXPECT_TRUE(picker->canWrite());
    }
    questions.path = folder.filePath("renamed.metal");
    model->saveAs();
    EXPECT_EQ(picker->chosen().list(), (List{1, 2, 3})) << "under another name";
}

TEST_F(VariationPickerTest, StillsComeInTheirOrderWithTheirValues) {
    open(rings);
    List drawn;
    QObject::connect(picker.get(), &VariationPicker::stillDrawn, picker.get(),
                     [&](qint64 index) { drawn.push_back(index); });
    const List wanted = {99999999999, 3, 1, 3};
    picker->setWanted(wanted);
    EXPECT_EQ(picker->still(1), QImage());
    ASSERT_TRUE(comesTrue([&] { return drawn.size() == 3; }));
    EXPECT_EQ(drawn, (List{99999999999, 3, 1}));
    const auto expectIsOf = [&](float amount) {
        for (const std::int64_t index : wanted) {
            const Variation made =
                EpisodePlan::variations(*EpisodeFolder::ofText("r", model->currentText()), index, 1, amount)[0];
            EXPECT_EQ(picker->variation(index), made);
            const QColor color = picker->still(index).pixelColor(8, 4);
            EXPECT_NEAR(color.red(), part(made.values.at("warm")), 1) << index;
            EXPECT_NEAR(color.green(), part(float(made.start - std::floor(made.start))), 1) << index;
            EXPECT_NEAR(color.blue(), part(model->values().at("volume")), 1) << index;
        }
    };
    expectIsOf(EpisodeAmount::usual);
    // What is there is not drawn again.
    picker->setWanted({1, 4});
    ASSERT_TRUE(comesTrue([&] { return isDrawn(4); }));
    EXPECT_EQ(drawn.size(), 4U);
    picker->setWanted(wanted);

    // Another amount is another set, once the slider rests; what is chosen stays.
    model->episodeAmount().set(0.9F);
    model->episodeAmount().set(1);
    EXPECT_TRUE(isDrawn(1));
    EXPECT_EQ(amountDelay->seconds_, 0.3);
    amountDelay->elapse();
    EXPECT_TRUE(picker->isStale(1));
    EXPECT_FALSE(picker->still(1).isNull()) << "pale until then";
    ASSERT_TRUE(comesTrue([&] { return isDrawn(1) && isDrawn(3) && isDrawn(99999999999); }));
    expectIsOf(1);
    EXPECT_EQ(picker->chosen().list(), (List{2, 5}));

    // A slider that is never varied keeps the person's value.
    model->setValue("warm", 0.9F);
    EXPECT_FALSE(amountDelay->isWaiting());
    model->setValue("volume", 0.75F);
    amountDelay->elapse();
    ASSERT_TRUE(comesTrue([&] { return picker->still(1).pixelColor(8, 4).blue() == part(0.75F); }));
    expectIsOf(1);
}

TEST_F(VariationPickerTest, AnEditIsDrawnAndOneThatDoesNotCompileLeavesThePictures) {
    open(rings);
    picker->setWanted({1});
    ASSERT_TRUE(comesTrue([&] { return isDrawn(1); }));
    edit(episode(head, sliders, "float4(0.0, 1.0, 0.0, nothing)"));
    EXPECT_TRUE(picker->isBehind());
    EXPECT_EQ(picker->state(), State::ready);
    EXPECT_TRUE(isDrawn(1));
    // It is still of the last good text with the amount of now.
    model->episodeAmount().set(0);
    amountDelay->elapse();
    ASSERT_TRUE(comesTrue([&] { return isDrawn(1); }));
    EXPECT_EQ(picker->still(1).pixelColor(8, 4).red(), part(0.5F));
    edit(episode(head, sliders, "float4(0.0, 1.0, 0.0, 1.0)"));
    EXPECT_FALSE(picker->isBehind());
    ASSERT_TRUE(comesTrue([&] { return picker->still(1).pixelColor(8, 4) == QColor(0, 255, 0); }));
    EXPECT_EQ(picker->variation(1).highlights, "") << "at amount 0";
}

TEST_F(VariationPickerTest, NothingIsDrawnWhereThereIsNothingToDraw) {
    open(file("silent.metal", episode(head, "// @param volume 0.5 0.0 1.0", "float4(p.volume)")));
    picker->setWanted({1});
    EXPECT_EQ(picker->state(), State::noSliders);
    EXPECT_FALSE(picker->isDrawing());
    EXPECT_FALSE(picker->canWrite());
    model->open(file("broken.metal", episode(head, sliders, "float4(nothing)")));
    EXPECT_EQ(picker->state(), State::noProgram);
    EXPECT_FALSE(picker->isDrawing());
    edit(episode());
    EXPECT_EQ(picker->state(), State::ready);
    ASSERT_TRUE(comesTrue([&] { return isDrawn(1); }));
    // A shader from the gallery that has not been read.
    const QString shared = file("shared.metal", episode());
    model->openDownloaded(shared, QUrl("https://www.example.org/s/a/source.metal"));
    EXPECT_EQ(picker->state(), State::waitsForRun);
    picker->setWanted({1, 2});
    picker->setRunning(1);
    EXPECT_FALSE(picker->isDrawing());
    EXPECT_TRUE(picker->still(1).isNull());
    model->run();
    EXPECT_EQ(picker->state(), State::ready);
    ASSERT_TRUE(comesTrue([&] { return isDrawn(1) && isDrawn(2); }));
    picker->setRunning(std::nullopt);
}

TEST_F(VariationPickerTest, OneRunsFromItsStartWhileTheOthersAreDrawn) {
    open(rings);
    const double start = picker->variation(4).start;
    std::vector<int> shades;
    QObject::connect(picker.get(), &VariationPicker::ran, picker.get(), [&](qint64 index, const QImage& frame) {
        EXPECT_EQ(index, 4);
        shades.push_back(frame.pixelColor(8, 4).green());
    });
    picker->setRunning(4);
    picker->setWanted({1, 2, 3});
    ASSERT_TRUE(comesTrue([&] { return shades.size() >= 4 && isDrawn(1) && isDrawn(2) && isDrawn(3); }));
    EXPECT_NEAR(shades[0], part(float(start - std::floor(start))), 1);
    EXPECT_NE(shades[0], shades[1]);
    picker->setRunning(std::nullopt);
    EXPECT_TRUE(comesTrue([&] { return !picker->isDrawing(); })) << "nothing is left to draw";
    // Frames of one that has been left do not come any more.
    const std::size_t before = shades.size();
    picker->setWanted({5});
    ASSERT_TRUE(comesTrue([&] { return isDrawn(5); }));
    EXPECT_LE(shades.size(), before + 1);
}

TEST_F(VariationPickerTest, ParticlesRunUpToTheirTime) {
    // One dot over all of the picture, as bright as it is old.
    open(file("dots.metal", head +
                                "// @particles 1\n// @param warm 0.5 0.0 1.0\n"
                                "struct Particle { float age; };\n"
                                "Particle spawn(uint id, constant Params& p) { Particle q; q.age = 0.0; return q; }\n"
                                "void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) "
                                "{ q.age += u.timeDelta; }\n"
                                "float3 place(Particle q, constant Uniforms& u, constant Params& p) "
                                "{ return float3(0.5, 0.5, 2.0); }\n"
                                "float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) "
                                "{ return float4(float3(q.age / 200.0), 1.0); }\n"
                                "float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) "
                                "{ return float4(trails.at(uv).rgb, 1.0); }\n"));
    ASSERT_EQ(picker->state(), State::ready) << model->errorText().value_or("").toStdString();
    List early;
    for (std::int64_t index = 1; early.size() < 2; ++index)
        if (const double start = picker->variation(index).start; start > 1 && start < 8) early.push_back(index);
    picker->setWanted(early);
    picker->setRunning(early[1]);
    ASSERT_TRUE(comesTrue([&] { return isDrawn(early[0]) && isDrawn(early[1]); }));
    picker->setRunning(std::nullopt);
    for (const std::int64_t index : early)
        EXPECT_NEAR(picker->still(index).pixelColor(8, 4).red(), part(float(picker->variation(index).start / 200)), 1);
}

} // namespace
} // namespace glasshob
