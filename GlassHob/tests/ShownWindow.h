// A whole window over a model whose delays and questions a test answers. The picture is read back, so that no display
// is needed; nothing waits for the clock.
#pragma once

#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/sliders/Inspector.h"
#include "GlassHob/ui/window/MainWindow.h"

#include <QApplication>
#include <QTest>

namespace glasshob {

class ShownWindow : public AppModelTest {
  protected:
    static void SetUpTestSuite() { Theme::instance().install(); }
    void SetUp() override {
        AppModelTest::SetUp();
        window = std::make_unique<MainWindow>(*model, Canvas::Kind::readBack);
        window->resize(1440, 900);
        window->show();
        window->activateWindow();
        (void)QTest::qWaitForWindowActive(window.get());
    }
    void TearDown() override {
        window.reset();
        AppModelTest::TearDown();
    }
    void resize(int width, int height) {
        window->resize(width, height);
        QApplication::processEvents();
        QApplication::processEvents(); // what a resize has put off
    }
    // "value7 0.5 0 1" for each, after "speed 0.6 0 3 How fast".
    static std::string withSliders(int count) {
        std::string params = "// @param speed 0.6 0.0 3.0 How fast";
        for (int i = 1; i < count; ++i)
            params += "\n// @param value" + std::to_string(i) + " 0.5 0.0 1.0";
        return shader(params);
    }

    std::unique_ptr<MainWindow> window;
};

} // namespace glasshob
