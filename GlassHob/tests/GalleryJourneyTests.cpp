// One person's way through the gallery, in the window and by hob: sign in, choose a handle, share, open what was shared
// by its link, see that nothing runs, run it, sign out. The gallery is a process of its own on the loopback, the
// keyring a real one in a session bus of its own.

#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHob/ui/account/AccountActions.h"
#include "GlassHob/ui/account/AccountPages.h"
#include "GlassHob/ui/account/AccountSheet.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/share/ShareActions.h"
#include "GlassHob/ui/share/ShareForm.h"
#include "GlassHob/ui/share/SharePages.h"
#include "GlassHob/ui/share/ShareSheet.h"
#include "GlassHob/ui/window/MainWindow.h"
#include "GlassHobOnline/AccountModel.h"
#include "GlassHobOnline/KeychainTokenStore.h"
#include "GlassHobRender/program/ShaderCompiler.h"

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <csignal>

namespace glasshob {
namespace {

const std::string hearth = "// Slow Hearth\n" + shader("// @param glow 0.5 0 1 How hot", "float4(p.glow, 0.2, 0.1, 1)");

class GalleryJourney : public AppModelTest {
  protected:
    static void SetUpTestSuite() { Theme::instance().install(); }
    void SetUp() override {
        server.start(QStringLiteral("python3"), {QStringLiteral(GALLERY_SERVER)});
        ASSERT_TRUE(server.waitForReadyRead(30'000)) << server.readAllStandardError().toStdString();
        base = "http://localhost:" + server.readLine().trimmed();
        site = Site::at(base.toStdString());
        QSettings().clear();
    }
    void TearDown() override {
        window.reset();
        model.reset();
        account_.reset();
        server.kill();
        server.waitForFinished();
    }
    void openWindow() {
        account_ = std::make_unique<AccountModel>(site, session, tokens);
        account = account_.get();
        makeModel();
        window = std::make_unique<MainWindow>(*model);
        window->show();
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    }
    QByteArray get(const QString& path) {
        HttpRequest request;
        request.url = QUrl(base + path);
        const auto answer = QCoro::waitFor(session.send(std::move(request)));
        EXPECT_TRUE(answer) << path.toStdString();
        return answer ? answer->body : QByteArray();
    }
    // What the gallery has been asked and has.
    QJsonObject log() { return QJsonDocument::fromJson(get("/test/log")).object(); }
    QJsonObject uploaded(int index) { return log().value("shaders").toArray().at(index).toObject(); }
    static QString linkTo(const QUrl& page) {
        return "glasshob://open?src=" + QUrl(page.toString() + "/source.metal").toEncoded().toPercentEncoding();
    }
    static void press(QWidget* window, Qt::Key key) {
        QWidget* focused = window->focusWidget();
        QTest::keyClick(focused ? focused : window, key);
    }

    QProcess server;
    QString base;
    HttpSession session{"GlassHob/test"};
    KeychainTokenStore tokens;
    std::unique_ptr<AccountModel> account_;
    std::unique_ptr<MainWindow> window;
};

struct Said {
    int status = -1;
    QByteArray output, error;
};

} // namespace

TEST_F(GalleryJourney, InTheWindow) {
    openWindow();
    model->open(file("hearth.metal", hearth));
    ASSERT_NE(model->program(), nullptr);

    // Sharing asks to sign in first.
    window->sharing()->share->trigger();
    ShareSheet* sheet = window->sharing()->sheet();
    ASSERT_NE(sheet, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowActive(sheet));
    QTest::keyClicks(sheet->focusWidget(), "Low Hearth");
    press(sheet, Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return sheet->page() == sheet->signIn(); }));
    press(sheet, Qt::Key_Return);
    AccountSheet* signingIn = nullptr;
    ASSERT_TRUE(comesTrue([&] { return (signingIn = window->accountActions()->sheet()) != nullptr; }));
    ASSERT_TRUE(QTest::qWaitForWindowActive(signingIn));
    signingIn->page()->primary()->click();
    ASSERT_TRUE(comesTrue([&] { return account->link().phase == AccountModel::LinkState::Phase::waiting; }));
    EXPECT_EQ(account->link().code, "HK7Q-M2XD");
    get(account->link().url.path() + "?" + account->link().url.query()); // as the browser does
    ASSERT_TRUE(comesTrue([&] { return account->signedIn(); }));
    EXPECT_EQ(account->email(), "lena@mail.example");
    if (window->accountActions()->sheet()) window->accountActions()->sheet()->reject();

    // Back at the form, which has what was typed.
    ASSERT_TRUE(comesTrue([&] { return (sheet = window->sharing()->sheet()) != nullptr; }));
    ASSERT_TRUE(QTest::qWaitForWindowActive(sheet));
    press(sheet, Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return sheet->page() == sheet->handle(); }));
    QTest::keyClicks(sheet->focusWidget(), "low-ember");
    press(sheet, Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return sheet->model().isRendering(); }));
    ASSERT_TRUE(comesTrue([&] { return !sheet->model().isWorking(); }));
    const auto* done = std::get_if<ShareModel::Done>(&sheet->model().phase());
    ASSERT_NE(done, nullptr);
    const QUrl page = done->url;
    EXPECT_EQ(page.toString(), base + "/s/k3v9x1");
    EXPECT_EQ(account->handle(), "low-ember");
    EXPECT_EQ(uploaded(0).value("meta").toObject().value("title"), "Low Hearth");
    EXPECT_GT(uploaded(0).value("loop").toInt(), 10'000);
    press(sheet, Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return !window->sharing()->sheet(); }));

    // Its link: shown and saved, and nothing of it runs, whatever is done to it.
    const std::uint64_t compiles = ShaderCompiler::count();
    model->links().open(linkTo(page));
    ASSERT_TRUE(comesTrue([&] { return model->needsRun(); }));
    EXPECT_NE(model->currentText().find("// @forked-from s/k3v9x1\n"), std::string::npos);
    EXPECT_FALSE(window->sharing()->share->isEnabled());
    model->textChanged(model->currentText() + "\n");
    model->compileNow();
    QCoreApplication::processEvents();
    EXPECT_EQ(ShaderCompiler::count(), compiles);
    EXPECT_EQ(model->program(), nullptr);
    model->run();
    EXPECT_NE(model->program(), nullptr);
    EXPECT_GT(ShaderCompiler::count(), compiles);

    window->accountActions()->signOut->trigger();
    ASSERT_TRUE(comesTrue([&] { return log().value("tokens") == 0; }));
    EXPECT_FALSE(account->signedIn());
    EXPECT_FALSE(QCoro::waitFor(tokens.read()));
}

TEST_F(GalleryJourney, ByTheCommandLine) {
    const QString shaderFile = file("hearth.metal", hearth);
    const auto hob = [&](QStringList words) {
        QProcess process;
        words += {"--site", base};
        process.start(QStringLiteral(HOB_PROGRAM), words);
        EXPECT_TRUE(comesTrue([&] { return process.state() == QProcess::NotRunning; }));
        return Said{process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    };
    const QStringList share = {"share", shaderFile, "--title", "Low Hearth", "--visibility", "unlisted"};
    Said said = hob(share);
    EXPECT_EQ(said.status, 1);
    EXPECT_EQ(said.error, "hob: Sign in to share to the gallery. Use hob sign-in.\n");

    QProcess signIn;
    signIn.start(QStringLiteral(HOB_PROGRAM), {"sign-in", "--site", base});
    QByteArray told;
    ASSERT_TRUE(comesTrue([&] { return (told += signIn.readAllStandardOutput()).count('\n') >= 2; }))
        << told.toStdString();
    EXPECT_TRUE(told.contains("HK7Q-M2XD")) << told.toStdString();
    get("/allow?code=HK7Q-M2XD");
    ASSERT_TRUE(comesTrue([&] { return signIn.state() == QProcess::NotRunning; }));
    EXPECT_EQ(signIn.exitCode(), 0) << signIn.readAllStandardError().toStdString();

    EXPECT_EQ(hob(share).error, "hob: Choose a handle before you share: it names you on the gallery. "
                                "Use hob handle NAME.\n");
    said = hob({"handle", "low-ember"});
    EXPECT_EQ(said.status, 0) << said.error.toStdString();
    said = hob(share);
    EXPECT_EQ(said.status, 0) << said.error.toStdString();
    EXPECT_EQ(said.output, (base + "/s/k3v9x1\n").toUtf8());
    EXPECT_EQ(uploaded(0).value("meta").toObject().value("visibility"), "unlisted");
    said = hob(share + QStringList{"--json"});
    EXPECT_EQ(QJsonDocument::fromJson(said.output).object()["url"], base + "/s/k3v9x2");

    said = hob({"fetch", linkTo(QUrl(base + "/s/k3v9x1")), "-o", folder.filePath("fetched.metal")});
    EXPECT_EQ(said.status, 0) << said.error.toStdString();
    EXPECT_EQ(contents(folder.filePath("fetched.metal")),
              "// Slow Hearth\n// @forked-from s/k3v9x1\n" + hearth.substr(15));

    // Ctrl-C, when all is sent and no answer comes.
    get("/test/hold?seconds=60");
    QProcess cancelled;
    QTemporaryDir temporary;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("TMPDIR", temporary.path());
    cancelled.setProcessEnvironment(environment);
    const int before = log().value("begun").toInt();
    cancelled.start(QStringLiteral(HOB_PROGRAM), share + QStringList{"--site", base});
    ASSERT_TRUE(comesTrue([&] { return log().value("begun") == before + 1; }));
    ASSERT_EQ(::kill(pid_t(cancelled.processId()), SIGINT), 0);
    ASSERT_TRUE(comesTrue([&] { return cancelled.state() == QProcess::NotRunning; }));
    EXPECT_EQ(cancelled.exitCode(), 1);
    EXPECT_TRUE(cancelled.readAllStandardError().startsWith("hob: Sharing cancelled."));
    EXPECT_EQ(QDir(temporary.path()).entryList({"GlassHobShare-*"}, QDir::AllEntries | QDir::Hidden), QStringList());
    get("/test/hold?seconds=0");

    EXPECT_EQ(hob({"sign-out"}).status, 0);
    EXPECT_EQ(log().value("tokens"), 0);
    EXPECT_EQ(QJsonDocument::fromJson(hob({"account", "--json"}).output).object()["signedIn"], false);
}

} // namespace glasshob
