// What makes the window a good guest of a desktop: recent files, one process, keys that mean one thing, and no drawing
// under other windows.

#include "GlassHob/model/RecentFiles.h"
#include "GlassHob/model/SingleInstance.h"
#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/ui/window/AboutBox.h"
#include "GlassHob/ui/window/RecentMenu.h"
#include "GlassHob/ui/window/ShortcutList.h"

#include <QAction>
#include <QLabel>
#include <QLocalSocket>
#include <QMenuBar>
#include <QThread>

#include <map>

namespace glasshob {
namespace {

constexpr int patience = 60000; // milliseconds before a wait is a failure

using RecentFilesTest = AppModelTest;

TEST_F(RecentFilesTest, TheNewestStandFirstOnceAndOnlyWhatIsThere) {
    RecentFiles files(model->document());
    EXPECT_TRUE(files.isEmpty());
    QStringList made;
    for (int i = 0; i < RecentFiles::most + 2; ++i) {
        made << file(QString("s%1.metal").arg(i), shader(""));
        model->open(made.last());
    }
    EXPECT_EQ(files.existing().size(), RecentFiles::most);
    EXPECT_EQ(files.existing().first(), made.last());
    model->open(made[5]);
    EXPECT_EQ(files.existing().mid(0, 2), (QStringList{made[5], made.last()}));
    EXPECT_EQ(files.existing().count(made[5]), 1);
    model->openDownloaded(file("shared.metal", shader("")), QUrl("https://example.org/s/ab12"));
    EXPECT_EQ(files.existing().first(), made[5]) << "not read yet";
    QFile::remove(made[5]);
    EXPECT_EQ(files.existing().first(), made.last());
    const RecentFiles nextStart(model->document());
    EXPECT_EQ(nextStart.existing(), files.existing());
    files.clear();
    EXPECT_TRUE(files.isEmpty());
}

class SingleInstanceTest : public ::testing::Test {
  protected:
    // As another process would; its calls wait for the first one, which is in this thread.
    bool handOver(const SingleInstance::Request& request) {
        bool accepted = false;
        const std::unique_ptr<QThread> other(QThread::create([&] {
            SingleInstance second(path);
            accepted = !second.becomeFirst() && second.handOver(request);
        }));
        other->start();
        EXPECT_TRUE(QTest::qWaitFor([&] { return other->isFinished(); }, patience));
        return accepted;
    }
    QTemporaryDir folder;
    QString path = folder.filePath("socket");
};

TEST_F(SingleInstanceTest, ASecondStartHandsItsFileOver) {
    std::vector<SingleInstance::Request> requests;
    auto first = std::make_unique<SingleInstance>(path);
    ASSERT_TRUE(first->becomeFirst());
    QObject::connect(first.get(), &SingleInstance::requested,
                     [&](const SingleInstance::Request& request) { requests.push_back(request); });
    EXPECT_TRUE(handOver({"/home/me/Bögen & Kreise.metal", "token-1"}));
    EXPECT_TRUE(handOver({}));
    ASSERT_TRUE(comesTrue([&] { return requests.size() == 2; }));
    EXPECT_EQ(requests[0].path, "/home/me/Bögen & Kreise.metal");
    EXPECT_EQ(requests[0].activation, "token-1");
    EXPECT_TRUE(requests[1].path.isEmpty());

    // What is no request of ours is dropped, and the next one is heard.
    QLocalSocket stranger;
    stranger.connectToServer(path);
    ASSERT_TRUE(stranger.waitForConnected(patience));
    stranger.write("GET / HTTP/1.1\n");
    EXPECT_TRUE(QTest::qWaitFor([&] { return stranger.state() == QLocalSocket::UnconnectedState; }, patience));
    EXPECT_TRUE(handOver({"/a.metal", {}}));
    ASSERT_TRUE(comesTrue([&] { return requests.size() == 3; }));

    // A second one that has stopped waiting opens its file itself: the first, which was held up, then does not.
    {
        SingleInstance impatient(path);
        EXPECT_FALSE(impatient.handOver({"/b.metal", {}})) << "the first one is in this thread";
    }
    EXPECT_TRUE(handOver({"/c.metal", {}}));
    ASSERT_TRUE(comesTrue([&] { return requests.size() == 4; }));
    EXPECT_EQ(requests[3].path, "/c.metal");

    // As long as a word of a command line may be, and all of it escaped on the way.
    const QString link = "glasshob://open?src=" + QString(120'000, QChar(1));
    EXPECT_TRUE(handOver({{}, "token-2", link}));
    ASSERT_TRUE(comesTrue([&] { return requests.size() == 5; }));
    EXPECT_EQ(requests[4].link, link);
    EXPECT_TRUE(requests[4].path.isEmpty());

    first.reset();
    SingleInstance next(path);
    EXPECT_TRUE(next.becomeFirst()) << "the place is free again";
}

TEST_F(SingleInstanceTest, WhatACrashLeavesBehindIsNoProcess) {
    // A lock of a process that is gone, and a socket that nobody listens to.
    QFile lock(path + ".lock");
    ASSERT_TRUE(lock.open(QIODevice::WriteOnly));
    lock.write("999999999\nglasshob\n" + QSysInfo::machineHostName().toUtf8() + "\n");
    lock.close();
    QFile socket(path);
    ASSERT_TRUE(socket.open(QIODevice::WriteOnly));
    socket.close();
    SingleInstance first(path);
    ASSERT_TRUE(first.becomeFirst());
    EXPECT_TRUE(handOver({"/a.metal", {}}));
}

class DesktopTest : public ShownWindow {};

TEST_F(DesktopTest, EveryKeyMeansOneThingAndStandsInTheList) {
    std::map<QString, QString> taken;
    for (const QAction* action : window->findChildren<QAction*>())
        for (const QKeySequence& keys : action->shortcuts()) {
            const auto [at, isNew] = taken.try_emplace(keys.toString(), action->text());
            EXPECT_TRUE(isNew || at->second == action->text())
                << keys.toString().toStdString() << ": " << at->second.toStdString() << ", "
                << action->text().toStdString();
        }
    std::map<QString, QString> listed;
    for (const ShortcutGroup& group : allShortcuts(*window->menuBar()))
        for (const ShortcutGroup::Row& row : group.rows)
            listed[row.text] = row.keys;
    EXPECT_EQ(listed["Save As"], "Ctrl+Shift+S");
    EXPECT_EQ(listed["Full Screen"], "F11");
    EXPECT_EQ(listed["Cut"], "Ctrl+X") << "a key that the menu only names";

    ShortcutList list(*window->menuBar(), nullptr);
    list.show();
    auto visibleRows = [&] {
        int rows = 0;
        for (const QWidget* widget : list.findChildren<QWidget*>())
            rows += widget->isVisible() && widget->accessibleName().contains(": ");
        return rows;
    };
    const int all = visibleRows();
    list.narrow("full screen");
    EXPECT_GT(visibleRows(), 1);
    EXPECT_LT(visibleRows(), all / 2);
    list.narrow("no such thing");
    EXPECT_EQ(visibleRows(), 0);
}

TEST_F(DesktopTest, RecentFilesStandInTheMenuWithTheirFolders) {
    auto* menu = window->findChild<RecentMenu*>();
    ASSERT_NE(menu, nullptr);
    EXPECT_FALSE(menu->menuAction()->isEnabled());
    const QString first = file("Tom & Jerry.metal", shader("")), second = file("b.metal", shader(""));
    model->open(first);
    model->open(second);
    EXPECT_TRUE(menu->menuAction()->isEnabled());
    menu->fill();
    ASSERT_EQ(menu->actions().size(), 4);
    EXPECT_TRUE(menu->actions()[1]->text().startsWith("&2  Tom && Jerry.metal\t"));
    menu->actions()[1]->trigger();
    EXPECT_EQ(model->filePath(), first);
}

TEST_F(DesktopTest, TheAboutBoxTellsWhatAReportNeeds) {
    const AboutBox box(*model, nullptr);
    EXPECT_TRUE(box.details().contains(QString::fromStdString(model->device()->name())));
    EXPECT_TRUE(box.details().contains("Vulkan: 1."));
}

TEST_F(DesktopTest, NothingIsDrawnUnderAnotherWindow) {
    if (QGuiApplication::platformName() != "xcb") GTEST_SKIP() << "only X11 tells what is covered";
    Canvas* canvas = window->canvas();
    auto framesGoOn = [&] {
        const std::uint64_t frames = canvas->shownFrames();
        return QTest::qWaitFor([&] { return canvas->shownFrames() > frames + 2; }, patience);
    };
    model->setText(shader("", "float4(fract(u.time), 0.5, 0.25, 1.0)"));
    model->compileNow();
    ASSERT_TRUE(framesGoOn());
    QWidget cover(nullptr, Qt::BypassWindowManagerHint | Qt::FramelessWindowHint);
    bool draws = true;
    QObject::connect(canvas, &Canvas::drawingChanged, &cover, [&](bool now) { draws = now; });
    cover.setGeometry(window->screen()->geometry());
    cover.show();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !draws; }, patience));
    const double time = model->time();
    cover.resize(cover.width() / 2, cover.height());
    ASSERT_TRUE(QTest::qWaitFor([&] { return draws; }, patience)) << "a part can be seen";
    EXPECT_LT(model->time(), time + 0.1) << "the clock stood meanwhile";
    EXPECT_TRUE(framesGoOn());
}

} // namespace
} // namespace glasshob
