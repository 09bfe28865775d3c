// The whole window, driven through its widgets, over both ways of showing the picture (a surface only under a display).

#include "GPU/Device.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/DialogQuestions.h"
#include "GlassHob/ui/controls/ParameterSlider.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/MessageList.h"
#include "GlassHob/ui/picture/OverPicture.h"
#include "GlassHob/ui/sliders/Inspector.h"
#include "GlassHob/ui/sliders/ParameterRow.h"
#include "GlassHob/ui/window/EpisodeMenu.h"
#include "GlassHob/ui/window/MainWindow.h"
#include "GlassHob/ui/window/SampleMenu.h"
#include "GlassHob/ui/window/SliderBox.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMessageBox>
#include <QScreen>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTimer>
#include <QWindow>

namespace glasshob {
namespace {

constexpr int patience = 60000; // milliseconds before a wait is a failure

const char* const source = "// @param red 0.25 0 1 How much red\n"
                           "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                           "    float green = 0.5;\n"
                           "    return float4(p.red, green, 0.75 + 1e-9 * u.time, 1.0);\n" // in motion
                           "}\n";

class WindowTest : public ::testing::TestWithParam<Canvas::Kind> {
  protected:
    static void SetUpTestSuite() { Theme::instance().install(); }

    void SetUp() override {
        if (GetParam() == Canvas::Kind::surface && QGuiApplication::platformName() != "xcb")
            GTEST_SKIP() << "no display with surfaces";
        QSettings().clear();
        auto device = gpu::Device::systemDefault();
        ASSERT_TRUE(device) << device.error().description();
        path = folder.filePath("picture.metal");
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(source);
        file.close();
        model = std::make_unique<AppModel>(AppModel::Surroundings{.device = *device, .questions = &questions});
        window = std::make_unique<MainWindow>(*model, GetParam());
        questions.setWindow(window.get());
        window->resize(1000, 640);
        window->show();
        model->open(path);
        ASSERT_EQ(window->canvas()->kind(), GetParam());
    }
    void TearDown() override {
        window.reset();
        model.reset();
    }

    // The colour in the middle of the picture, as it is on the screen.
    QColor pictureColor() const {
        const Canvas* canvas = window->canvas();
        const QPoint middle = canvas->rect().center();
        if (GetParam() == Canvas::Kind::readBack) return window->canvas()->grab().toImage().pixelColor(middle);
        const QPoint global = canvas->mapToGlobal(middle);
        return window->screen()->grabWindow(0, global.x(), global.y(), 1, 1).toImage().pixelColor(0, 0);
    }
    bool isColor(double red, double green) const {
        const QColor color = pictureColor();
        return std::abs(color.redF() - red) < 0.01 && std::abs(color.greenF() - green) < 0.01;
    }
    bool waitForColor(double red, double green) const {
        return QTest::qWaitFor([&] { return isColor(red, green); }, patience);
    }
    // Time enough for a frame, had one been due.
    static void passTurns() {
        int turns = 0;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, [&] { ++turns; });
        timer.start(16);
        EXPECT_TRUE(QTest::qWaitFor([&] { return turns >= 15; }, patience));
    }
    void movePointerTo(QPoint place) const {
        if (GetParam() == Canvas::Kind::readBack) {
            QTest::mouseMove(window->canvas(), place);
            return;
        }
        for (QWindow* each : QGuiApplication::allWindows())
            if (each->surfaceType() == QSurface::VulkanSurface) QTest::mouseMove(each, place);
    }
    void replaceInLine(int line, const QString& from, const QString& to) {
        CodeEditor* editor = window->editor();
        const int at = int(editor->document()->findBlockByNumber(line - 1).text().indexOf(from));
        ASSERT_GE(at, 0);
        editor->goTo(line, at + 1 + from.size());
        for (int i = 0; i < from.size(); ++i)
            QTest::keyClick(editor, Qt::Key_Backspace);
        QTest::keyClicks(editor, to);
    }

    QTemporaryDir folder;
    QString path;
    DialogQuestions questions;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<MainWindow> window;
};

TEST_P(WindowTest, AMistakeIsMarkedWhileThePictureRunsOnAndTheFixIsSeen) {
    ASSERT_TRUE(waitForColor(0.25, 0.5)) << pictureColor().name().toStdString();

    replaceInLine(3, "0.5", "nothing");
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return window->editor()->severityOfBlock(2) == Diagnostic::Severity::error; }, patience));
    EXPECT_TRUE(window->messages()->isVisible());
    EXPECT_EQ(window->messages()->rows()->message(0).line, 3);
    const std::uint64_t frames = window->canvas()->shownFrames();
    EXPECT_TRUE(QTest::qWaitFor([&] { return window->canvas()->shownFrames() > frames + 5; }, patience))
        << "the picture runs on";
    EXPECT_TRUE(waitForColor(0.25, 0.5));
    EXPECT_EQ(window->windowTitle(), "picture.metal (edited)");

    window->editor()->goTo(1, 1);
    window->messages()->step(1);
    EXPECT_EQ(window->editor()->caretLine(), 3);

    replaceInLine(3, "nothing", "0.9");
    EXPECT_TRUE(waitForColor(0.25, 0.9));
    EXPECT_EQ(window->editor()->severityOfBlock(2), std::nullopt);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window->messages()->isVisible(); }, patience));
}

TEST_P(WindowTest, ASliderMovesThePicture) {
    ASSERT_TRUE(waitForColor(0.25, 0.5));
    ParameterRow* row = window->inspector()->row("red");
    ASSERT_NE(row, nullptr);
    ParameterSlider* slider = row->slider();
    QTest::mouseClick(slider, Qt::LeftButton, {}, QPoint(slider->width() - 3, slider->height() / 2));
    EXPECT_TRUE(waitForColor(1.0, 0.5));
    QTest::keyClick(slider, Qt::Key_Backspace);
    EXPECT_TRUE(waitForColor(0.25, 0.5));
}

TEST_P(WindowTest, UndoGoesOnAfterSaving) {
    CodeEditor* editor = window->editor();
    const std::string before = editor->fileText();
    replaceInLine(3, "green = 0.5", "green = 0.25");
    model->save();
    ASSERT_FALSE(model->isDirty());
    while (editor->document()->isUndoAvailable())
        editor->undo();
    EXPECT_EQ(editor->fileText(), before);
    EXPECT_TRUE(model->isDirty()) << "the file holds the edit that has been taken back";
    editor->redo();
    EXPECT_NE(editor->fileText(), before);
}

TEST_P(WindowTest, NothingIsDrawnWhileTheWindowIsHidden) {
    ASSERT_TRUE(waitForColor(0.25, 0.5));
    window->hide();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !window->canvas()->isDrawing(); }, patience));
    const std::uint32_t drawn = model->frame();
    const double time = model->time();
    passTurns();
    EXPECT_EQ(model->frame(), drawn);
    const std::uint64_t frames = window->canvas()->shownFrames();
    QElapsedTimer sinceShown;
    sinceShown.start();
    window->show();
    ASSERT_TRUE(QTest::qWaitFor([&] { return window->canvas()->shownFrames() > frames; }, patience));
    EXPECT_LE(model->time() - time, double(sinceShown.elapsed()) / 1000 + 0.02) << "the clock did not run meanwhile";
}

TEST_P(WindowTest, APictureThatDoesNotChangeIsDrawnOnce) {
    ASSERT_TRUE(waitForColor(0.25, 0.5));
    Canvas* canvas = window->canvas();
    const auto rests = [&] { return QTest::qWaitFor([&] { return canvas->isAtRest(); }, patience); };
    // A picture of its own after each change, and none after that.
    const auto isDrawnOnceAfter = [&](auto&& change, double red, double green) {
        const std::uint64_t before = canvas->shownFrames();
        change();
        EXPECT_TRUE(QTest::qWaitFor([&] { return canvas->shownFrames() > before; }, patience));
        EXPECT_TRUE(waitForColor(red, green));
        // A program that is made beside this, or an exposure, may be on its way still.
        bool isStill = false;
        for (int attempt = 0; attempt < 20 && !isStill; ++attempt) {
            EXPECT_TRUE(rests());
            const std::uint64_t after = canvas->shownFrames();
            passTurns();
            isStill = canvas->shownFrames() == after;
        }
        EXPECT_TRUE(isStill) << "it is drawn on and on";
    };
    model->setPaused(true);
    ASSERT_TRUE(rests());
    isDrawnOnceAfter([&] { model->setValue("red", 0.6F); }, 0.6, 0.5);
    isDrawnOnceAfter([&] { window->resize(1100, 700); }, 0.6, 0.5);
    isDrawnOnceAfter([&] { replaceInLine(3, "0.5", "0.8"); }, 0.6, 0.8);
    isDrawnOnceAfter([&] { model->stepFrame(); }, 0.6, 0.8);
    isDrawnOnceAfter(
        [&] {
            window->hide();
            window->show();
        },
        0.6, 0.8);

    // One that does not look at the clock rests while that goes on.
    isDrawnOnceAfter([&] { replaceInLine(4, " + 1e-9 * u.time", ""); }, 0.6, 0.8);
    model->setPaused(false);
    bool rested = false;
    for (int attempt = 0; attempt < 10 && !rested; ++attempt) { // until the new program is the one that is shown
        const std::uint64_t frames = canvas->shownFrames();
        const std::uint32_t frame = model->frame();
        EXPECT_TRUE(QTest::qWaitFor([&] { return model->frame() > frame + 20; }, patience));
        rested = canvas->shownFrames() == frames;
    }
    EXPECT_TRUE(rested);
    ASSERT_TRUE(rests());
    // With the pointer in it, it follows the pointer.
    replaceInLine(4, "0.75", "u.mouse.x * 0.001");
    ASSERT_TRUE(QTest::qWaitFor([&] { return model->program()->pictureInputs().mouse; }, patience));
    ASSERT_TRUE(rests());
    isDrawnOnceAfter([&] { movePointerTo(QPoint(20, 30)); }, 0.6, 0.8);
}

TEST_P(WindowTest, ThePreviewIsDrawnAtPartOfItsSize) {
    ASSERT_TRUE(waitForColor(0.25, 0.5));
    Canvas* canvas = window->canvas();
    // What the shader sees of it: its size, and the pointer in pixels of that size.
    // The display's own pointer may have its say over a surface.
    const bool hasPointer = GetParam() == Canvas::Kind::readBack;
    replaceInLine(4, "p.red, green",
                  hasPointer ? "u.resolution.x / 2000.0, u.mouse.x / u.resolution.x" : "u.resolution.x / 2000.0, 0.75");
    if (hasPointer) movePointerTo(QPoint(canvas->width() * 3 / 4, 20));
    for (const auto& [resolution, part] :
         {std::pair(PreviewResolution::half, 2), std::pair(PreviewResolution::quarter, 4),
          std::pair(PreviewResolution::full, 1)}) {
        canvas->setResolution(resolution);
        EXPECT_EQ(canvas->drawnSize().width(), (canvas->pixelSize().width() + part - 1) / part);
        EXPECT_TRUE(waitForColor(canvas->drawnSize().width() / 2000.0, 0.75)) << part;
        EXPECT_EQ(canvas->frameSize(), canvas->pixelSize());
    }
    // A copy is whole whatever the preview is.
    canvas->setResolution(PreviewResolution::quarter);
    std::optional<QImage> copy;
    canvas->capture([&](std::optional<QImage> image) { copy = image; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return copy.has_value(); }, patience));
    EXPECT_EQ(copy->size(), canvas->pixelSize());
}

TEST_P(WindowTest, ResizingGivesFramesOfTheNewSize) {
    ASSERT_TRUE(waitForColor(0.25, 0.5));
    const QSize before = window->canvas()->pixelSize();
    window->resize(1100, 700);
    ASSERT_TRUE(QTest::qWaitFor([&] { return window->canvas()->pixelSize() != before; }, patience));
    const std::uint64_t frames = window->canvas()->shownFrames();
    EXPECT_TRUE(QTest::qWaitFor([&] { return window->canvas()->shownFrames() > frames + 3; }, patience));
    EXPECT_TRUE(waitForColor(0.25, 0.5));
}

TEST_P(WindowTest, ASampleChosenInTheMenuIsCopiedAndDrawn) {
    auto* menu = window->findChild<SampleMenu*>();
    ASSERT_NE(menu, nullptr);
    EXPECT_TRUE(menu->actions().isEmpty()) << "filled before it is needed";
    menu->fill();
    const auto entries = menu->actions();
    ASSERT_GE(entries.size(), 8);
    EXPECT_EQ(entries[2]->text(), "Sunlit Glass");
    EXPECT_GT(menu->sizeHint().height(), 8 * 54);
    entries[2]->trigger();
    EXPECT_EQ(model->displayName(), "Sunlit Glass.metal");
    EXPECT_EQ(QFileInfo(*model->filePath()).absolutePath(), AppModel::shadersFolder());
    EXPECT_TRUE(window->editor()->toPlainText().startsWith("// Sunlit Glass\n"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return model->state() == AppModel::State::live; }, patience))
        << model->statusText().toStdString();
    QFile::remove(*model->filePath());
}

TEST_P(WindowTest, AStageChosenInTheMenuOfEpisodesIsCopiedAndDrawn) {
    QDir own(Document::shadersPath());
    own.removeRecursively();
    auto* menu = window->findChild<EpisodeMenu*>();
    ASSERT_NE(menu, nullptr);
    const auto open = [&] {
        emit menu->aboutToShow();
        return QTest::qWaitFor([&] { return !menu->isReading(); }, patience);
    };
    ASSERT_TRUE(open());
    EXPECT_FALSE(own.exists()) << "a menu makes no folder";
    ASSERT_EQ(menu->actions().size(), 2);
    EXPECT_EQ(menu->actions()[0]->text(), "1 · Northern Lights");

    own.mkpath("episode-05-many/stages");
    own.mkpath("episode-03-broken");
    const auto put = [&](const QString& name, const QByteArray& text) {
        QFile file(own.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    };
    put("episode-03-broken/source.metal", "float4 no_header;\n");
    put("episode-05-many/source.metal", QByteArray("// @episode 5 Many & more\n") + source);
    for (int i = 1; i <= 200; ++i)
        put(QStringLiteral("episode-05-many/stages/%1-a.metal").arg(i), QByteArray("// Step\n") + source);
    ASSERT_TRUE(open());
    ASSERT_EQ(menu->actions().size(), 4);
    const QAction* broken = menu->actions()[2];
    EXPECT_EQ(broken->text(), "episode-03-broken");
    EXPECT_FALSE(broken->isEnabled());
    EXPECT_TRUE(broken->toolTip().startsWith(own.filePath("episode-03-broken/source.metal is no episode: there is")));
    EXPECT_TRUE(menu->toolTipsVisible());
    EXPECT_EQ(menu->actions()[3]->text(), "5 · Many && more");
    QMenu* stages = menu->actions()[3]->menu();
    ASSERT_NE(stages, nullptr);
    stages->popup(window->mapToGlobal(QPoint(40, 40)));
    ASSERT_EQ(stages->actions().size(), 202); // with a line before the finished shader
    EXPECT_TRUE(window->screen()->geometry().contains(stages->geometry())) << "it scrolls";
    stages->hide();
    EXPECT_EQ(stages->actions().last()->text(), "The Finished Shader");

    const auto choose = [&](QAction* row, const char* name, const char* line) {
        row->trigger();
        EXPECT_EQ(model->filePath(), own.filePath(name));
        EXPECT_TRUE(window->editor()->toPlainText().contains(line)) << name;
        EXPECT_TRUE(QTest::qWaitFor([&] { return model->state() == AppModel::State::live; }, patience))
            << model->statusText().toStdString();
    };
    choose(stages->actions()[1], "episode-05-many-2-a.metal", "// @forked-from episode-05/2-a\n");
    choose(stages->actions()[1], "episode-05-many-2-a 2.metal", "// @forked-from episode-05/2-a\n");
    choose(stages->actions().last(), "episode-05-many.metal", "// @forked-from episode-05\n");
    emit menu->actions()[0]->menu()->aboutToShow();
    choose(menu->actions()[0]->menu()->actions()[1], "episode-01-northern-lights-2-sharp-below-soft-above.metal",
           "// @forked-from episode-01/2-sharp-below-soft-above\n");
    own.removeRecursively();
}

TEST_P(WindowTest, ClosingWaitsForNoFrame) {
    model->devices().isDrawing = [] { return true; }; // one without end
    window->close();
    EXPECT_FALSE(window->isVisible());
    EXPECT_TRUE(model->driverIsAtWork()) << "the process ends without the window's own end";
    EXPECT_NE(window->windowHandle()->handle(), nullptr) << "whose surface the frame is drawn for";
    model->devices().isDrawing = {};
}

TEST_P(WindowTest, ClosingWithUnsavedEditsAsks) {
    replaceInLine(3, "0.5", "0.6");
    auto answer = [&](const char* button) {
        QMessageBox* box = nullptr;
        ASSERT_TRUE(QTest::qWaitFor([&] { return (box = window->findChild<QMessageBox*>()) != nullptr; }, patience));
        for (QAbstractButton* candidate : box->buttons())
            if (candidate->text() == QLatin1String(button)) {
                candidate->click();
                EXPECT_TRUE(QTest::qWaitFor([&] { return !window->findChild<QMessageBox*>(); }, patience));
                return;
            }
        FAIL() << button;
    };
    window->close();
    answer("Cancel");
    EXPECT_TRUE(window->isVisible());
    window->close();
    answer("Save");
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window->isVisible(); }, patience));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("float green = 0.6;"));
}

TEST_P(WindowTest, TheThemeChangesAtOnce) {
    auto ground = [&] {
        return window->editor()->grab().toImage().pixelColor(window->editor()->width() - 40,
                                                             window->editor()->height() - 40);
    };
    for (const auto appearance : {Theme::Appearance::light, Theme::Appearance::dark}) {
        Theme::instance().setAppearance(appearance);
        EXPECT_EQ(ground(), themed(Role::editor));
        EXPECT_EQ(Theme::instance().isDark(), appearance == Theme::Appearance::dark);
    }
}

TEST_P(WindowTest, ALostDeviceStopsThePictureUntilTheNextGoodCompile) {
    ASSERT_TRUE(waitForColor(0.25, 0.5));
    const char* const greens[] = {"0.5", "0.9", "0.7"};
    for (int i = 0; i < 2; ++i) {
        model->device()->injectLoss();
        ASSERT_TRUE(QTest::qWaitFor([&] { return !model->deviceTrouble().isEmpty(); }, patience));
        EXPECT_TRUE(QTest::qWaitFor([&] { return !isColor(0.25, i == 0 ? 0.5 : 0.9); }, patience)) << "no picture";
        replaceInLine(3, greens[i], "nothing");
        ASSERT_TRUE(QTest::qWaitFor([&] { return model->errorText().has_value(); }, patience));
        EXPECT_EQ(model->program(), nullptr);
        replaceInLine(3, "nothing", greens[i + 1]);
        EXPECT_TRUE(waitForColor(0.25, i == 0 ? 0.9 : 0.7));
        EXPECT_TRUE(model->deviceTrouble().isEmpty());
    }
    const std::uint64_t frames = window->canvas()->shownFrames();
    EXPECT_TRUE(QTest::qWaitFor([&] { return window->canvas()->shownFrames() > frames + 5; }, patience)) << "it runs";
}

TEST_P(WindowTest, AFrameThatTakesSecondsLeavesTheWindowAliveAndTheNextShaderComes) {
    // Frames of such a test before this one may still be in work, for long on a busy machine.
    ASSERT_TRUE(waitForColor(0.25, 0.5) || waitForColor(0.25, 0.5));
    ASSERT_TRUE(QTest::qWaitFor([&] { return model->deviceTrouble().isEmpty(); }, patience));
    replaceInLine(3, "0.5", "0.0; for (int i = 0; i < 6000; ++i) green = sin(green + uv.x + float(i))");
    if (!QTest::qWaitFor([&] { return !model->deviceTrouble().isEmpty(); }, patience))
        GTEST_SKIP() << "this device draws it in time";
    // Events come through: the editor takes them.
    replaceInLine(3, "6000", "1");
    replaceInLine(3, "sin(green + uv.x + float(i))", "0.9");
    EXPECT_TRUE(waitForColor(0.25, 0.9));
    EXPECT_TRUE(QTest::qWaitFor([&] { return model->deviceTrouble().isEmpty(); }, patience));
}

TEST_P(WindowTest, ABoxOverThePictureIsSeenAndFades) {
    ASSERT_TRUE(waitForColor(0.25, 0.5));
    model->setShowsEditor(false);
    SliderBox* box = window->sliders()->box();
    ASSERT_NE(box, nullptr);
    const auto colorAt = [&](QPoint place) {
        const QPoint global = window->mapToGlobal(place);
        if (GetParam() == Canvas::Kind::readBack) return window->grab().toImage().pixelColor(place);
        return window->screen()->grabWindow(0, global.x(), global.y(), 1, 1).toImage().pixelColor(0, 0);
    };
    const auto isPicture = [&](QPoint place) {
        const QColor color = colorAt(place);
        return std::abs(color.redF() - 0.25) < 0.02 && std::abs(color.greenF() - 0.5) < 0.02;
    };
    const auto isPanel = [&](QPoint place) { return colorAt(place) == themed(Role::panel); };
    const auto comes = [&](auto&& what) { return QTest::qWaitFor(what, patience); };
    const auto inside = [&] { return box->geometry().topLeft() + QPoint(box->width() / 2, 8); };
    EXPECT_TRUE(comes([&] { return isPanel(inside()) && isPicture(box->geometry().topLeft() - QPoint(2, 2)); }));
    EXPECT_TRUE(isPicture(box->geometry().topLeft() + QPoint(1, 1))) << "the corners are round";
    // In another corner, and after the window has had another size.
    box->setCorner(0);
    window->resize(900, 600);
    EXPECT_TRUE(comes([&] { return isPanel(inside()) && isPicture(box->geometry().bottomRight() + QPoint(2, 2)); }));
    // While it goes it is neither; then the picture is whole.
    box->over()->fadeOut();
    EXPECT_TRUE(comes([&] { return !isPanel(inside()); }));
    EXPECT_TRUE(comes([&] { return !box->isVisible() && isPicture(inside()); }));
    box->over()->fadeIn();
    EXPECT_TRUE(comes([&] { return isPanel(inside()); }));
}

INSTANTIATE_TEST_SUITE_P(Both, WindowTest, ::testing::Values(Canvas::Kind::readBack, Canvas::Kind::surface),
                         [](const auto& info) { return info.param == Canvas::Kind::surface ? "Surface" : "ReadBack"; });

} // namespace
} // namespace glasshob
