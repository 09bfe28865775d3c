// The account's window in every state, by keyboard, against a gallery on the loopback. With GLASSHOB_PICTURES set to a
// folder, each state is kept there in both themes.

#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/tests/TestGallery.h"
#include "GlassHob/ui/account/AccountActions.h"
#include "GlassHob/ui/account/AccountPages.h"
#include "GlassHob/ui/account/AccountSheet.h"
#include "GlassHob/ui/account/CodeField.h"
#include "GlassHob/ui/controls/SearchField.h"

#include <QAccessible>
#include <QAction>
#include <QClipboard>
#include <QDesktopServices>
#include <QMenuBar>
#include <QScreen>

namespace glasshob {
namespace {

// Takes what would be opened in the browser.
class Browser : public QObject {
    Q_OBJECT
  public:
    Browser() { QDesktopServices::setUrlHandler("http", this, "open"); }
    ~Browser() override { QDesktopServices::unsetUrlHandler("http"); }
    QList<QUrl> opened;
  public Q_SLOTS:
    void open(const QUrl& url) { opened << url; }
};

class AccountSheetTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { Theme::instance().install(); }
    void SetUp() override {
        QSettings().clear();
        account = gallery.make();
        window.resize(700, 500);
        window.show();
        sheet = new AccountSheet(*account, &window);
        sheet->show();
        sheet->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(sheet));
    }
    void press(int key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key(key), modifiers);
    }
    template <class Page>
    Page* page() const {
        return qobject_cast<Page*>(sheet->page());
    }
    void startLink() {
        account->startLink();
        ASSERT_TRUE(comesTrue([&] { return gallery.clock.sleepers() == 1; }));
    }
    void signIn() {
        gallery.poll =
            ScriptedServer::answer(200, R"({"token": "t", "email": "lena@mail.example", "handle": "low-ember"})");
        startLink();
        gallery.clock.moveOn(std::chrono::seconds(5));
        ASSERT_TRUE(comesTrue([&] { return account->signedIn(); }));
    }
    // Every text that is to be seen.
    QStringList texts() const {
        QStringList all;
        for (const TextLine* line : sheet->page()->findChildren<TextLine*>())
            if (line->isVisibleTo(sheet)) all << line->text();
        return all;
    }
    QStringList buttons() const {
        QStringList all;
        for (const TextButton* button : sheet->page()->findChildren<TextButton*>())
            if (button->isVisibleTo(sheet)) all << button->text();
        return all;
    }
    void keepPicture(const QString& name) const {
        const QString folder = qEnvironmentVariable("GLASSHOB_PICTURES");
        for (const auto theme : {Theme::Appearance::dark, Theme::Appearance::light}) {
            Theme::instance().setAppearance(theme);
            for (int i = 0; i < 3; ++i)
                QApplication::processEvents();
            EXPECT_EQ(sheet->width(), 432) << name.toStdString();
            EXPECT_LE(sheet->height(), 384) << name.toStdString() << " does not fit a small screen";
            if (!folder.isEmpty())
                sheet->grab().save(folder + "/account-" + name +
                                   (theme == Theme::Appearance::dark ? "-dark" : "-light") + ".png");
        }
        Theme::instance().setAppearance(Theme::Appearance::dark);
    }

    TestGallery gallery;
    std::unique_ptr<AccountModel> account;
    QWidget window;
    QPointer<AccountSheet> sheet;
};

TEST_F(AccountSheetTest, ASignInByKeyboardFromTheFirstPageToTheLast) {
    Browser browser;
    ASSERT_NE(page<SignedOutPage>(), nullptr);
    EXPECT_TRUE(texts().contains("Sign in to Glass Hob"));
    EXPECT_TRUE(
        texts().contains("Signing in lets you share shaders to the gallery on 127.0.0.1. The app shows a code; you "
                         "allow it in your browser, where you are signed in."));
    EXPECT_EQ(buttons(), (QStringList{"Cancel", "Sign In"}));
    keepPicture("signed-out");

    press(Qt::Key_Return);
    EXPECT_EQ(account->link().phase, AccountModel::LinkState::Phase::starting);
    EXPECT_EQ(buttons(), QStringList{"Cancel"});
    keepPicture("starting");
    ASSERT_TRUE(comesTrue([&] { return page<WaitingPage>() != nullptr; }));
    EXPECT_TRUE(texts().contains("Open 127.0.0.1 in your browser and allow this code:"));
    const QString check = "Check that the browser shows the same code before you press Allow. It works until ";
    EXPECT_EQ(texts().filter(check).size(), 1);
    EXPECT_TRUE(texts().contains("Waiting for you to allow it"));
    keepPicture("waiting");

    // The code is one text, to be read letter by letter and copied.
    auto* code = sheet->findChild<CodeField*>();
    EXPECT_EQ(code->text(), "HK7Q-M2XD");
    EXPECT_EQ(code->accessibleName(), "Sign-in code");
    EXPECT_EQ(code->accessibleDescription(), "H K 7 Q - M 2 X D");
    code->setFocus();
    press(Qt::Key_A, Qt::ControlModifier);
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "HK7Q-M2XD");
    keepPicture("waiting-selected");
    press(Qt::Key_Return);
    EXPECT_EQ(browser.opened, QList<QUrl>{gallery.server.url("/go")});

    gallery.poll =
        ScriptedServer::answer(200, R"({"token": "t", "email": "lena@mail.example", "handle": "low-ember"})");
    gallery.clock.moveOn(std::chrono::seconds(5));
    ASSERT_TRUE(comesTrue([&] { return page<SignedInPage>() != nullptr; }));
    for (const char* text : {"Your Glass Hob account", "low-ember", "lena@mail.example",
                             "Your handle is public: it names you on shaders you share, at 127.0.0.1/u/handle."})
        EXPECT_TRUE(texts().contains(text)) << text;
    EXPECT_FALSE(page<SignedInPage>()->setHandle()->isEnabled());
    keepPicture("signed-in");
    press(Qt::Key_Return);
    EXPECT_TRUE(comesTrue([&] { return sheet.isNull(); }));
    EXPECT_TRUE(account->signedIn());
}

TEST_F(AccountSheetTest, AHandleIsRefusedOrTaken) {
    signIn();
    auto* in = page<SignedInPage>();
    ASSERT_NE(in, nullptr);
    in->field()->setFocus();
    in->field()->selectAll();
    QTest::keyClicks(in->field(), "low_ember");
    EXPECT_TRUE(in->setHandle()->isEnabled());
    press(Qt::Key_Return);
    const QString rule = "A handle is 3 to 24 characters: lowercase letters, digits and -.";
    ASSERT_TRUE(comesTrue([&] { return in->field()->isRefused(); }));
    EXPECT_TRUE(texts().contains(rule));
    EXPECT_EQ(texts().filter("Your handle is public").size(), 0);
    keepPicture("handle-refused");
    // Typing takes the refusal back; nothing typed is lost when the gallery is asked who this is.
    QTest::keyClick(in->field(), Qt::Key_Backspace);
    EXPECT_FALSE(in->field()->isRefused());
    QCoro::waitFor(account->refresh());
    EXPECT_EQ(in->field()->text(), "low_embe");

    gallery.handle = ScriptedServer::answer(409, R"({"error": "<b>Taken</b>"})");
    in->field()->setText("coal");
    in->setHandle()->setEnabled(true);
    press(Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return in->field()->isRefused(); }));
    EXPECT_TRUE(texts().contains("<b>Taken</b>")) << "letter for letter";

    gallery.handle = ScriptedServer::answer(200, "{}");
    press(Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return account->handle() == "coal"; }));
    EXPECT_EQ(sheet->page(), in);
    EXPECT_FALSE(in->field()->isRefused());
    EXPECT_FALSE(in->setHandle()->isEnabled());

    // The gallery does not know the sign-in any more.
    gallery.handle = ScriptedServer::answer(401, R"({"error": "Signed in elsewhere."})");
    in->field()->selectAll();
    QTest::keyClicks(in->field(), "ash");
    press(Qt::Key_Return);
    ASSERT_TRUE(
        comesTrue([&] { return page<SignedOutPage>() != nullptr && texts().contains("Signed in elsewhere."); }));
    EXPECT_FALSE(account->signedIn());
    keepPicture("signed-out-again");
}

TEST_F(AccountSheetTest, WhatIsGivenUpOrFailsCanBeBegunAgain) {
    gallery.poll = ScriptedServer::answer(410);
    startLink();
    gallery.clock.moveOn(std::chrono::seconds(5));
    ASSERT_TRUE(comesTrue([&] { return page<SignInFailedPage>() != nullptr; }));
    EXPECT_TRUE(texts().contains("The code expired or was refused. Start again for a new one."));
    EXPECT_EQ(buttons(), (QStringList{"Cancel", "Start Again"}));
    keepPicture("failed");

    gallery.code = "A-CODE-THAT-IS-LONG";
    press(Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return page<WaitingPage>() != nullptr; }));
    keepPicture("waiting-long");
    press(Qt::Key_Escape);
    EXPECT_EQ(account->link().phase, AccountModel::LinkState::Phase::idle);
    EXPECT_FALSE(account->isPolling());
    EXPECT_TRUE(comesTrue([&] { return sheet.isNull(); }));
    EXPECT_EQ(gallery.clock.sleepers(), 0u);
}

TEST_F(AccountSheetTest, SigningOutGoesBackToTheFirstPage) {
    gallery.me = ScriptedServer::answer(200, R"({"email": "lena@mail.example"})");
    signIn();
    QCoro::waitFor(account->refresh());
    EXPECT_EQ(account->handle(), std::nullopt);
    keepPicture("signed-in-without-handle");
    for (TextButton* button : sheet->page()->findChildren<TextButton*>())
        if (button->text() == "Sign Out") button->click();
    EXPECT_NE(page<SignedOutPage>(), nullptr);
    EXPECT_FALSE(gallery.store.token);
}

class AccountInWindow : public ShownWindow {
  protected:
    void SetUp() override {
        gallery.store.token = "t";
        made = gallery.make();
        account = made.get();
        AppModelTest::SetUp();
        QSettings().setValue("accountSite", gallery.server.url().toString());
        window = std::make_unique<MainWindow>(*model, Canvas::Kind::readBack);
        window->show();
    }
    QAction* action(const QString& text) const {
        for (QAction* menu : window->menuBar()->actions())
            if (menu->text() == "&Account")
                for (QAction* each : menu->menu()->actions())
                    if (each->text() == text) return each;
        return nullptr;
    }
    TestGallery gallery;
    std::unique_ptr<AccountModel> made;
};

TEST_F(AccountInWindow, TheWindowAsksOnceWhoIsSignedInAndOffersWhatGoes) {
    ASSERT_TRUE(comesTrue([&] { return made->email() == "lena@mail.example"; }));
    EXPECT_EQ(gallery.server.requests().size(), 1u);
    ASSERT_NE(action("Your &Account…"), nullptr);
    action("Your &Account…")->trigger();
    AccountSheet* sheet = window->accountActions()->sheet();
    ASSERT_NE(sheet, nullptr);
    EXPECT_TRUE(sheet->isModal());
    sheet->reject();
    EXPECT_EQ(model->sheet(), std::nullopt);
    ASSERT_TRUE(action("Sign &Out")->isEnabled());
    action("Sign &Out")->trigger();
    EXPECT_FALSE(made->signedIn());
    EXPECT_FALSE(action("Sign &Out")->isEnabled());
    ASSERT_NE(action("&Sign In…"), nullptr);
    // The toolbar's button does the same.
    bool isFound = false;
    for (ToolButton* button : window->findChildren<ToolButton*>())
        if (button->accessibleName() == "Account") {
            isFound = true;
            EXPECT_TRUE(button->isEnabled());
            button->click();
        }
    EXPECT_TRUE(isFound);
    EXPECT_NE(window->accountActions()->sheet(), nullptr);
    model->setSheet(std::nullopt);
}

} // namespace
} // namespace glasshob

#include "AccountSheetTests.moc"
