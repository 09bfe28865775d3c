// What the window shows of servers: a shader that is being fetched, and a newer release of the program.

#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/ui/controls/Banner.h"
#include "GlassHob/ui/window/Banners.h"
#include "GlassHob/ui/window/StatusLine.h"
#include "GlassHob/ui/window/UpdateBox.h"
#include "GlassHobCore/Identity.h"
#include "GlassHobCore/site/HttpSession.h"
#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobOnline/UpdateChecker.h"

#include <QAction>
#include <QClipboard>
#include <QDesktopServices>
#include <QLabel>

namespace glasshob {
namespace {

using Then = ScriptedServer::Answer::Then;

// Stands in for the browser.
class Browser : public QObject {
    Q_OBJECT
  public:
    Browser() { QDesktopServices::setUrlHandler("https", this, "open"); }
    ~Browser() override { QDesktopServices::unsetUrlHandler("https"); }
    QList<QUrl> opened;
  public slots:
    void open(const QUrl& url) { opened << url; }
};

class OnlineWindowTest : public ShownWindow {
  protected:
    void SetUp() override {
        ShownWindow::SetUp();
        site = Site::at(server.url({}, "localhost").toString().toStdString());
        QSettings().setValue("updateFeed", server.url("/latest.json").toString());
        window.reset();
        model.reset();
        model = std::make_unique<AppModel>(AppModel::Surroundings{.questions = &questions,
                                                                  .draftsFolder = folder.filePath("drafts"),
                                                                  .compilePatience = compilePatience,
                                                                  .site = site,
                                                                  .updates = &updates});
        window = std::make_unique<MainWindow>(*model, Canvas::Kind::readBack);
        window->resize(1440, 900);
        window->show();
        model->loadSample();
    }
    void TearDown() override {
        QDir(AppModel::shadersFolder()).removeRecursively();
        ShownWindow::TearDown();
        model.reset(); // before what it uses
    }
    Banner* line() { return window->banners()->overEditor(); }
    void press(const QString& button) {
        for (TextButton* candidate : line()->buttons())
            if (candidate->text() == button) return candidate->click();
        FAIL() << button.toStdString();
    }
    void checkForUpdates() {
        for (QAction* action : window->findChildren<QAction*>())
            if (action->text() == "Check for &Updates…") {
                action->trigger();
                EXPECT_FALSE(action->isEnabled());
                EXPECT_TRUE(comesTrue([&] { return action->isEnabled(); }));
                return;
            }
        FAIL() << "no such entry";
    }
    void feed(const QByteArray& version, const QByteArray& build) {
        server.script({ScriptedServer::answer(200, "{\"version\": \"" + version + "\", \"build\": " + build +
                                                       ", \"url\": \"https://example.org/get\", \"sha256\": \"" + sum +
                                                       "\", \"notes\": \"Faster\\nand smaller.\\u202e\"}")});
    }

    const QByteArray sum = QByteArray(64, 'a');
    ScriptedServer server;
    HttpSession session{"GlassHob/test"};
    UpdateChecker updates{session};
    Browser browser;
};

TEST_F(OnlineWindowTest, AShaderThatIsFetchedIsAQuietSignThatCanBeCancelled) {
    server.script({{.then = Then::stall}});
    auto* status = window->findChild<StatusLine*>();
    ToolButton* cancel = nullptr;
    for (ToolButton* button : status->findChildren<ToolButton*>())
        if (button->accessibleName() == "Cancel the download") cancel = button;
    ASSERT_NE(cancel, nullptr);
    EXPECT_FALSE(cancel->isVisible());
    const QString before = model->statusText();
    model->links().open("glasshob://open?src=" +
                        server.url("/s/ab12/source.metal", "localhost").toEncoded().toPercentEncoding());
    EXPECT_TRUE(cancel->isVisible());
    EXPECT_EQ(status->accessibleDescription(), "Fetching s-ab12.metal");
    EXPECT_EQ(model->statusText(), before) << "the open shader goes on";
    EXPECT_TRUE(comesTrue([&] { return server.requests().size() == 1; }));
    cancel->click();
    EXPECT_FALSE(cancel->isVisible());
    EXPECT_FALSE(model->links().downloading());
    EXPECT_TRUE(comesTrue([&] { return server.ended() == 1; }));
    EXPECT_TRUE(questions.warnings.isEmpty());
}

TEST_F(OnlineWindowTest, TheMenusCheckAlwaysAnswers) {
    server.script({ScriptedServer::answer(500)});
    checkForUpdates();
    EXPECT_EQ(questions.warnings.takeLast(),
              "Couldn't check for updates.|The update feed could not be read. Try again later.");
    feed("0.0.1", "0");
    checkForUpdates();
    EXPECT_EQ(questions.warnings.takeLast(), "Glass Hob " + asQString(Identity::version) + " is the newest version.|");
    EXPECT_FALSE(line()->isTelling());
    feed("9.9", "99999");
    checkForUpdates();
    EXPECT_TRUE(questions.warnings.isEmpty());
    EXPECT_TRUE(line()->isTelling());
    line()->closeButton()->click();
    EXPECT_FALSE(line()->isTelling());
    checkForUpdates();
    EXPECT_TRUE(line()->isTelling()) << "asked for, it is told again";
}

TEST_F(OnlineWindowTest, ANewerReleaseIsALineOverTheEditor) {
    feed("9.9", "99999");
    const QRect picture = window->canvas()->geometry();
    updates.checkIfDue();
    ASSERT_TRUE(comesTrue([&] { return line()->isTelling(); }));
    EXPECT_EQ(line()->accessibleName(), "Glass Hob 9.9 is available.");
    EXPECT_EQ(line()->accessibleDescription(), "Faster and smaller.");
    EXPECT_EQ(window->canvas()->geometry(), picture);
    press("Get It");
    EXPECT_EQ(browser.opened, QList<QUrl>{QUrl("https://example.org/get")});

    press("Details");
    auto* box = window->findChild<UpdateBox*>();
    ASSERT_NE(box, nullptr);
    QStringList texts;
    for (const QLabel* label : box->findChildren<QLabel*>())
        texts << label->text().remove(QChar(0x200B));
    EXPECT_TRUE(texts.contains("Faster\nand smaller.")) << texts.join('|').toStdString();
    EXPECT_TRUE(texts.contains(QString::fromLatin1(sum)));
    for (TextButton* button : box->findChildren<TextButton*>())
        if (button->text() == "Copy SHA-256") button->click();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QString::fromLatin1(sum));
    box->close();

    // A shader that waits for Run is enough to read.
    QFile file(folder.filePath("shared.metal"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    model->openDownloaded(folder.filePath("shared.metal"), QUrl("https://example.org/s/ab12"));
    EXPECT_FALSE(line()->isTelling());
    EXPECT_TRUE(window->banners()->acrossWindow()->isTelling());
    model->run();
    EXPECT_TRUE(line()->isTelling());
}

} // namespace
} // namespace glasshob

#include "OnlineWindowTests.moc"
