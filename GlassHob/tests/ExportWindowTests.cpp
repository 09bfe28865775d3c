// The export window in the whole window: the form's checks, its keyboard, every page, closing and quitting while an
// export runs, and the desktop's message. Movies are made by the tests.

#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/ui/controls/ChoiceField.h"
#include "GlassHob/ui/controls/DesktopNotification.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/DialogPicture.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/export/ExportActions.h"
#include "GlassHob/ui/export/ExportForm.h"
#include "GlassHob/ui/export/ExportOutcome.h"
#include "GlassHob/ui/export/ExportProgress.h"
#include "GlassHob/ui/export/ExportTexts.h"
#include "GlassHob/ui/export/ExportWindow.h"
#include "GlassHob/ui/export/OwnPicture.h"
#include "GlassHob/ui/export/PresetCards.h"
#include "GlassHob/ui/export/StillWindow.h"
#include "GlassHob/ui/window/CloseGuard.h"
#include "GlassHobRender/formats/ExportError.h"

#include <QCheckBox>
#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QProcess>

#include <atomic>
#include <fstream>
#include <semaphore>

namespace glasshob {
namespace {

class ExportWindowTest : public ShownWindow {
  protected:
    void SetUp() override {
        movieMaker = [this](const ExportOrder&, const ExportJob::Target& target) {
            std::ofstream(target.path) << "a movie";
            target.progress(3, 10);
            go.acquire();
            if (!target.progress(10, 10)) throw ExportError::cancelled();
            if (fails) throw ExportError::render(3);
        };
        ShownWindow::SetUp();
        model->open(file("a.metal", shader("// @param s 1 0 2")));
        movie = folder.filePath("movie.mp4");
        questions.path = movie;
    }
    void TearDown() override {
        go.release();
        ShownWindow::TearDown();
    }
    ExportWindow* open() {
        window->exportActions()->exportVideo->trigger();
        ExportWindow* shown = window->exportActions()->window();
        EXPECT_TRUE(comesTrue([&] { return QApplication::activeWindow() == shown; }));
        return shown;
    }
    ExportWindow* start() {
        ExportWindow* shown = open();
        shown->form()->submit();
        EXPECT_TRUE(comesTrue([&] { return shown->progress()->frames()->text() == "Frame 3 of 10"; }));
        return shown;
    }
    void finish() {
        go.release();
        EXPECT_TRUE(comesTrue([&] { return !model->exports().isRunning(); }));
    }
    static void typeInto(QLineEdit* field, const QString& text) {
        field->setFocus();
        field->selectAll();
        QTest::keyClick(field, Qt::Key_Backspace);
        QTest::keyClicks(field, text);
    }

    std::counting_semaphore<4> go{0};
    std::atomic<bool> fails = false;
    QString movie;
};

TEST_F(ExportWindowTest, WhatMakesNoSenseIsRefusedByTheField) {
    struct Case {
        const char *start, *duration, *message;
    };
    const Case cases[] = {
        {"4.3", "0", "There would be nothing to see: type a duration above 0."},
        {"4.3", "-1", "There would be nothing to see: type a duration above 0."},
        {"4.3", "36000", "A video can be at most 3 h long, which is 10800 seconds."},
        {"4.3", "abc", "This is not a number of seconds: type one such as 4.5."},
        {"4.3", "nan", "This is not a number of seconds: type one such as 4.5."},
        {"4.3", "1e400", "This is not a number of seconds: type one such as 4.5."},
        {"4.3", "", "Type a number of seconds, such as 4.5."},
        {"-0.1", "10", "A shader's time begins at 0: type a start of 0 or more."},
        {"inf", "10", "This is not a number of seconds: type one such as 4.5."},
        {"86401", "10", "The start can lie at most 86400 seconds in."},
    };
    ExportWindow* shown = open();
    ExportForm* form = shown->form();
    for (const Case& c : cases) {
        SCOPED_TRACE(QString("%1 and %2").arg(c.start, c.duration).toStdString());
        typeInto(form->start(), "4.3");
        typeInto(form->duration(), "10");
        EXPECT_EQ(model->exportChoices(), (ExportChoices{.start = 4.3}));
        EXPECT_TRUE(form->message()->isHidden());
        const bool isStart = std::string(c.start) != "4.3";
        typeInto(isStart ? form->start() : form->duration(), isStart ? c.start : c.duration);
        QTest::keyClick(form->start(), Qt::Key_Return);
        EXPECT_EQ(form->message()->text(), c.message);
        EXPECT_FALSE(form->message()->isHidden());
        EXPECT_EQ(form->start()->isRefused(), isStart);
        EXPECT_EQ(form->duration()->isRefused(), !isStart);
        EXPECT_EQ(shown->focusWidget(), isStart ? form->start() : form->duration());
        EXPECT_EQ(form->foreseen()->text(), "");
        EXPECT_EQ(questions.suggested, "") << "nothing was started";
        EXPECT_GT(model->exportChoices().duration, 0);
        EXPECT_LE(model->exportChoices().duration, 10800);
    }
    // A comma counts as a point, and what is mended is not told of any more.
    typeInto(form->start(), " 2,5 ");
    EXPECT_EQ(model->exportChoices().start, 2.5);
    EXPECT_TRUE(form->message()->isHidden());
    EXPECT_FALSE(form->start()->isRefused());
}

TEST_F(ExportWindowTest, FromTheFormToTheVideoByKeyboard) {
    ExportWindow* shown = open();
    ExportForm* form = shown->form();
    EXPECT_EQ(model->sheet(), AppModel::Sheet::export_);
    EXPECT_EQ(open(), shown) << "there is only one";
    EXPECT_EQ(shown->focusWidget(), form->start());
    EXPECT_EQ(form->foreseen()->text(), "600 frames, about 6 MB");
    QTest::keyClick(form->start(), Qt::Key_Tab, Qt::ShiftModifier);
    EXPECT_EQ(shown->focusWidget(), form->fromNow());
    QTest::keyClick(form->fromNow(), Qt::Key_Tab, Qt::ShiftModifier);
    QWidget* card = shown->focusWidget();
    ASSERT_EQ(card, form->presets()->cards()[1]) << "Tab comes to the chosen card";
    QTest::keyClick(card, Qt::Key_Down);
    QTest::keyClick(shown->focusWidget(), Qt::Key_Down);
    EXPECT_EQ(model->exportChoices().presetId, "site");
    EXPECT_EQ(form->foreseen()->text(), "300 frames, about 8 MB");
    for (int i = 0; i < 4; ++i)
        QTest::keyClick(shown->focusWidget(), Qt::Key_Tab);
    ASSERT_EQ(shown->focusWidget(), form->mark());
    QTest::keyClick(form->mark(), Qt::Key_Space);
    EXPECT_FALSE(model->exportChoices().watermark);
    QTest::keyClick(form->mark(), Qt::Key_Return);
    EXPECT_EQ(questions.suggested, "a.mp4");

    ExportProgress* progress = shown->progress();
    ASSERT_TRUE(comesTrue([&] { return progress->frames()->text() == "Frame 3 of 10"; }));
    EXPECT_TRUE(progress->isVisible());
    EXPECT_FALSE(form->isVisible());
    EXPECT_EQ(progress->percent()->text(), "30%");
    QTest::keyClick(progress->cancelButton(), Qt::Key_Return);
    EXPECT_FALSE(model->exports().isCancelling()) << "a Return too many stops nothing";
    finish();

    ExportFinishedPage* finished = shown->finished();
    EXPECT_TRUE(finished->isVisible());
    EXPECT_EQ(finished->file()->text(), "movie.mp4 in " + QFileInfo(folder.path()).fileName());
    EXPECT_TRUE(finished->figures()->text().startsWith("10 s · 1 kB · took "))
        << finished->figures()->text().toStdString();
    finished->copyPath()->click();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), movie);
    QFile::remove(movie);
    finished->play()->click();
    ASSERT_EQ(questions.warnings.size(), 1);
    EXPECT_EQ(questions.warnings[0],
              "Can't play movie.mp4|The file is not there any more: it has been moved or deleted.");
    QTest::keyClick(shown, Qt::Key_Return);
    EXPECT_EQ(window->exportActions()->window(), nullptr);
    EXPECT_EQ(model->sheet(), std::nullopt);
    EXPECT_EQ(model->exportState(), ExportState(ExportIdle{}));
    // Asked for again, what was chosen is there.
    EXPECT_TRUE(open()->form()->presets()->cards()[3]->isChecked());
}

TEST_F(ExportWindowTest, AFailureIsToldAndTriedAgainAndACancelledOneIsTheFormAgain) {
    ExportWindow* shown = start();
    fails = true;
    finish();
    EXPECT_TRUE(shown->failed()->isVisible());
    EXPECT_FALSE(shown->picture()->isVisible());
    EXPECT_EQ(shown->failed()->message()->text(), "The GPU failed while drawing frame 3.");
    fails = false;
    QTest::keyClick(shown, Qt::Key_Return);
    EXPECT_TRUE(shown->progress()->isVisible());
    shown->progress()->cancelButton()->click();
    EXPECT_TRUE(model->exports().isCancelling());
    EXPECT_FALSE(shown->progress()->cancelButton()->isEnabled());
    finish();
    EXPECT_TRUE(shown->form()->isVisible());
    EXPECT_EQ(questions.asked, QStringList()) << "the button says what it does";
}

TEST_F(ExportWindowTest, AnEndTakesTheKeyboardFromNobody) {
    ExportWindow* shown = start();
    window->activateWindow();
    window->editor()->setFocus();
    ASSERT_TRUE(comesTrue([&] { return QApplication::activeWindow() == window.get(); }));
    finish();
    EXPECT_TRUE(shown->finished()->isVisible());
    QApplication::processEvents();
    EXPECT_EQ(QApplication::focusWidget(), window->editor());
    // The command leads to it.
    EXPECT_EQ(open(), shown);
    EXPECT_EQ(QApplication::focusWidget(), shown->finished()->done());
}

TEST_F(ExportWindowTest, ClosingItWhileItRunsAsksOnce) {
    ExportWindow* shown = start();
    questions.holds = true;
    QTest::keyClick(shown, Qt::Key_Escape);
    shown->close();
    EXPECT_EQ(questions.asked, QStringList{"Stop exporting movie.mp4?"});
    EXPECT_EQ(questions.last.buttons[questions.last.escapeButton], "Keep Exporting");
    questions.held(1);
    EXPECT_TRUE(shown->isVisible());
    EXPECT_FALSE(model->exports().isCancelling());
    shown->close();
    questions.held(0);
    EXPECT_EQ(window->exportActions()->window(), nullptr);
    finish();
    EXPECT_EQ(model->exportState(), ExportState(ExportIdle{}));
    EXPECT_FALSE(QFileInfo::exists(movie));
    // One that ends while the question is up is there to see.
    shown = start();
    shown->close();
    finish();
    questions.held(0);
    EXPECT_TRUE(shown->finished()->isVisible());
    EXPECT_TRUE(QFileInfo::exists(movie));
}

TEST_F(ExportWindowTest, QuittingMeanwhileAsksAndTakesThePartialVideoAlong) {
    start();
    model->textChanged("edited");
    questions.holds = true;
    window->close();
    EXPECT_TRUE(window->isVisible());
    ASSERT_EQ(questions.asked, QStringList{"Quit while movie.mp4 is being exported?"});
    questions.held(1);
    EXPECT_FALSE(model->exports().isCancelling());
    window->close();
    questions.held(0);
    ASSERT_TRUE(comesTrue([&] { return questions.asked.size() == 3; }));
    EXPECT_EQ(questions.asked.last(), "Do you want to save the changes you made to a.metal?");
    questions.held(1); // Cancel
    EXPECT_FALSE(model->exports().isCancelling()) << "only a window that closes stops it";
    window->close();
    EXPECT_EQ(questions.asked.size(), 4) << "and it asks again";
    questions.held(0);
    ASSERT_TRUE(comesTrue([&] { return questions.asked.size() == 5; }));
    questions.held(2); // Don't Save
    ASSERT_TRUE(comesTrue([&] { return model->exports().isCancelling(); }));
    EXPECT_TRUE(window->isVisible());
    go.release();
    EXPECT_TRUE(comesTrue([&] { return !window->isVisible(); }));
    EXPECT_FALSE(QFileInfo::exists(movie));
    EXPECT_EQ(QDir(folder.path()).entryList({".*.part"}, QDir::Files | QDir::Hidden), QStringList());
}

TEST_F(ExportWindowTest, AnExportThatDoesNotEndHoldsUpQuittingForAWhileOnly) {
    start();
    QWidget other;
    auto delay = std::make_unique<ManualDelay>();
    ManualDelay& patience = *delay;
    CloseGuard guard(*model, &other, std::move(delay));
    EXPECT_FALSE(guard.mayClose()); // the answer is "Stop and Quit"
    EXPECT_FALSE(guard.mayClose());
    EXPECT_TRUE(model->exports().isCancelling());
    EXPECT_TRUE(patience.isWaiting());
    EXPECT_FALSE(guard.mayClose());
    patience.elapse();
    EXPECT_TRUE(guard.mayClose());
    EXPECT_TRUE(model->deviceIsBusy()) << "the process then ends without waiting for it";
}

TEST_F(ExportWindowTest, TheCommandIsThereWhenThereIsSomethingToExportOrToLookAt) {
    QAction* action = window->exportActions()->exportVideo;
    EXPECT_TRUE(action->isEnabled());
    start();
    model->openDownloaded(*model->filePath(), QUrl("https://glasshob.example/s"));
    EXPECT_TRUE(action->isEnabled()) << "the running one";
    finish();
    window->exportActions()->window()->reject();
    EXPECT_FALSE(action->isEnabled());
    model->run();
    EXPECT_TRUE(action->isEnabled());
    // A form that is open already says why nothing can be exported.
    ExportForm* form = open()->form();
    EXPECT_TRUE(form->exportButton()->isEnabled());
    model->openDownloaded(*model->filePath(), QUrl("https://glasshob.example/s"));
    EXPECT_FALSE(form->exportButton()->isEnabled());
    EXPECT_EQ(form->foreseen()->text(), "Press Run in the window first");
    form->submit();
    EXPECT_FALSE(model->exports().isRunning());
    model->run();
    EXPECT_EQ(form->foreseen()->text(), "600 frames, about 6 MB");
    model->device()->injectLoss();
    model->reportDeviceLoss();
    EXPECT_EQ(form->foreseen()->text(), "No picture to export yet");
}

TEST_F(ExportWindowTest, EveryControlHasANameAndPaints) {
    ExportWindow* shown = start();
    const auto check = [&] {
        for (const QWidget* widget : shown->findChildren<QWidget*>())
            if (widget->isVisible() && widget->focusPolicy() != Qt::NoFocus) {
                const auto* button = qobject_cast<const QAbstractButton*>(widget);
                EXPECT_FALSE(widget->accessibleName().isEmpty() && (!button || button->text().isEmpty()))
                    << widget->metaObject()->className();
            }
        EXPECT_FALSE(shown->grab().isNull());
    };
    check();
    finish();
    check();
    shown->reject();
    open();
    shown = window->exportActions()->window();
    check();
}

TEST_F(ExportWindowTest, TheFormFollowsFormatAndOwnSize) {
    ExportWindow* shown = open();
    ExportForm* form = shown->form();
    EXPECT_FALSE(form->own()->isVisible());
    EXPECT_TRUE(shown->picture()->isVisible());
    QTest::keyClick(form->format(), Qt::Key_Down);
    QTest::keyClick(form->format(), Qt::Key_Down);
    EXPECT_EQ(model->exportChoices().format, ExportFormat::webm);
    EXPECT_EQ(form->presets()->cards()[1]->accessibleDescription(), "VP9 · 5 Mbit/s");
    QTest::keyClick(form->format(), Qt::Key_Down);
    EXPECT_EQ(model->exportChoices().format, ExportFormat::gif);
    EXPECT_EQ(form->foreseen()->text(), "500 frames");
    form->presets()->cards().back()->click();
    EXPECT_TRUE(form->own()->isVisible());
    typeInto(form->own()->widthField(), "1080");
    typeInto(form->own()->heightField(), "1350");
    typeInto(form->own()->rateField(), "25");
    EXPECT_EQ(form->own()->shapeField()->text(), "Portrait 4:5 · 1080×1350");
    EXPECT_EQ(model->exportChoices().plan().preset.height, 1350);
    EXPECT_EQ(form->foreseen()->text(), "250 frames");
    for (const auto& [field, text] : {std::pair{form->own()->rateField(), "60"}, // a GIF shows 50
                                      {form->own()->rateField(), "7"},
                                      {form->own()->widthField(), "15"},
                                      {form->own()->heightField(), "16385"}}) {
        const QString before = field->text();
        typeInto(field, text);
        form->submit();
        EXPECT_TRUE(field->isRefused() && form->message()->isVisible()) << text;
        EXPECT_TRUE(std::holds_alternative<ExportIdle>(model->exportState()));
        typeInto(field, before);
    }
    QTest::keyClick(form->format(), Qt::Key_Down);
    QTest::keyClick(form->format(), Qt::Key_Down);
    EXPECT_EQ(model->exportChoices().format, ExportFormat::wav);
    EXPECT_FALSE(form->presets()->isVisible() || form->mark()->isVisible() || shown->picture()->isVisible());
    EXPECT_FALSE(form->exportButton()->isEnabled()) << "this shader has no sound";
    EXPECT_EQ(form->foreseen()->text(), "The shader has no sound");
}

TEST_F(ExportWindowTest, ItTakesThePreviewsTimeAndItsLoop) {
    model->setPaused(true);
    model->setTime(7.25);
    ExportForm* form = open()->form();
    EXPECT_FALSE(form->theLoop()->isVisibleTo(form));
    form->fromNow()->click();
    EXPECT_EQ(form->start()->text(), "7.2");
    EXPECT_EQ(model->exportChoices().start, 7.2);
    model->setLoop(TimeStretch{2, 5.5});
    EXPECT_TRUE(comesTrue([&] { return form->theLoop()->isVisibleTo(form); }));
    form->theLoop()->click();
    EXPECT_EQ(model->exportChoices().start, 2);
    EXPECT_EQ(model->exportChoices().duration, 3.5);
}

TEST_F(ExportWindowTest, SaveSoundIsOfferedWhereThereIsSound) {
    QAction* action = window->exportActions()->saveSound;
    EXPECT_FALSE(action->isEnabled());
    model->open(file("b.metal", shader("") + "float2 sound(float t, constant Params& p) { return t; }\n"));
    ASSERT_TRUE(comesTrue([&] { return action->isEnabled(); }));
    action->trigger();
    ExportWindow* shown = window->exportActions()->window();
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(shown->windowTitle(), "Save Sound");
    EXPECT_EQ(model->exports().suggestedName(), "b.wav");
    EXPECT_EQ(shown->form()->foreseen()->text(), "10 s of sound, about 2 MB");
    window->exportActions()->exportVideo->trigger();
    EXPECT_EQ(shown->windowTitle(), "Export Video");
}

TEST_F(ExportWindowTest, AStillIsOfTheMomentAndTellsWhereItIs) {
    StillSaver::setSize({});
    const auto openStill = [&] {
        for (QAction* action : window->findChildren<QAction*>())
            if (action->shortcut() == QKeySequence("Ctrl+Shift+I")) action->trigger();
        return window->exportActions()->stillWindow();
    };
    StillWindow* shown = openStill();
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(shown->picture()->widthField()->text(), "1920");
    typeInto(shown->picture()->widthField(), "0");
    shown->submit();
    EXPECT_TRUE(shown->message()->isVisible());
    typeInto(shown->picture()->widthField(), "64");
    typeInto(shown->picture()->heightField(), "48");
    questions.path = folder.filePath("still.jpg");
    shown->submit();
    ASSERT_TRUE(comesTrue([&] { return shown->result()->isVisible(); }));
    EXPECT_EQ(shown->result()->heading()->text(), "The still is saved");
    EXPECT_TRUE(shown->result()->file()->text().startsWith("still.jpg in "))
        << shown->result()->file()->text().toStdString();
    EXPECT_TRUE(shown->result()->figures()->text().startsWith("64×48 · JPEG · "));
    EXPECT_EQ(QImage(*questions.path).size(), QSize(64, 48));
    // The size is kept, and the videos' is another matter.
    EXPECT_EQ(openStill()->picture()->widthField()->text(), "64");
    EXPECT_EQ(model->exportChoices(), ExportChoices());
}

TEST(ExportTexts, SayNumbersAsPeopleDo) {
    using namespace exportTexts;
    const std::pair<double, const char*> left[] = {
        {0, "Less than 5 seconds left"}, {4.9, "Less than 5 seconds left"}, {14.2, "About 14 seconds left"},
        {59.4, "About 59 seconds left"}, {60, "About 1 minute left"},       {170, "About 3 minutes left"},
        {3600, "About 1 hour left"},     {7300, "About 2 hours left"},
    };
    for (const auto& [seconds, text] : left)
        EXPECT_EQ(timeLeft(seconds), text) << seconds;
    const std::pair<double, const char*> lengths[] = {{0.1, "0.1 s"},     {10, "10 s"},       {12.5, "12.5 s"},
                                                      {60, "1 min"},      {90, "1 min 30 s"}, {10800, "3 h"},
                                                      {3720, "1 h 2 min"}};
    for (const auto& [seconds, text] : lengths)
        EXPECT_EQ(length(seconds), text) << seconds;
    const std::pair<double, const char*> sizes[] = {
        {7, "1 kB"}, {488493, "488 kB"}, {6.6e6, "6.6 MB"}, {20e6, "20 MB"}, {1.25e9, "1.25 GB"}};
    for (const auto& [bytes, text] : sizes)
        EXPECT_EQ(size(bytes), text) << bytes;
    EXPECT_EQ(clock(22.9), "00:22");
    EXPECT_EQ(clock(3723), "1:02:03");
    const std::pair<ExportPlan, const char*> plans[] = {
        {{ExportPreset::web(), 0, 10}, "600 frames with sound, about 7 MB"},
        {{ExportPreset::site(), 0, 0.01}, "1 frame with sound, about 100 kB"},
        {{ExportPreset::main4k(), 0, 600}, "36,000 frames with sound, about 4.5 GB"},
    };
    for (const auto& [plan, text] : plans)
        EXPECT_EQ(foreseen(plan, true), text);
    EXPECT_EQ(encoding(ExportPreset::main4k()), "HEVC · 60 Mbit/s");
    EXPECT_EQ(seconds(10), "10.0");
    EXPECT_EQ(seconds(4.25), "4.25");
}

// ---- The desktop's messages -------------------------------------------------------------------------------------

// A desktop that takes messages, on a bus of its own.
class Desktop : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
  public:
    QStringList shown;
    QList<uint> replaced;
  public slots:
    // NOLINTNEXTLINE(readability-identifier-naming): the interface names it
    uint Notify(const QString&, uint replaces, const QString&, const QString& summary, const QString& body,
                const QStringList&, const QVariantMap&, int) {
        shown << summary + u'|' + body;
        replaced << replaces;
        return 7;
    }
  signals:
    void ActionInvoked(uint id, const QString& action); // NOLINT(readability-identifier-naming)
};

TEST(DesktopNotification, IsShownReplacedAndPressed) {
    QProcess daemon;
    daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address=1"});
    ASSERT_TRUE(daemon.waitForStarted()) << "dbus-daemon is not installed";
    ASSERT_TRUE(daemon.waitForReadyRead());
    const QString address = QString::fromLocal8Bit(daemon.readLine()).trimmed();
    {
        Desktop desktop;
        QDBusConnection there = QDBusConnection::connectToBus(address, "desktop");
        const QDBusConnection here = QDBusConnection::connectToBus(address, "application");
        DesktopNotification notification(nullptr, here);
        notification.show("too early", ""); // nobody listens, and nothing happens
        ASSERT_TRUE(there.registerObject("/org/freedesktop/Notifications", &desktop,
                                         QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals));
        ASSERT_TRUE(there.registerService("org.freedesktop.Notifications"));
        int presses = 0;
        QObject::connect(&notification, &DesktopNotification::pressed, [&] { ++presses; });
        notification.show("The video is ready", "a <b>.mp4");
        ASSERT_TRUE(comesTrue([&] { return desktop.shown.size() == 1; }));
        EXPECT_EQ(desktop.shown[0], "The video is ready|a &lt;b&gt;.mp4");
        // Until the message has its number a press is nobody's.
        ASSERT_TRUE(comesTrue([&] {
            emit desktop.ActionInvoked(8, "default");
            emit desktop.ActionInvoked(7, "other");
            emit desktop.ActionInvoked(7, "default");
            QCoreApplication::processEvents();
            return presses > 0;
        }));
        notification.show("again", "");
        ASSERT_TRUE(comesTrue([&] { return desktop.shown.size() == 2; }));
        EXPECT_EQ(desktop.replaced, (QList<uint>{0, 7}));
    }
    QDBusConnection::disconnectFromBus("desktop");
    QDBusConnection::disconnectFromBus("application");
    daemon.kill();
    daemon.waitForFinished();
}

} // namespace
} // namespace glasshob

#include "ExportWindowTests.moc"
