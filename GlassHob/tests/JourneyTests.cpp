// A whole session by keyboard and mouse in the real window, under a window manager on a display of its own: opening,
// a mistake and its mending, a slider, a preset, a still, a video, a file that changes on disk, and quitting with
// unsaved edits.
#include "GPU/Device.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/Presets.h"
#include "GlassHob/tests/FakeHands.h"
#include "GlassHob/ui/controls/DialogQuestions.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/MessageList.h"
#include "GlassHob/ui/export/ExportWindow.h"
#include "GlassHob/ui/export/StillWindow.h"
#include "GlassHob/ui/sliders/Inspector.h"
#include "GlassHob/ui/controls/ParameterSlider.h"
#include "GlassHob/ui/window/MainWindow.h"
#include "GlassHob/ui/window/SliderBox.h"
#include "GlassHobRender/tests/MovieReader.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QImage>
#include <QLineEdit>
#include <QMessageBox>
#include <QProcess>
#include <QScreen>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>

#include <cmath>

namespace glasshob {
namespace {

using glasshob::testing::FakeHands;
using glasshob::testing::readMovie;
using glasshob::testing::ReadMovie;

constexpr int patience = 60000; // milliseconds before a wait is a failure

const QByteArray text = "// @param red 0.25 0 1 How much red\n"
                        "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                        "    float green = 0.5;\n"
                        "    return float4(p.red, green, 0.75, 1.0);\n"
                        "}\n";

// Reads better than the macro alone: waits until it is so, and fails with the words otherwise.
#define COMES_TRUE(condition) ASSERT_TRUE(QTest::qWaitFor([&] { return bool(condition); }, patience)) << #condition

class Journey : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { Theme::instance().install(); }

    void SetUp() override {
        ASSERT_EQ(QGuiApplication::platformName(), "xcb") << "this test needs a display";
        manager.setStandardErrorFile(QProcess::nullDevice());
        // The command is run when it is ready: a window that it finds at its own start gets no focus.
        const QString isReady = folder.filePath(QStringLiteral("ready"));
        manager.start(QStringLiteral("openbox"), {QStringLiteral("--sm-disable"), QStringLiteral("--startup"),
                                                  QStringLiteral("touch '%1'").arg(isReady)});
        ASSERT_TRUE(manager.waitForStarted()) << "the window manager openbox is not installed";
        ASSERT_TRUE(hands.isConnected());
        COMES_TRUE(QFile::exists(isReady));
        QSettings().clear();
        path = folder.filePath(QStringLiteral("picture.metal"));
        write(text);
        auto device = gpu::Device::systemDefault();
        ASSERT_TRUE(device) << device.error().description();
        model =
            std::make_unique<AppModel>(AppModel::Surroundings{.device = std::move(*device), .questions = &questions});
        window = std::make_unique<MainWindow>(*model);
        questions.setWindow(window.get());
        window->resize(1100, 720);
        window->show();
        model->start({});
        COMES_TRUE(window->isActiveWindow());
    }
    void TearDown() override {
        window.reset();
        model.reset();
        manager.kill();
        manager.waitForFinished();
    }

    void write(const QByteArray& bytes) const {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    QByteArray onDisk() const {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QColor pictureColor() const {
        const QPoint global = window->canvas()->mapToGlobal(window->canvas()->rect().center());
        return window->screen()->grabWindow(0, global.x(), global.y(), 1, 1).toImage().pixelColor(0, 0);
    }
    bool isPicture(double red, double green) const {
        const QColor color = pictureColor();
        return std::abs(color.redF() - red) < 0.015 && std::abs(color.greenF() - green) < 0.015;
    }
    // Where a text of the editor stands, to be clicked behind.
    QPoint behind(int line, const QString& what) const {
        CodeEditor* editor = window->editor();
        const QTextBlock block = editor->document()->findBlockByNumber(line - 1);
        QTextCursor cursor(block);
        cursor.setPosition(block.position() + int(block.text().indexOf(what)) + int(what.size()));
        return editor->cursorRect(cursor).center();
    }
    template <typename Dialog>
    Dialog* dialog() const {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (auto* found = qobject_cast<Dialog*>(widget); found != nullptr && found->isVisible()) return found;
        return nullptr;
    }
    // A question is there, is the active window, and is answered by the button with this text.
    void answer(const QString& buttonText) {
        COMES_TRUE(dialog<QMessageBox>() != nullptr && dialog<QMessageBox>()->isActiveWindow());
        for (QAbstractButton* button : dialog<QMessageBox>()->buttons())
            if (button->text().remove(u'&') == buttonText) {
                hands.click(button);
                COMES_TRUE(dialog<QMessageBox>() == nullptr);
                return;
            }
        FAIL() << "the question '" << dialog<QMessageBox>()->text().toStdString() << "' has no button '"
               << buttonText.toStdString() << "'";
    }
    void chooseFile(const QString& file) {
        COMES_TRUE(dialog<QFileDialog>() != nullptr && dialog<QFileDialog>()->isActiveWindow());
        hands.press("Ctrl+A");
        hands.type(file);
        hands.press("Return");
        COMES_TRUE(dialog<QFileDialog>() == nullptr);
    }

    QProcess manager;
    FakeHands hands;
    QTemporaryDir folder;
    QString path;
    DialogQuestions questions;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<MainWindow> window;
};

TEST_F(Journey, FromOpeningToQuitting) {
    // Open.
    hands.press("Ctrl+O");
    chooseFile(path);
    COMES_TRUE(model->filePath() == path);
    COMES_TRUE(isPicture(0.25, 0.5));

    // A mistake is marked while the picture goes on.
    CodeEditor* editor = window->editor();
    hands.click(editor->viewport(), behind(3, "0.5"));
    hands.type("x");
    COMES_TRUE(editor->severityOfBlock(2) == Diagnostic::Severity::error);
    COMES_TRUE(window->messages()->isVisible());
    EXPECT_TRUE(isPicture(0.25, 0.5));
    EXPECT_TRUE(model->isDirty());
    // The keyboard goes to it, and mends it.
    hands.press("Ctrl+Home");
    COMES_TRUE(editor->caretLine() == 1);
    hands.press("F8");
    COMES_TRUE(editor->caretLine() == 3);
    hands.press("End");
    hands.press("Left");
    hands.press("Backspace");
    COMES_TRUE(!editor->severityOfBlock(2).has_value());
    hands.press("Backspace");
    hands.type("75");
    COMES_TRUE(isPicture(0.25, 0.75));

    // A slider moves the picture.
    auto* slider = window->inspector()->findChild<ParameterSlider*>();
    ASSERT_NE(slider, nullptr);
    hands.drag(slider, 0.25, 0.75);
    const auto value = [this] { return model->values().at("red"); };
    const auto isNear = [&](double wanted) { return std::abs(value() - wanted) < 0.06; };
    COMES_TRUE(isNear(0.75));
    float red = value();
    COMES_TRUE(isPicture(red, 0.75));

    // Without the editor the sliders lie over the picture, and are dragged there as well.
    hands.press("Ctrl+1");
    COMES_TRUE(window->sliders()->box() != nullptr && slider->window() == window.get() && !editor->isVisible());
    COMES_TRUE(isPicture(red, 0.75));
    hands.drag(slider, 0.75, 0.5);
    COMES_TRUE(isNear(0.5));
    const float half = value();
    COMES_TRUE(isPicture(half, 0.75));
    hands.press("Ctrl+1");
    COMES_TRUE(editor->isVisible() && window->sliders()->box() == nullptr);
    hands.drag(slider, 0.5, 0.75);
    COMES_TRUE(isNear(0.75));
    red = value();
    COMES_TRUE(isPicture(red, 0.75));

    // A preset is saved from the menu, and comes back after the slider has been elsewhere.
    hands.press("Alt+S");
    COMES_TRUE(QApplication::activePopupWidget() != nullptr);
    hands.press("V");
    COMES_TRUE(dialog<QMessageBox>() != nullptr && dialog<QMessageBox>()->isActiveWindow());
    hands.type("Warm");
    hands.press("Return");
    COMES_TRUE(model->presets().names() == QStringList{"Warm"});
    hands.drag(slider, 0.75, 0.125);
    COMES_TRUE(isNear(0.125));
    model->presets().apply("Warm");
    COMES_TRUE(isPicture(red, 0.75));

    // A still.
    COMES_TRUE(window->isActiveWindow());
    const QString still = folder.filePath("still.png");
    hands.press("Ctrl+Shift+I");
    COMES_TRUE(dialog<StillWindow>() != nullptr && dialog<StillWindow>()->isActiveWindow());
    hands.press("Return");
    chooseFile(still);
    COMES_TRUE(QFile::exists(still) && !QImage(still).isNull());
    COMES_TRUE(dialog<StillWindow>() != nullptr && dialog<StillWindow>()->isActiveWindow());
    hands.press("Escape");
    COMES_TRUE(dialog<StillWindow>() == nullptr && window->isActiveWindow());
    const QColor pixel = QImage(still).pixelColor(40, 40);
    EXPECT_NEAR(pixel.redF(), red, 0.01);
    EXPECT_NEAR(pixel.greenF(), 0.75, 0.01);

    // A video: the smallest preset, a tenth of a second from half a second on. Editing goes on beside it.
    const QString movie = folder.filePath("movie.mp4");
    hands.press("Ctrl+Shift+E");
    COMES_TRUE(dialog<ExportWindow>() != nullptr && dialog<ExportWindow>()->isActiveWindow());
    hands.press("Shift+Tab"); // From now
    hands.press("Shift+Tab");
    hands.press("Down");
    hands.press("Down");
    hands.press("Tab");
    hands.press("Tab");
    hands.type("0.5");
    hands.press("Tab");
    hands.type("0.1");
    hands.press("Return");
    chooseFile(movie);
    COMES_TRUE(QFile::exists(movie) && std::holds_alternative<ExportFinished>(model->exportState()));
    COMES_TRUE(dialog<ExportWindow>() != nullptr && dialog<ExportWindow>()->isActiveWindow());
    hands.press("Return");
    COMES_TRUE(dialog<ExportWindow>() == nullptr && window->isActiveWindow());
    const ReadMovie read = readMovie(movie.toStdString());
    EXPECT_EQ(read.error, "");
    ASSERT_EQ(read.pictures.size(), 3U);
    EXPECT_EQ(read.pictures[0].width, 1280);
    EXPECT_NEAR(read.pictures[2].at(40, 40).red, red * 255, 2.5);
    EXPECT_NEAR(read.pictures[2].at(40, 40).green, 0.75 * 255, 2.5);
    EXPECT_FALSE(read.hasSound);
    COMES_TRUE(isPicture(red, 0.75));

    // The file changes on disk under unsaved edits: ours are kept, and saved over it.
    const QByteArray foreign = QByteArray(text).replace("0.75, 1.0", "0.1, 1.0");
    write(foreign);
    COMES_TRUE(dialog<QMessageBox>() != nullptr);
    answer("Keep My Edits");
    COMES_TRUE(window->isActiveWindow());
    hands.press("Ctrl+S");
    COMES_TRUE(!model->isDirty());
    EXPECT_EQ(onDisk(), QByteArray(text).replace("0.5;", "0.75;"));
    // Without unsaved edits it is taken as it is.
    write(foreign);
    COMES_TRUE(QByteArray::fromStdString(model->currentText()) == foreign);

    // Quitting with unsaved edits asks; Escape stays, saving leaves.
    hands.click(editor->viewport(), behind(5, "}"));
    hands.type(" ");
    COMES_TRUE(model->isDirty());
    hands.press("Ctrl+Q");
    COMES_TRUE(dialog<QMessageBox>() != nullptr && dialog<QMessageBox>()->isActiveWindow());
    hands.press("Escape");
    COMES_TRUE(dialog<QMessageBox>() == nullptr && window->isActiveWindow());
    hands.press("Ctrl+Q");
    answer("Save");
    COMES_TRUE(!window->isVisible());
    EXPECT_EQ(onDisk(), foreign.chopped(1) + " \n");
}

} // namespace
} // namespace glasshob
