// The window under Wayland, where a surface takes any size, goes with its window, and an offence against the protocol
// ends the program.
#include "GPU/Device.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/DialogQuestions.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/window/MainWindow.h"
#include "GlassHob/ui/window/SliderBox.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QSettings>
#include <QTest>
#include <QWindow>

namespace glasshob {
namespace {

constexpr int patience = 60000; // milliseconds before a wait is a failure

class WaylandTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { Theme::instance().install(); }
    void SetUp() override {
        ASSERT_EQ(QGuiApplication::platformName(), "wayland");
        QSettings().clear();
        auto device = gpu::Device::systemDefault();
        ASSERT_TRUE(device) << device.error().description();
        model = std::make_unique<AppModel>(AppModel::Surroundings{.device = *device, .questions = &questions});
        window = std::make_unique<MainWindow>(*model);
        questions.setWindow(window.get());
        window->resize(1000, 640);
        window->show();
        run();
        ASSERT_EQ(window->canvas()->kind(), Canvas::Kind::surface);
    }
    void TearDown() override {
        window.reset(); // with frames in flight
        model.reset();
        // What the compositor has to say about that comes before its answer to another window.
        QWidget other;
        other.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&other, patience));
    }
    void run() {
        model->setText("// @param red 0.25 0 1\n"
                       "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                       "    return float4(p.red + 1e-9 * u.time, uv, 1.0);\n" // in motion, and not to be seen
                       "}\n");
        model->compileNow();
    }
    bool rests() const {
        return QTest::qWaitFor([&] { return !window->canvas()->isDrawing(); }, patience);
    }
    bool runs() const {
        const std::uint64_t before = window->canvas()->shownFrames();
        return QTest::qWaitFor([&] { return window->canvas()->shownFrames() > before + 5; }, patience);
    }
    bool fits() const {
        return QTest::qWaitFor([&] { return window->canvas()->frameSize() == window->canvas()->pixelSize(); },
                               patience) &&
               runs();
    }

    DialogQuestions questions;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<MainWindow> window;
};

TEST_F(WaylandTest, ThePictureFollowsItsPane) {
    ASSERT_TRUE(runs());
    const QSize first = window->canvas()->frameSize();
    model->setShowsEditor(false);
    QApplication::processEvents();
    EXPECT_GT(window->canvas()->pixelSize().width(), first.width());
    EXPECT_TRUE(fits());
    window->resize(1300, 800);
    EXPECT_TRUE(fits());
    model->setShowsEditor(true);
    window->resize(900, 600);
    EXPECT_TRUE(fits());
}

TEST_F(WaylandTest, AHiddenWindowComesBack) {
    ASSERT_TRUE(runs());
    for (int time = 0; time < 3; ++time) {
        window->hide();
        ASSERT_TRUE(rests());
        window->show();
        EXPECT_TRUE(runs());
    }
    // Without a program the picture's own window is hidden.
    model->reportDeviceLoss();
    ASSERT_TRUE(rests());
    run();
    EXPECT_TRUE(runs());
}

TEST_F(WaylandTest, ABoxOverThePictureHasThePointer) {
    ASSERT_TRUE(runs());
    model->setShowsEditor(false);
    const SliderBox* box = window->sliders()->box();
    ASSERT_NE(box, nullptr);
    const auto isLeftOut = [&] {
        const QPoint place = window->canvas()->mapFrom(window.get(), box->geometry().center());
        for (const QWindow* each : QGuiApplication::allWindows())
            if (each->surfaceType() == QSurface::VulkanSurface)
                return !each->mask().isEmpty() && !each->mask().contains(place) && each->mask().contains(QPoint(2, 2));
        return false;
    };
    EXPECT_TRUE(QTest::qWaitFor(isLeftOut, patience));
    EXPECT_TRUE(runs());
}

} // namespace
} // namespace glasshob
