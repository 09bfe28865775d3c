#include "GlassHob/tests/EveryWindow.h"

#include "GlassHob/model/EpisodeExport.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/model/Presets.h"
#include "GlassHob/model/VariationPicker.h"
#include "GlassHob/tests/TestGallery.h"
#include "GlassHob/ui/account/AccountPages.h"
#include "GlassHob/ui/account/AccountSheet.h"
#include "GlassHob/ui/controls/ChoiceField.h"
#include "GlassHob/ui/controls/DialogPicture.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/controls/Segments.h"
#include "GlassHob/ui/editor/CodeAssistant.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/CodePointer.h"
#include "GlassHob/ui/editor/ColourPicker.h"
#include "GlassHob/ui/editor/CompletionPopup.h"
#include "GlassHob/ui/editor/FindBar.h"
#include "GlassHob/ui/editor/MessageList.h"
#include "GlassHob/ui/export/ChapterList.h"
#include "GlassHob/ui/export/EpisodePages.h"
#include "GlassHob/ui/export/EpisodeParts.h"
#include "GlassHob/ui/export/EpisodeWindow.h"
#include "GlassHob/ui/export/ExportActions.h"
#include "GlassHob/ui/export/ExportForm.h"
#include "GlassHob/ui/export/ExportOutcome.h"
#include "GlassHob/ui/export/ExportWindow.h"
#include "GlassHob/ui/export/OwnPicture.h"
#include "GlassHob/ui/export/PresetCards.h"
#include "GlassHob/ui/export/StillWindow.h"
#include "GlassHob/ui/handbook/HandbookWindow.h"
#include "GlassHob/ui/picture/PictureActions.h"
#include "GlassHob/ui/picture/TransportBox.h"
#include "GlassHob/ui/sliders/Inspector.h"
#include "GlassHob/ui/variations/VariationActions.h"
#include "GlassHob/ui/variations/VariationGrid.h"
#include "GlassHob/ui/variations/VariationStrip.h"
#include "GlassHob/ui/variations/VariationsWindow.h"
#include "GlassHob/ui/walkthrough/WalkthroughActions.h"
#include "GlassHob/ui/walkthrough/WalkthroughList.h"
#include "GlassHob/ui/walkthrough/WalkthroughWindow.h"
#include "GlassHob/ui/window/FullScreen.h"
#include "GlassHob/ui/window/SliderBox.h"
#include "GlassHob/ui/window/UpdateBox.h"
#include "GlassHobCore/Identity.h"
#include "GlassHobCore/shader/SampleShelf.h"
#include "GlassHobRender/formats/ExportError.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QDir>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPointer>
#include <QSplitter>
#include <QTest>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace glasshob {

namespace {

const std::string mistakes = "// @param speed 0.6 0.0 3.0 How fast\n"
                             "// @param warmth 0.5 0.0 1.0 Colour\n"
                             "// @parm mistyped 1 0 2\n"
                             "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                             "    float wave = sinn(uv.x * 8.0 + u.time * p.speed);\n"
                             "    float3 colour = float3(0.9, wave, p.warmht);\n"
                             "    floot grey = dot(colour, float3(1.0));\n"
                             "    return float4(colour * gray, 1.0)\n"
                             "}\n";

std::string manySliders() {
    std::string params;
    for (int i = 1; i <= 24; ++i)
        params += "// @param a_rather_long_name_" + std::to_string(i) +
                  " 0.5 0.0 1.0 What this one does is told in a sentence that is longer than its row\n";
    return shader(params, "float4(p.a_rather_long_name_1, uv, 1.0)");
}

} // namespace

EveryWindow::EveryWindow(Canvas::Kind canvas, const QByteArray& geometry) {
    QSettings().clear();
    if (!geometry.isEmpty()) QSettings().setValue(QStringLiteral("window/geometry"), geometry);
    account_ = std::make_unique<AccountModel>(Site::at(gallery_.url().toString().toStdString()), session_, tokens_);
    auto device = gpu::Device::systemDefault();
    model_ = std::make_unique<AppModel>(
        AppModel::Surroundings{.device = std::move(*device),
                               .questions = &questions_,
                               .presetStore = PresetStore(folder_.filePath(QStringLiteral("presets.json"))),
                               .movieMaker =
                                   [this](const ExportOrder& order, const ExportJob::Target& target) {
                                       std::ofstream(target.path) << "a movie";
                                       const std::int64_t frames = order.frameCount();
                                       target.progress(frames * 62 / 100, frames);
                                       go_.acquire();
                                       if (!target.progress(frames, frames)) throw ExportError::cancelled();
                                       if (fails_) throw ExportError::render(372);
                                   },
                               .compilePatience = std::chrono::minutes(2),
                               .account = account_.get()});
    window_ = std::make_unique<MainWindow>(*model_, canvas);
    questions_.setWindow(window_.get());
    window_->show();
    window_->activateWindow();
    (void)QTest::qWaitForWindowActive(window_.get());
    open(QStringLiteral("flowing-color.metal"), sample("01-flowing-color.metal"));
}

EveryWindow::~EveryWindow() {
    go_.release(4);
}

std::string EveryWindow::sample(const char* file) {
    const std::vector<SampleShelf::Sample> samples = SampleShelf::all();
    const auto found = std::ranges::find(samples, file, &SampleShelf::Sample::file);
    EXPECT_NE(found, samples.end()) << file;
    return found == samples.end() ? shader("") : found->text;
}

void EveryWindow::open(const QString& name, const std::string& text) {
    const QString path = folder_.filePath(name);
    std::ofstream(path.toStdString()) << text;
    model_->open(path);
    settle();
}

void EveryWindow::settle() {
    for (int i = 0; i < 3; ++i)
        QApplication::processEvents(); // what a change of the layout has put off
}

QAction* EveryWindow::action(const QString& title) const {
    for (QAction* made : window_->findChildren<QAction*>())
        if (QString(made->text()).remove(u'&').section(u'\t', 0, 0) == title) return made;
    ADD_FAILURE() << "no action " << title.toStdString();
    return nullptr;
}

void EveryWindow::visitMainWindow(const Visitor& visit) {
    const auto see = [&](const QString& name) {
        settle();
        visit(name, window_.get());
    };
    see(QStringLiteral("main"));
    model_->setValue(model_->program()->params().front().name, 0.1f);
    model_->presets().save(QStringLiteral("Slow and wide"), model_->values());
    model_->presets().save(QStringLiteral("A preset with a name that is longer than its row"), model_->values());
    model_->setLoop(TimeStretch{2, 8});
    see(QStringLiteral("main-changed"));
    open(QStringLiteral("many.metal"), manySliders());
    see(QStringLiteral("main-many-sliders"));
    open(QStringLiteral("none.metal"), shader(""));
    see(QStringLiteral("main-no-sliders"));
    model_->setText(mistakes);
    model_->compileNow();
    see(QStringLiteral("main-mistakes"));
    window_->editor()->showMessages(4);
    see(QStringLiteral("main-message-tip"));
    window_->editor()->assistant()->dismiss();
    model_->setShowsEditor(false);
    see(QStringLiteral("main-mistakes-without-editor"));
    model_->setText(shader("// @param s 1 0 2"));
    model_->compileNow();
    model_->setShowsEditor(true);

    open(QStringLiteral("a-file-with-a-name-that-is-much-too-long-for-the-strip-over-the-editor.metal"),
         sample("04-quicksilver.metal"));
    window_->editor()->setFocus();
    auto* find = window_->findChild<FindBar*>();
    find->openReplace();
    find->findField()->setText(QStringLiteral("float"));
    see(QStringLiteral("main-find"));
    find->setOptions({.isExpression = true});
    find->findField()->setText(QStringLiteral("(flo"));
    see(QStringLiteral("main-find-refused"));
    find->setOptions({});
    find->findField()->setText(QStringLiteral("nowhere"));
    auto* panes = window_->findChild<QSplitter*>();
    const QList<int> sizes = panes->sizes();
    panes->setSizes({1, 10'000});
    see(QStringLiteral("main-narrow-editor"));
    panes->setSizes(sizes);
    find->close();
    action(QStringLiteral("Go to Line…"))->trigger();
    see(QStringLiteral("main-go-to-line"));
    QTest::keyClick(window_->focusWidget(), Qt::Key_Escape);
    window_->editor()->goTo(30, 1);
    window_->editor()->assistant()->complete();
    see(QStringLiteral("main-completion"));
    window_->editor()->assistant()->dismiss();

    model_->setShowsEditor(false);
    see(QStringLiteral("main-without-editor"));
    action(QStringLiteral("Show Inspector"))->trigger();
    see(QStringLiteral("main-picture-alone"));
    model_->setShowsEditor(true);
    see(QStringLiteral("main-without-inspector"));
    action(QStringLiteral("Show Inspector"))->trigger();

    model_->openDownloaded(*model_->filePath(), QUrl(QStringLiteral("https://example.org/s/ab12")));
    see(QStringLiteral("main-waiting"));
    model_->run();
}

void EveryWindow::visitFullScreen(const Visitor& visit) {
    for (const auto& [name, text] : {std::pair(QStringLiteral("fullscreen"), sample("05-silk.metal")),
                                     std::pair(QStringLiteral("fullscreen-many-sliders"), manySliders())}) {
        open(QStringLiteral("full.metal"), text);
        window_->fullScreen()->enter();
        EXPECT_TRUE(QTest::qWaitFor([&] { return window_->windowHandle()->visibility() == QWindow::FullScreen; }));
        for (int corner = 0; corner < 4; ++corner) {
            window_->sliders()->box()->setCorner(corner);
            emit window_->canvas()->pointerActivity();
            settle();
            visit(name + QString::number(corner), window_.get());
        }
        window_->fullScreen()->leave();
        settle();
    }
}

void EveryWindow::visitExports(const Visitor& visit) {
    open(QStringLiteral("blue-hour.metal"), sample("02-blue-hour.metal"));
    window_->exportActions()->exportVideo->trigger();
    ExportWindow* shown = window_->exportActions()->window();
    (void)QTest::qWaitForWindowActive(shown);
    const auto see = [&](const QString& name) {
        settle();
        visit(name, shown);
    };
    see(QStringLiteral("export"));
    shown->form()->presets()->cards().back()->click();
    see(QStringLiteral("export-own-size"));
    shown->form()->duration()->setText(QStringLiteral("0"));
    shown->form()->submit();
    see(QStringLiteral("export-refused"));
    ExportChoices choices = model_->exportChoices();
    choices.duration = 10;
    model_->setExportChoices(choices);
    questions_.path = folder_.filePath(QStringLiteral("A movie with a long name, so that it must be cut.mp4"));
    const auto start = [&] {
        model_->exports().chooseAndStart();
        EXPECT_TRUE(comesTrue([&] {
            const auto* running = std::get_if<ExportRunning>(&model_->exportState());
            return running && running->done > 0;
        }));
    };
    start();
    see(QStringLiteral("export-running"));
    go_.release();
    EXPECT_TRUE(comesTrue([&] { return !model_->exports().isRunning(); }));
    see(QStringLiteral("export-finished"));
    fails_ = true;
    start();
    go_.release();
    EXPECT_TRUE(comesTrue([&] { return !model_->exports().isRunning(); }));
    see(QStringLiteral("export-failed"));
    shown->reject();
    settle();

    window_->exportActions()->saveSound->trigger();
    shown = window_->exportActions()->window();
    if (shown) {
        see(QStringLiteral("save-sound"));
        shown->reject();
        settle();
    }
    window_->pictureActions()->saveStill->trigger();
    StillWindow* still = window_->exportActions()->stillWindow();
    settle();
    visit(QStringLiteral("save-still"), still);
    still->picture()->widthField()->setText(QStringLiteral("0"));
    still->submit();
    settle();
    visit(QStringLiteral("save-still-refused"), still);
    still->close();
    settle();
}

void EveryWindow::visitVariations(const Visitor& visit) {
    open(QStringLiteral("episode.metal"),
         "// @episode 7 Flowing Colour\n// @length 40\n// @variation 20\n// @variations 10, 2, 6, 15, 18, 5\n" +
             sample("01-flowing-color.metal"));
    window_->variationActions()->choose->trigger();
    VariationsWindow* shown = window_->variationActions()->window();
    (void)QTest::qWaitForWindowActive(shown);
    const auto see = [&](const QString& name) {
        settle();
        // Every tile that is seen has its picture.
        EXPECT_TRUE(comesTrue([&] {
            return std::ranges::none_of(shown->grid()->indicesSeen(), [&](std::int64_t index) {
                return shown->picker().still(index).isNull() || shown->picker().isStale(index);
            });
        }));
        visit(name, shown);
    };
    see(QStringLiteral("variations"));
    shown->picker().setChosen(ChosenVariations({10, 2, 6, 15, 18, 5, 99999999999, 3, 7, 11, 21}));
    QTest::keyClick(shown->grid(), Qt::Key_Down);
    QTest::keyClick(shown->grid(), Qt::Key_Right);
    see(QStringLiteral("variations-many"));
    VariationStrip* strip = shown->strip();
    const QPoint from = strip->tileRect(1).center(), to = from + QPoint(150, 10);
    QTest::mousePress(strip->viewport(), Qt::LeftButton, {}, from);
    QMouseEvent move(QEvent::MouseMove, to, strip->viewport()->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, {});
    QApplication::sendEvent(strip->viewport(), &move);
    visit(QStringLiteral("variations-dragged"), shown);
    QTest::mouseRelease(strip->viewport(), Qt::LeftButton, {}, to);
    shown->picker().setChosen({});
    model_->textChanged(model_->currentText() + "mistake");
    model_->compileNow();
    see(QStringLiteral("variations-behind"));
    open(QStringLiteral("none.metal"), "// @episode 8 Nothing to Vary\n" + shader(""));
    visit(QStringLiteral("variations-none"), shown);
    shown->reject();
    settle();
}

void EveryWindow::visitWalkthrough(const Visitor& visit) {
    const QString episode = folder_.filePath(QStringLiteral("episode-01-northern-lights"));
    std::filesystem::copy(Identity::resourcePath("Episodes/episode-01-northern-lights"), episode.toStdString(),
                          std::filesystem::copy_options::recursive);
    const auto change = [&](const char* file, auto&& edit) {
        const std::string path = episode.toStdString() + "/stages/" + file;
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        std::ofstream(path) << edit(text.str());
    };
    model_->open(episode + QStringLiteral("/source.metal"));
    window_->walkthrough()->open();
    WalkthroughWindow* shown = window_->walkthrough()->window();
    (void)QTest::qWaitForWindowActive(shown);
    const auto see = [&](const QString& name, PagePlace place) {
        shown->turnTo(place);
        EXPECT_TRUE(comesTrue([&] { return shown->hasPicture() && model_->episode().hasAllPrograms(); }));
        EXPECT_TRUE(comesTrue([&] { return !shown->list()->pictureOf(shown->place()).isNull(); }));
        settle();
        visit(name, shown);
    };
    see(QStringLiteral("walkthrough"), {3, 0});
    shown->size()->setCurrent(1);
    see(QStringLiteral("walkthrough-phone"), {3, 0});
    shown->size()->setCurrent(0);
    const QString before = shown->list()->linesOf({1, 0});
    change("2-sharp-below-soft-above.metal", [](std::string text) {
        const std::string line =
            "    float a = fract(uv.x * 3.0 + u.time * 0.1) + smoothstep(0.2, 0.4, uv.y) - exp(-uv.x);\n";
        return text.insert(text.find("\n", text.find("float4 shade(")) + 1, line);
    });
    EXPECT_TRUE(comesTrue([&] { return shown->list()->linesOf({1, 0}) != before; }));
    see(QStringLiteral("walkthrough-wrapped"), {1, 0});
    change("3-folds-and-rays.metal",
           [](std::string text) { return text.insert(text.rfind("return"), "flaot x;\n    "); });
    EXPECT_TRUE(comesTrue([&] { return model_->episode().fault().has_value(); }));
    shown->turnTo({2, 0});
    settle();
    visit(QStringLiteral("walkthrough-fault"), shown);
    std::filesystem::remove_all(episode.toStdString() + "/stages");
    EXPECT_TRUE(comesTrue([&] { return shown->list()->stageCount() == 0; }));
    settle();
    visit(QStringLiteral("walkthrough-no-stages"), shown);
    shown->close();
    settle();
}

QString EveryWindow::openEpisode() {
    const QString to = folder_.filePath(QStringLiteral("episode-01-northern-lights"));
    std::filesystem::copy(Identity::resourcePath("Episodes/episode-01-northern-lights"), to.toStdString(),
                          std::filesystem::copy_options::recursive);
    model_->open(to + QStringLiteral("/source.metal"));
    return to;
}

void EveryWindow::visitEpisodes(const Visitor& visit) {
    const QString folder = openEpisode();
    window_->exportActions()->exportEpisode->trigger();
    EpisodeWindow* shown = window_->exportActions()->episodeWindow();
    (void)QTest::qWaitForWindowActive(shown);
    EpisodeForm* form = shown->form();
    const auto see = [&](const QString& name) {
        settle();
        visit(QStringLiteral("episode") + name, shown);
    };
    const auto waitFor = [&](auto condition) { EXPECT_TRUE(comesTrue(condition)); };
    waitFor([&] { return model_->episodeExport().canStart(); });
    form->chapters()->choose(4);
    waitFor([&] { return !form->picture()->image().isNull(); });
    see(QString());
    form->parts()->pageSeconds()->setText(QStringLiteral("100"));
    form->submit();
    see(QStringLiteral("-refused"));
    form->parts()->pageSeconds()->setText(QStringLiteral("10"));
    form->parts()->checkField();
    form->parts()->cards()->check()->click();
    form->parts()->show()->check()->click();
    form->parts()->walkthrough()->check()->click();
    form->parts()->variations()->check()->click();
    see(QStringLiteral("-no-part"));
    model_->episodeExport().setChoices({});

    const QString stage = folder + QStringLiteral("/stages/3-folds-and-rays.metal");
    QFile::rename(stage, folder + QStringLiteral("/kept"));
    std::ofstream(stage.toStdString()) << "// Step 3 · Folds\n" << shader("", "float4(wavee(uv.x + u.time), 1.0)");
    model_->episode().lookAgain();
    waitFor([&] { return model_->episode().fault().has_value(); });
    see(QStringLiteral("-stage-fault"));
    QFile::remove(stage);
    QFile::copy(folder + QStringLiteral("/stages/2-sharp-below-soft-above.metal"), stage);
    model_->episode().lookAgain();
    waitFor([&] { return model_->episode().fault() && model_->episode().fault()->hasNoCode; });
    see(QStringLiteral("-no-code"));
    QFile::remove(stage);
    QFile::rename(folder + QStringLiteral("/kept"), stage);
    model_->episode().lookAgain();
    waitFor([&] { return model_->episodeExport().canStart(); });

    questions_.path = folder_.filePath(QStringLiteral("Northern lights.mp4"));
    const auto start = [&] {
        form->submit();
        waitFor([&] {
            const auto* running = std::get_if<ExportRunning>(&model_->exportState());
            return running && running->done > 0;
        });
    };
    start();
    see(QStringLiteral("-running"));
    go_.release();
    waitFor([&] { return !model_->exports().isRunning(); });
    see(QStringLiteral("-finished"));
    model_->exports().dismiss();
    fails_ = true;
    start();
    go_.release();
    waitFor([&] { return !model_->exports().isRunning(); });
    see(QStringLiteral("-failed"));
    model_->exports().dismiss();
    fails_ = false;

    QDir(folder + QStringLiteral("/stages")).removeRecursively();
    std::string text = model_->currentText();
    const std::size_t line = text.find("// @variations");
    text.erase(line, text.find('\n', line) + 1 - line);
    model_->setText(text);
    model_->compileNow();
    model_->episode().lookAgain();
    waitFor([&] { return model_->episodeExport().canStart(); });
    see(QStringLiteral("-no-stages"));
    model_->loadSample();
    model_->setText(text);
    model_->episode().lookAgain();
    waitFor([&] { return model_->episodeExport().canStart(); });
    see(QStringLiteral("-not-saved"));
    shown->reject();
    settle();
    open(QStringLiteral("flowing-color.metal"), sample("01-flowing-color.metal"));
}

void EveryWindow::visitAccount(const Visitor& visit) {
    TestGallery gallery;
    const auto account = gallery.make();
    const QPointer<AccountSheet> sheet = new AccountSheet(*account, window_.get());
    sheet->show();
    const auto see = [&](const char* name) {
        settle();
        visit(QString::fromLatin1(name), sheet);
    };
    const auto answer = [&](const ScriptedServer::Answer& poll) {
        gallery.poll = poll;
        account->startLink();
        EXPECT_TRUE(comesTrue([&] { return gallery.clock.sleepers() == 1; }));
    };
    const auto end = [&] {
        gallery.clock.moveOn(std::chrono::seconds(5));
        EXPECT_TRUE(comesTrue([&] { return !account->isPolling(); }));
    };
    see("account-signed-out");
    answer(ScriptedServer::answer(410));
    see("account-waiting");
    end();
    see("account-failed");
    answer(ScriptedServer::answer(200, R"({"token": "t", "email": "lena@mail.example", "handle": "low-ember"})"));
    end();
    see("account-signed-in");
    auto* page = qobject_cast<SignedInPage*>(sheet->page());
    page->end(QStringLiteral("A handle is 3 to 24 characters: lowercase letters, digits and -."));
    see("account-handle-refused");
    sheet->reject();
    settle();
}

void EveryWindow::visitHelp(const Visitor& visit) {
    const auto see = [&](const char* title, const QString& name, auto&& then) {
        action(QString::fromUtf8(title))->trigger();
        settle();
        for (QWidget* shown : QApplication::topLevelWidgets()) {
            if (!shown->isVisible() || shown == window_.get() || shown->isHidden()) continue;
            visit(name, shown);
            then(shown);
            shown->close();
        }
        settle();
    };
    see("Handbook", QStringLiteral("handbook"), [&](QWidget* shown) {
        shown->findChild<SearchField*>()->setText(QStringLiteral("particle"));
        settle();
        visit(QStringLiteral("handbook-search"), shown);
    });
    see("Keyboard Shortcuts", QStringLiteral("shortcuts"), [&](QWidget* shown) {
        shown->findChild<QLineEdit*>()->setText(QStringLiteral("line"));
        settle();
        visit(QStringLiteral("shortcuts-search"), shown);
    });
    see("About Glass Hob", QStringLiteral("about"), [](QWidget*) {});
    auto* update = new UpdateBox({.version = "12.10",
                                  .build = 1210,
                                  .url = "https://example.org/get",
                                  .sha256 = std::string(64, 'a'),
                                  .notes = "What is new takes a line or more.\nAnd there are several."},
                                 window_.get());
    update->open();
    settle();
    visit(QStringLiteral("update"), update);
    update->close();
}

void EveryWindow::visitDialog(const Visitor& visit, const QString& name) {
    EXPECT_TRUE(QTest::qWaitFor([] { return QApplication::activeModalWidget() != nullptr; })) << name.toStdString();
    QWidget* shown = QApplication::activeModalWidget();
    if (!shown) return;
    settle();
    visit(name, shown);
    qobject_cast<QDialog*>(shown)->reject();
    settle();
}

void EveryWindow::visitQuestions(const Visitor& visit) {
    const QString longName(180, u'w');
    open(QStringLiteral("short.metal"), shader("// @param s 1 0 2"));
    model_->textChanged("edited");
    model_->confirmDiscard([](bool) {});
    visitDialog(visit, QStringLiteral("question-unsaved"));
    model_->revert();
    visitDialog(visit, QStringLiteral("question-revert"));
    model_->document().setText(shader("// @param s 1 0 2"));
    model_->compileNow();
    model_->presets().saveAfterQuestion();
    visitDialog(visit, QStringLiteral("question-preset-name"));
    model_->presets().save(QStringLiteral("One"), model_->values());
    model_->presets().replaceAfterQuestion(QStringLiteral("One"));
    visitDialog(visit, QStringLiteral("question-replace"));
    questions_.warn(QStringLiteral("Can't save short.metal"),
                    QStringLiteral("The text has more than 4 MB or 200,000 lines and could not be opened again. Make "
                                   "it shorter, or copy what you need into another file."));
    visitDialog(visit, QStringLiteral("warning"));
    open(longName + QStringLiteral(".metal"), shader("// @param s 1 0 2"));
    model_->textChanged("edited");
    model_->confirmDiscard([](bool) {});
    visitDialog(visit, QStringLiteral("question-long-name"));
    Question question{.message = QStringLiteral("%1 changed on disk").arg(longName),
                      .informativeText = QStringLiteral("A long reason, said over and over. ").repeated(4),
                      .buttons = {QStringLiteral("Keep My Edits"), QStringLiteral("Load From Disk")}};
    questions_.ask(question, [](int) {});
    visitDialog(visit, QStringLiteral("question-long-reason"));
    model_->document().setText(shader("// @param s 1 0 2"));
    model_->chooseAndOpen();
    visitDialog(visit, QStringLiteral("file-open"));
    model_->saveAs();
    visitDialog(visit, QStringLiteral("file-save"));
}

void EveryWindow::visitMenus(const Visitor& visit) {
    open(QStringLiteral("blue-hour.metal"), sample("02-blue-hour.metal"));
    const auto see = [&](QMenu* menu, const QString& name, const QPoint& place) {
        menu->popup(place);
        settle();
        visit(name, menu);
        menu->close();
        settle();
    };
    for (QAction* title : window_->menuBar()->actions()) {
        QMenu* menu = title->menu();
        const QRect above = window_->menuBar()->actionGeometry(title);
        const QString name = QStringLiteral("menu-") + QString(title->text()).remove(u'&').toLower();
        see(menu, name, window_->menuBar()->mapToGlobal(above.bottomLeft()));
        for (QAction* row : menu->actions())
            if (row->menu() && row->isVisible())
                see(row->menu(), name + u'-' + QString(row->text()).remove(u'&').toLower().replace(u' ', u'-'),
                    window_->mapToGlobal(QPoint(200, 100)));
    }
}

} // namespace glasshob
