// What belongs to the open document and what to the one before, and programs that a driver is slow to make.

#include "GlassHob/model/BesideWork.h"
#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <chrono>

namespace glasshob {
namespace {

class CompilationTest : public AppModelTest {
  protected:
    // Legal, and work of a second or more for a driver: it cannot count how often these loops turn.
    static std::string heavy(int loops) {
        std::string text = "// @param heavy 1 0 2\n"
                           "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n    float a = uv.x;\n";
        for (int i = 0; i < loops; ++i) {
            const std::string n = std::to_string(i);
            text += "    for (int i = 0; float(i) < a * " + n + ".5 + u.time; ++i) a = fract(sin(a * 3." + n +
                    " + p.heavy) + cos(a + uv.y * " + n + ".25));\n";
        }
        return text + "    return float4(a);\n}\n";
    }
    bool has(const char* slider) const {
        return model->program() && model->values().size() == 1 && model->values().contains(slider);
    }
};

TEST_F(CompilationTest, AnotherDocumentHasNothingOfTheOneBeforeButItsPicture) {
    model->open(file("Quicksilver.metal", shader("// @param speed 0.6 0 3")));
    model->setValue("speed", 2.5f);
    model->tick(1);
    model->tick(6);
    const auto program = model->program();
    model->open(file("broken.metal", shader("// @param speed 1 0 3", "nowhere")));
    EXPECT_EQ(model->time(), 0) << "a document starts at the beginning";
    EXPECT_EQ(model->frame(), 0u);
    EXPECT_EQ(model->program(), nullptr);
    EXPECT_TRUE(model->values().empty());
    EXPECT_EQ(model->shownProgram(), program);
    EXPECT_EQ(model->shownValues(), (SliderValues{{"speed", 2.5f}}));
    EXPECT_EQ(model->state(), AppModel::State::errorWithOtherPicture);
    EXPECT_EQ(model->shownOwnerText(), "Showing Quicksilver's last good picture");
    EXPECT_EQ(model->statusText(), "Compile error, showing Quicksilver's last good picture");

    model->setValue("speed", 1.5f);
    model->resetAllValues();
    EXPECT_EQ(model->shownValues().at("speed"), 2.5f);
    EXPECT_FALSE(model->presets().canSave());
    questions.typed = "Mine";
    model->presets().saveAfterQuestion();
    EXPECT_TRUE(model->presets().names().isEmpty());
    EXPECT_FALSE(model->exports().canStart());
    questions.path = folder.filePath("still.png");
    model->saveStill();
    EXPECT_TRUE(questions.suggested.isEmpty());

    // The picture stays the first one's over a second file that fails, and goes with the first good compile.
    model->open(file("worse.metal", "nonsense"));
    EXPECT_EQ(model->shownOwnerText(), "Showing Quicksilver's last good picture");
    model->textChanged(shader("// @param speed 1 0 3"));
    delay_->elapse();
    EXPECT_EQ(model->values(), (SliderValues{{"speed", 1.0f}}));
    EXPECT_EQ(model->shownProgram(), model->program());
    EXPECT_TRUE(model->shownOwnerText().isEmpty());
    model->textChanged("nonsense");
    delay_->elapse();
    EXPECT_EQ(model->statusText(), "Compile error, showing the last good frame") << "its own now";
}

TEST_F(CompilationTest, ASlowDriverKeepsNobodyWaitingAndItsLateAnswerIsDropped) {
    compilePatience = std::chrono::milliseconds(0);
    makeModel();
    model->open(file("a.metal", shader("// @param light 1 0 2")));
    ASSERT_TRUE(comesTrue([&] { return has("light"); }));
    const auto before = model->program();

    model->textChanged(heavy(60));
    delay_->elapse();
    EXPECT_EQ(model->program(), before) << "the picture goes on";
    ASSERT_TRUE(comesTrue([&] { return model->state() == AppModel::State::preparing || has("heavy"); }));
    EXPECT_TRUE(has("heavy") || model->statusText() == "Compiled. The graphics driver is preparing the picture");

    // A text that does not compile has its messages at once; what was being made is then the last good picture.
    model->textChanged("nonsense");
    delay_->elapse();
    EXPECT_EQ(model->state(), AppModel::State::errorWithPicture);
    ASSERT_TRUE(comesTrue([&] { return has("heavy"); }));
    EXPECT_EQ(model->state(), AppModel::State::errorWithPicture);
    EXPECT_FALSE(model->diagnostics().empty());

    // The newest text wins, although an older one's program comes after it.
    model->textChanged(heavy(61));
    delay_->elapse();
    model->textChanged(shader("// @param newest 1 0 2"));
    delay_->elapse();
    ASSERT_TRUE(comesTrue([&] { return has("newest"); }));
    EXPECT_EQ(model->state(), AppModel::State::live);
    ASSERT_TRUE(comesTrue([] { return !besideWorkGoesOn(); }));
    QCoreApplication::processEvents();
    EXPECT_TRUE(has("newest"));

    // One of another document never comes.
    model->textChanged(heavy(62));
    delay_->elapse();
    model->open(file("b.metal", "nonsense"));
    ASSERT_TRUE(comesTrue([] { return !besideWorkGoesOn(); }));
    QCoreApplication::processEvents();
    EXPECT_EQ(model->program(), nullptr);

    // Nobody waits for the driver when it all ends.
    model->textChanged(heavy(63));
    delay_->elapse();
    EXPECT_TRUE(model->driverIsAtWork());
    model.reset();
    // The other tests share the device that it is at work with.
    EXPECT_TRUE(comesTrue([] { return !besideWorkGoesOn(); }));
}

TEST_F(CompilationTest, APictureThatIsNotThereYetIsToldOfWithWhoseIsSeen) {
    model->open(file("Quicksilver.metal", shader("// @param s 1 0 2")));
    EXPECT_EQ(model->state(), AppModel::State::live);
    // A newer text of the same document is told of when its picture takes long.
    model->setPictureWaits(true);
    EXPECT_EQ(model->state(), AppModel::State::live);
    ASSERT_TRUE(comesTrue([&] { return model->state() == AppModel::State::preparing; }));
    EXPECT_EQ(model->statusText(), "Compiled. The graphics driver is preparing the picture");
    EXPECT_TRUE(model->shownOwnerText().isEmpty());
    model->setPictureWaits(false);
    EXPECT_EQ(model->state(), AppModel::State::live);
    EXPECT_TRUE(model->statusText().startsWith("Live")) << model->statusText().toStdString();
    // One that waits already when another document is opened is told of, and its end as well.
    model->setPictureWaits(true);
    model->open(file("Knot.metal", shader("// @param s 1 0 2")));
    EXPECT_EQ(model->state(), AppModel::State::preparing);
    EXPECT_EQ(model->shownOwnerText(), "Showing Quicksilver's last good picture");
    bool isTold = false;
    QObject::connect(model.get(), &AppModel::preparingChanged, [&] { isTold = true; });
    model->setPictureWaits(false);
    EXPECT_TRUE(isTold);
    EXPECT_TRUE(model->shownOwnerText().isEmpty());
    model->open(file("Quicksilver.metal", shader("// @param s 1 0 2")));

    // Another document's is told of at once, through a text that fails, and over a third document.
    int told = 0;
    QObject::connect(model.get(), &AppModel::preparingChanged, [&] { ++told; });
    const auto waits = QObject::connect(model.get(), &AppModel::compiled, [&] {
        if (model->program()) model->setPictureWaits(true);
    });
    model->open(file("Silk.metal", shader("// @param s 1 0 2")));
    EXPECT_EQ(told, 1);
    EXPECT_EQ(model->state(), AppModel::State::preparing);
    EXPECT_EQ(model->shownOwnerText(), "Showing Quicksilver's last good picture");
    model->textChanged("nonsense");
    delay_->elapse();
    EXPECT_EQ(model->state(), AppModel::State::errorWithOtherPicture);
    EXPECT_EQ(model->statusText(), "Compile error, showing Quicksilver's last good picture");
    model->open(file("third.metal", shader("")));
    EXPECT_EQ(model->shownOwnerText(), "Showing Quicksilver's last good picture");
    QObject::disconnect(waits);
    model->setPictureWaits(false);
    EXPECT_EQ(told, 2);
    EXPECT_EQ(model->state(), AppModel::State::live);
    EXPECT_TRUE(model->shownOwnerText().isEmpty());
}

TEST_F(CompilationTest, SlidersComeBackWithTheirDocument) {
    const QString path = file("a.metal", shader("// @param s 1 0 2\n// @param t 1 0 2"));
    const QString other = file("b.metal", shader("// @param s 1 0 2"));
    model->open(path);
    model->setValue("s", 1.75f);
    model->setValue("t", 0.5f);
    model->open(other);
    EXPECT_EQ(model->values(), (SliderValues{{"s", 1.0f}}));
    file("a.metal", shader("// @param s 1 0 1.5\n// @param t 1.25 0 2"));
    makeModel();
    model->open(path);
    EXPECT_EQ(model->values(), (SliderValues{{"s", 1.5f}, {"t", 1.25f}})) << "in the range and with the default of now";

    // Under another name they are there as well, and a crash loses none that had time to be written.
    questions.path = folder.filePath("c.metal");
    model->saveAs();
    sliderDelay_->elapse();
    makeModel();
    model->open(*questions.path);
    EXPECT_EQ(model->values().at("s"), 1.5f);
    model->resetAllValues();
    makeModel();
    model->open(*questions.path);
    EXPECT_EQ(model->changedValueCount(), 0);
    EXPECT_EQ(contents(folder.filePath("sliders.json")).find("c.metal"), std::string::npos) << "nothing to keep";
}

TEST_F(CompilationTest, SlidersHaveStepsOfUndoOfTheirOwn) {
    model->open(file("a.metal", shader("// @param s 1 0 2\n// @param t 1 0 2")));
    EXPECT_FALSE(model->canUndoSliders());
    const auto values = [&] { return std::pair(model->values().at("s"), model->values().at("t")); };
    for (const float value : {1.1f, 1.3f, 1.5f})
        model->setValue("s", value);
    model->endSliderStep();
    model->setValue("s", 2);
    model->setValue("t", 0);
    model->resetAllValues();
    const std::vector<std::pair<float, float>> back = {{2.0f, 0.0f}, {2.0f, 1.0f}, {1.5f, 1.0f}, {1.0f, 1.0f}};
    for (const auto& expected : back) {
        model->undoSliders();
        EXPECT_EQ(values(), expected);
    }
    model->undoSliders();
    EXPECT_FALSE(model->canUndoSliders());
    model->redoSliders();
    model->redoSliders();
    EXPECT_EQ(values(), std::pair(2.0f, 1.0f));
    model->setValue("t", 0.25f);
    EXPECT_FALSE(model->canRedoSliders());
    EXPECT_EQ(model->currentText(), model->savedText());
    model->open(file("b.metal", shader("// @param s 1 0 2")));
    EXPECT_FALSE(model->canUndoSliders()) << "another document";
}

} // namespace
} // namespace glasshob
