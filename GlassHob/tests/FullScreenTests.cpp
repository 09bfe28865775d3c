// The picture alone on the screen, over a picture that is read back: which panes go, what the keys do, when the boxes
// and the pointer go, and that everything is where it was afterwards. And the picture on the clipboard.

#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/picture/PictureActions.h"
#include "GlassHob/ui/picture/TransportBox.h"
#include "GlassHob/ui/window/FullScreen.h"
#include "GlassHob/ui/window/SliderBox.h"
#include "GlassHob/ui/window/StatusLine.h"
#include "GlassHob/ui/window/Toolbar.h"

#include <QAction>
#include <QClipboard>
#include <QMenuBar>

namespace glasshob {
namespace {

class FullScreenTest : public ShownWindow {
  protected:
    void SetUp() override {
        ShownWindow::SetUp();
        model->setText(withSliders(3));
        model->compileNow();
        auto made = std::make_unique<ManualDelay>();
        stillness = made.get();
        full = window->fullScreen();
        full->setStillness(std::move(made));
    }
    bool furnitureShown() const {
        return window->menuBar()->isVisible() && window->findChild<Toolbar*>()->isVisible() &&
               window->findChild<StatusLine*>()->isVisible() && window->editor()->isVisible();
    }
    void key(Qt::Key key) { QTest::keyClick(window->canvas(), key); }
    // It fades first.
    static bool goes(const QWidget* box) {
        return QTest::qWaitFor([&] { return !box->isVisible(); });
    }

    FullScreen* full = nullptr;
    ManualDelay* stillness = nullptr;
};

TEST_F(FullScreenTest, OnlyThePictureAndItsBoxesAreLeftAndAllComesBack) {
    window->pictureActions()->fullScreen->trigger();
    EXPECT_TRUE(full->isActive());
    EXPECT_TRUE(window->isFullScreen());
    EXPECT_FALSE(window->editor()->isVisible());
    EXPECT_FALSE(window->menuBar()->isVisible());
    QTest::qWait(0);
    EXPECT_EQ(window->canvas()->mapTo(window.get(), QPoint(0, 0)), QPoint(0, 0));
    EXPECT_EQ(window->canvas()->size(), window->size());
    ASSERT_NE(window->sliders()->box(), nullptr);
    EXPECT_TRUE(window->sliders()->box()->isVisible());
    EXPECT_TRUE(full->transport()->isVisible());

    QTest::keyClick(window.get(), Qt::Key_Escape);
    EXPECT_FALSE(full->isActive());
    EXPECT_FALSE(window->isFullScreen());
    EXPECT_TRUE(furnitureShown());
    EXPECT_EQ(window->sliders()->box(), nullptr);
    EXPECT_TRUE(window->inspector()->isVisible());
    EXPECT_TRUE(window->inspector()->mask().isEmpty()) << "the box's corners are not the pane's";

    // Without an editor before, there is none after.
    model->setShowsEditor(false);
    full->enter();
    full->leave();
    EXPECT_FALSE(window->editor()->isVisible());
    EXPECT_TRUE(window->menuBar()->isVisible());
}

TEST_F(FullScreenTest, F6GoesRoundTheBoxesEvenWhenTheyHaveGone) {
    window->pictureActions()->fullScreen->trigger();
    window->canvas()->setFocus();
    stillness->elapse();
    ASSERT_FALSE(full->controlsShown());
    QStringList order;
    for (int press = 0; press < 3; ++press) {
        QTest::keyClick(window.get(), Qt::Key_F6);
        const QWidget* focus = QApplication::focusWidget();
        order << (!focus ? "none" : full->transport()->isAncestorOf(focus) ? "transport" : "sliders");
        EXPECT_TRUE(full->controlsShown());
    }
    EXPECT_TRUE(order == (QStringList{"sliders", "transport", "sliders"})) << order.join(u' ').toStdString();
}

TEST_F(FullScreenTest, KeysDriveThePicture) {
    full->enter();
    QApplication::processEvents();
    stillness->elapse();
    key(Qt::Key_Space);
    EXPECT_TRUE(model->paused());
    EXPECT_TRUE(full->controlsShown()) << "what the key did is to be seen";
    const auto frame = model->frame();
    key(Qt::Key_Period);
    EXPECT_EQ(model->frame(), frame + 1);
    key(Qt::Key_Home);
    EXPECT_EQ(model->time(), 0);
    key(Qt::Key_Space);
    EXPECT_FALSE(model->paused());
    stillness->elapse();
    EXPECT_FALSE(full->controlsShown());
    key(Qt::Key_Tab);
    EXPECT_TRUE(full->controlsShown());
    EXPECT_TRUE(full->transport()->isAncestorOf(QApplication::focusWidget()));
}

TEST_F(FullScreenTest, StillnessTakesTheBoxesAndThePointerUntilItMoves) {
    full->enter();
    EXPECT_EQ(stillness->seconds_, 2);
    stillness->elapse();
    EXPECT_TRUE(goes(full->transport()));
    EXPECT_TRUE(goes(window->sliders()->box()));
    EXPECT_EQ(window->canvas()->cursor().shape(), Qt::BlankCursor);
    emit window->canvas()->pointerActivity();
    EXPECT_TRUE(full->transport()->isVisible());
    EXPECT_TRUE(window->sliders()->box()->isVisible());
    EXPECT_NE(window->canvas()->cursor().shape(), Qt::BlankCursor);
    // What has the keyboard stays.
    full->transport()->focusFirst();
    stillness->elapse();
    EXPECT_TRUE(full->transport()->isVisible());
    EXPECT_TRUE(stillness->isWaiting()) << "asked again later";
    QTest::mouseClick(window->canvas(), Qt::LeftButton);
    stillness->elapse();
    EXPECT_TRUE(goes(full->transport())) << "a click beside it takes the keyboard away";
    // Half gone, it comes back.
    emit window->canvas()->pointerActivity();
    stillness->elapse();
    emit window->canvas()->pointerActivity();
    QTest::qWait(0);
    EXPECT_TRUE(full->controlsShown() && full->transport()->isVisible());
    // Without sliders there is no box of them.
    model->setText(shader(""));
    model->compileNow();
    EXPECT_FALSE(window->sliders()->box()->isVisible());
    full->leave();
    EXPECT_FALSE(stillness->isWaiting());
    EXPECT_NE(window->canvas()->cursor().shape(), Qt::BlankCursor);
}

TEST_F(FullScreenTest, EndsWhenThereIsSomethingToRead) {
    full->enter();
    model->openDownloaded(file("shared.metal", shader("")), QUrl("https://example.org/s/ab12"));
    EXPECT_FALSE(full->isActive());
    EXPECT_TRUE(window->editor()->isVisible());
    model->run();
    full->enter();
    model->setShowsEditor(false);
    EXPECT_FALSE(full->isActive()) << "the editor's key was pressed";
}

TEST_F(FullScreenTest, ThePictureIsCopiedAsItIsOnTheScreen) {
    const QObject scope;
    bool switched = false;
    QObject::connect(window->canvas(), &Canvas::programSwitched, &scope, [&] { switched = true; });
    model->setText(shader("// @param red 0.25 0 1 How much", "float4(p.red, 0.5, 0.75, 1.0)"));
    model->compileNow();
    ASSERT_TRUE(QTest::qWaitFor([&] { return switched; }, 10000));
    model->setValue("red", 1);
    QGuiApplication::clipboard()->clear();
    QString told;
    QObject::connect(window->pictureActions(), &PictureActions::told, &scope,
                     [&](const QString& text) { told = text; });
    window->pictureActions()->copyPicture->trigger();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !told.isEmpty(); }, 10000));
    const QImage image = QGuiApplication::clipboard()->image();
    EXPECT_EQ(image.size(), window->canvas()->pixelSize());
    EXPECT_EQ(image.pixelColor(10, 10), QColor(255, 128, 191));
    EXPECT_EQ(told, QString("The picture is on the clipboard, %1 × %2 pixels.").arg(image.width()).arg(image.height()));
}

} // namespace
} // namespace glasshob
