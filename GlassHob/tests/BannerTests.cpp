// The banners: what they say for which state of the model, what their buttons do, and where the keyboard goes.

#include "GPU/Testing.h"
#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/ui/controls/Banner.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/window/Banners.h"
#include "GlassHobCore/Identity.h"
#include "GlassHobCore/text/Text.h"

#include <QAction>

namespace glasshob {
namespace {

class BannerTest : public ShownWindow {
  protected:
    Banner* tall() { return window->banners()->acrossWindow(); }
    Banner* line() { return window->banners()->overEditor(); }
    void press(Banner* banner, const char* button) {
        for (TextButton* candidate : banner->buttons())
            if (candidate->text() == QLatin1String(button)) return candidate->click();
        FAIL() << button;
    }
};

TEST_F(BannerTest, AShaderFromTheSiteWaitsForRun) {
    const QString path = file("s-ab12.metal", shader(""));
    window->editor()->setFocus();
    model->openDownloaded(path, QUrl("https://example.org/s/ab12"));
    ASSERT_TRUE(tall()->isTelling());
    const QString site = asQString(Identity::siteHost);
    EXPECT_EQ(tall()->accessibleName(), "Shader from " + site + ": read it, then press Run");
    EXPECT_TRUE(tall()->accessibleDescription().contains("saved as s-ab12.metal in "));
    EXPECT_TRUE(window->editor()->hasFocus()) << "a stray Return must not run it";
    EXPECT_EQ(tall()->buttons().size(), 1u);
    EXPECT_FALSE(tall()->closeButton()->isVisibleTo(tall()));
    EXPECT_EQ(model->program(), nullptr);
    QTest::keyClick(window.get(), Qt::Key_F6, Qt::ShiftModifier);
    EXPECT_EQ(QApplication::focusWidget(), tall()->buttons()[0]);
    EXPECT_TRUE(window->banners()->runAction()->isVisible());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    EXPECT_FALSE(model->needsRun());
    EXPECT_NE(model->program(), nullptr);
    EXPECT_FALSE(tall()->isTelling());
    EXPECT_TRUE(window->editor()->hasFocus());
    EXPECT_FALSE(window->banners()->runAction()->isVisible());
    model->openDownloaded(path, QUrl("https://example.org/s/ab12"));
    QTest::keyClick(window->editor(), Qt::Key_Return, Qt::ControlModifier);
    EXPECT_FALSE(model->needsRun());
}

TEST_F(BannerTest, ALostDeviceIsToldUntilACompileSucceeds) {
    model->open(file("a.metal", shader("")));
    model->device()->injectLoss();
    model->reportDeviceLoss();
    ASSERT_TRUE(tall()->isTelling());
    EXPECT_TRUE(tall()->accessibleName().endsWith("so the picture has stopped."));
    EXPECT_TRUE(tall()->accessibleDescription().startsWith("Change the shader or compile it again"));
    tall()->closeButton()->click();
    EXPECT_FALSE(tall()->isTelling());
    model->textChanged("nonsense");
    delay_->elapse();
    EXPECT_FALSE(tall()->isTelling()) << "closed is closed";
    model->textChanged(shader(""));
    model->compileNow();
    ASSERT_NE(model->program(), nullptr);
    model->device()->injectLoss();
    model->reportDeviceLoss();
    EXPECT_TRUE(tall()->isTelling()) << "another loss is told again";
    press(tall(), "Compile Now");
    EXPECT_FALSE(tall()->isTelling());
    EXPECT_NE(model->program(), nullptr);
}

TEST_F(BannerTest, ASlowFrameIsToldWithoutResizingThePicture) {
    model->open(file("a.metal", shader("")));
    QApplication::processEvents();
    const QRect picture = window->canvas()->geometry();
    model->reportSlowFrame(5);
    ASSERT_TRUE(line()->isTelling());
    EXPECT_FALSE(tall()->isTelling());
    const QString before = line()->accessibleName();
    model->reportSlowFrame(6);
    EXPECT_NE(line()->accessibleName(), before);
    QApplication::processEvents();
    EXPECT_EQ(window->canvas()->geometry(), picture);
    line()->closeButton()->click();
    model->reportSlowFrame(7);
    EXPECT_FALSE(line()->isTelling());
    model->reportSlowFrame(0);
    model->reportSlowFrame(5);
    EXPECT_TRUE(line()->isTelling());
    model->reportSlowFrame(0);
    EXPECT_FALSE(line()->isTelling());
}

TEST_F(BannerTest, EditsThatACrashLeftAreOffered) {
    const QString path = file("a.metal", shader("// saved"));
    model->start({});
    model->open(path);
    model->textChanged(shader("// edited"));
    delay_->elapse();
    ASSERT_EQ(drafts().size(), 1);
    // The process ends without a word: its draft stays.
    const QString kept = folder.filePath("drafts/" + drafts().first());
    const std::string draft = contents(kept);
    window.reset();
    model.reset();
    QFile out(kept);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(draft.data(), qint64(draft.size()));
    out.close();
    makeModel();
    window = std::make_unique<MainWindow>(*model, Canvas::Kind::readBack);
    window->show();
    model->start({});
    ASSERT_TRUE(line()->isTelling());
    EXPECT_TRUE(line()->accessibleName().startsWith("a.metal has edits from "));
    press(line(), "Restore");
    EXPECT_EQ(model->currentText(), shader("// edited"));
    EXPECT_TRUE(model->isDirty());
    EXPECT_FALSE(line()->isTelling());
}

TEST_F(BannerTest, ShowsItsButtonsAndClosesWithEscape) {
    Banner banner(Banner::Look::line, nullptr);
    banner.resize(400, 40);
    int closed = 0, first = 0;
    Banner::Contents contents;
    contents.title = "Something happened.";
    contents.choices = {{"One", [&] { ++first; }}, {"Two", [] {}}};
    contents.close = [&] { ++closed; };
    banner.tell(contents);
    ASSERT_EQ(banner.buttons().size(), 2u);
    EXPECT_TRUE(QTest::qWaitFor([&] { return banner.height() == 40; }, 5000));
    EXPECT_LT(banner.buttons()[0]->x(), banner.buttons()[1]->x());
    EXPECT_LT(banner.buttons()[1]->geometry().right(), banner.closeButton()->x());
    EXPECT_EQ(banner.buttons()[0]->accessibleDescription(), "Something happened.");
    banner.buttons()[0]->click();
    EXPECT_EQ(first, 1);
    EXPECT_TRUE(banner.isTelling()) << "what a button does decides whether it stays";
    QTest::keyClick(&banner, Qt::Key_Escape);
    EXPECT_EQ(closed, 1);
    EXPECT_FALSE(banner.isTelling());
    contents.close = {};
    banner.tell(contents);
    QTest::keyClick(&banner, Qt::Key_Escape);
    EXPECT_TRUE(banner.isTelling()) << "what must be answered cannot be closed";
}

} // namespace
} // namespace glasshob
