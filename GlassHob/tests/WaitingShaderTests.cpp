// A shader from the gallery that waits for Run is compiled by nothing. The compiles of the whole process are counted
// over everything that may happen to such a document.

#include "GPU/Testing.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/model/RecentFiles.h"
#include "GlassHob/model/StartStill.h"
#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/tests/TinyEpisode.h"
#include "GlassHob/ui/editor/CodeAssistant.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHobRender/program/ShaderCompiler.h"

#include <QAction>
#include <QMenu>

#include <algorithm>

namespace glasshob {
namespace {

class WaitingShaderTest : public ShownWindow {
  protected:
    void SetUp() override {
        ShownWindow::SetUp();
        // An episode: every window of the program has something to do with it.
        tiny.emplace(folder.path());
        model->openDownloaded(tiny->source(), QUrl("https://www.example.org/episode-07-rings/source.metal"));
        before = ShaderCompiler::count();
    }
    // What was put off has its turn, and threads that were begun have compiled.
    void settle() {
        delay_->elapse();
        QApplication::processEvents();
        EXPECT_TRUE(comesTrue([this] { return !model->episode().isCompiling(); }));
        QApplication::processEvents();
    }
    void expectNoCompile(const std::string& after) {
        settle();
        EXPECT_EQ(ShaderCompiler::count(), before) << after;
        EXPECT_EQ(model->program(), nullptr) << after;
        EXPECT_TRUE(model->needsRun()) << after;
        before = ShaderCompiler::count();
    }
    // The process ends, with its edits kept, and the next one starts.
    void startAnew() {
        window.reset();
        makeModel();
        window = std::make_unique<MainWindow>(*model, Canvas::Kind::readBack);
        window->show();
        model->start({});
    }

    std::optional<TinyEpisode> tiny;
    std::uint64_t before = 0;
};

TEST_F(WaitingShaderTest, NoCommandOfTheWindowCompilesIt) {
    // These open another document, end the program, or are what the shader waits for.
    const QStringList others{"&Run",         "&New",         "&Open…", "Open &Sample", "&Quit", "New From &Episode",
                             "Open &Recent", "&Clear Recent"};
    questions.path = folder.filePath("copy");
    QList<QAction*> actions;
    for (QAction* action : window->findChildren<QAction*>()) {
        const auto menus = action->associatedObjects();
        const bool opens = std::ranges::any_of(menus, [](QObject* object) {
            const auto* menu = qobject_cast<QMenu*>(object);
            return menu && (menu->title().contains("New From") || menu->title().contains("Recent") ||
                            menu->title().contains("Example"));
        });
        if (!opens && !action->menu() && !others.contains(action->text())) actions << action;
    }
    ASSERT_GT(actions.size(), 30);
    for (QAction* action : actions) {
        // Also those that a window with this shader would have disabled: nothing rests on that alone.
        action->setEnabled(true);
        action->trigger();
        expectNoCompile("command " + action->text().toStdString());
        for (QWidget* other : QApplication::topLevelWidgets())
            if (other != window.get() && other->isWindow()) other->close();
    }
}

TEST_F(WaitingShaderTest, NoEditAndNothingOnDiskCompilesIt) {
    CodeEditor* editor = window->editor();
    editor->setFocus();
    editor->goTo(9, 1);
    QTest::keyClicks(editor, "float y = sm");
    expectNoCompile("typing");
    editor->assistant()->complete();
    expectNoCompile("completion");
    editor->assistant()->dismiss();
    editor->undo();
    model->compileNow();
    expectNoCompile("compile now");

    model->save();
    writeText(tiny->source(), TinyEpisode::sourceText("float d = cos(uv.y);"));
    model->diskChanged();
    expectNoCompile("a newer file on disk");
    model->textChanged("// mine");
    writeText(tiny->source(), TinyEpisode::sourceText("float d = uv.x;"));
    questions.choice = 1;
    model->diskChanged();
    expectNoCompile("the disk's version, chosen");
    model->textChanged("// mine");
    questions.choice = 0;
    model->revert();
    EXPECT_EQ(model->currentText(), TinyEpisode::sourceText("float d = uv.x;"));
    expectNoCompile("revert");
    QFile::remove(tiny->source());
    model->document().fileGone();
    model->save();
    expectNoCompile("a file that went");
    writeText(tiny->stage(2), TinyEpisode::stageText("Other", "float d = 0.5;"));
    expectNoCompile("a stage that is saved");
}

TEST_F(WaitingShaderTest, NothingThatWorksOnProgramsCompilesIt) {
    QObject user;
    model->episode().setNeed(&user, OpenEpisode::Need::programs);
    model->episode().lookAgain();
    expectNoCompile("an episode's programs");
    model->setValue("warm", 0.9f);
    model->setValues({{"warm", 0.1f}});
    model->resetAllValues();
    model->presets().save("Some", {{"warm", 0.2f}});
    expectNoCompile("sliders and presets");
    model->saveStill();
    StartStill(*model).setWanted(true);
    model->exports().chooseAndStart();
    EXPECT_FALSE(model->exports().isRunning());
    expectNoCompile("stills and exports");
    model->setPaused(false);
    model->tick(1);
    model->tick(2);
    model->stepFrame();
    model->setTime(3);
    expectNoCompile("the clock");
    model->device()->injectLoss();
    model->reportDeviceLoss();
    model->reportSlowFrame(5);
    model->compileNow();
    expectNoCompile("a device that is lost");
}

TEST_F(WaitingShaderTest, NoStartCompilesItUnread) {
    // Another shader is the last one that was seen, and this one is then saved over it.
    const QString last = file("last.metal", shader(""));
    QSettings().setValue("lastShaderPath", last);
    const QString link = folder.filePath("link.metal");
    QFile::link(last, link);
    questions.path = link;
    model->saveAs();
    EXPECT_TRUE(model->needsRun());
    expectNoCompile("save as");
    model->close();
    EXPECT_FALSE(QSettings().contains("lastShaderPath"));
    EXPECT_FALSE(RecentFiles(model->document()).existing().contains(link));

    model->textChanged(TinyEpisode::sourceText("float d = uv.y;"));
    startAnew();
    EXPECT_FALSE(model->filePath()) << "the sample";
    ASSERT_TRUE(model->draftOffer());
    before = ShaderCompiler::count();
    model->restoreDraft();
    EXPECT_EQ(model->filePath(), link);
    expectNoCompile("edits that a crash had left behind");

    // By hand it is an ordinary file.
    questions.choice = 2;
    model->openAfterQuestion(link);
    EXPECT_FALSE(model->needsRun());
    EXPECT_EQ(ShaderCompiler::count(), before + 1);
}

} // namespace
} // namespace glasshob
