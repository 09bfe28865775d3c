// The sheet in which a shader is shared, by keyboard and pointer, over a whole window with a gallery in this process.

#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/ui/account/AccountActions.h"
#include "GlassHob/ui/account/AccountSheet.h"
#include "GlassHob/ui/controls/ChoiceField.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/controls/Segments.h"
#include "GlassHob/ui/controls/TextBox.h"
#include "GlassHob/ui/share/ShareActions.h"
#include "GlassHob/ui/share/ShareForm.h"
#include "GlassHob/ui/share/SharePages.h"
#include "GlassHob/ui/share/ShareSheet.h"
#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobOnline/AccountModel.h"

#include <QAction>
#include <QClipboard>

#include <semaphore>

namespace glasshob {
namespace {

class ShareSheetTest : public ShownWindow {
  protected:
    void SetUp() override {
        tokens.token = "secret";
        server.handler = [this](const ScriptedServer::Request& request) {
            if (request.target == "/api/auth/signout") return ScriptedServer::answer(204);
            return request.target == "/api/me" ? ScriptedServer::answer(200, me) : answer;
        };
        account_ = std::make_unique<AccountModel>(Site::at(server.url().toString().toStdString()), session, tokens);
        account = account_.get();
        ShownWindow::SetUp();
        signIn();
        window->sharing()->renderer =
            [this](const auto&, const auto& progress,
                   const std::stop_token& stop) -> std::expected<ShareRendering::Files, ShareRendering::Failure> {
            ++renderings;
            progress(0.41);
            const std::stop_callback stopped(stop, [this] { go.release(); });
            if (holds) go.acquire();
            if (stop.stop_requested()) return std::unexpected(ShareRendering::Failure{});
            return ShareRendering::Files{QByteArray("\0\0\0\x18"
                                                    "ftypmp42",
                                                    12),
                                         QByteArray("\xFF\xD8\xFF\xE0")};
        };
        model->open(file("hearth.metal", "// Slow Hearth\n" + shader("// @param glow 0.5 0 1")));
    }
    void TearDown() override {
        ShownWindow::TearDown();
        model.reset();
    }
    void signIn() {
        QSettings().setValue("accountSite", server.url().toString());
        QCoro::waitFor(account->refresh());
    }
    ShareSheet* sheet() const { return window->sharing()->sheet(); }
    ShareForm* form() const { return sheet()->form(); }
    ShareModel& share() const { return sheet()->model(); }
    template <class Phase>
    bool is() const {
        return std::holds_alternative<Phase>(model->share()->phase());
    }
    void open() {
        window->sharing()->share->trigger();
        ASSERT_NE(sheet(), nullptr);
        ASSERT_TRUE(QTest::qWaitForWindowActive(sheet()));
    }
    // To what has the keyboard in the sheet.
    void key(Qt::Key which, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const {
        QWidget* focused = sheet()->focusWidget();
        QTest::keyClick(focused ? focused : sheet(), which, modifiers);
    }
    void type(const QString& text) const { QTest::keyClicks(sheet()->focusWidget(), text); }

    ScriptedServer server;
    QByteArray me = R"({"email":"lena@mail.example","handle":"low-ember"})";
    ScriptedServer::Answer answer =
        ScriptedServer::answer(201, R"({"id":"k3v9x2","url":"https://www.glasshob.example/s/k3v9x2"})");
    HttpSession session{"GlassHob/test"};
    MemoryTokenStore tokens;
    std::unique_ptr<AccountModel> account_;
    std::atomic<int> renderings = 0;
    bool holds = false;
    std::counting_semaphore<16> go{0};
};

} // namespace

TEST_F(ShareSheetTest, SharesByTheKeyboardAlone) {
    open();
    EXPECT_EQ(sheet()->windowTitle(), "Share to the Gallery");
    EXPECT_EQ(form()->title()->text(), "Slow Hearth");
    EXPECT_EQ(form()->title()->counter(), "11 / 80");
    EXPECT_EQ(form()->forkedFrom()->text(), "nothing: an original shader");
    EXPECT_EQ(form()->told()->text(),
              "Uploads the source, an 8-second 1280×720 loop and a 1200×675 thumbnail from 0 s, "
              "drawn with the parameters' declared defaults. Kind: fragment");
    type("Low Hearth"); // the proposal is selected
    key(Qt::Key_Tab);
    type("Rings");
    key(Qt::Key_Return); // a line more
    type("of heat");
    EXPECT_EQ(form()->descriptionCount()->text(), "13 / 500");
    key(Qt::Key_Tab);
    key(Qt::Key_Down);
    key(Qt::Key_Tab);
    key(Qt::Key_Right);
    key(Qt::Key_Tab);
    EXPECT_EQ(sheet()->focusWidget(), form()->cancelButton());
    key(Qt::Key_Tab);
    EXPECT_EQ(sheet()->focusWidget(), form()->shareButton());
    holds = true;
    key(Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return form()->percent()->text() == "41%"; }));
    EXPECT_EQ(form()->step()->text(), "Rendering the loop and thumbnail");
    EXPECT_FALSE(form()->title()->isEnabled() || form()->licence()->isEnabled() || form()->shareButton()->isVisible());
    EXPECT_EQ(sheet()->focusWidget(), form()->cancelButton());
    key(Qt::Key_Return); // stops nothing
    EXPECT_TRUE(is<ShareModel::Rendering>());
    go.release();
    ASSERT_TRUE(comesTrue([&] { return is<ShareModel::Done>(); }));
    EXPECT_EQ(sheet()->page(), sheet()->shared());
    EXPECT_EQ(sheet()->shared()->link()->text(), "https://www.glasshob.example/s/k3v9x2");
    sheet()->shared()->copy()->click();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "https://www.glasshob.example/s/k3v9x2");
    const QByteArray& body = server.requests().back().body;
    for (const char* part : {"\"title\":\"Low Hearth\"", R"("description":"Rings\nof heat")",
                             "\"licence\":\"cc-by-4.0\"", "\"visibility\":\"unlisted\""})
        EXPECT_TRUE(body.contains(part)) << part;
    key(Qt::Key_Return);
    EXPECT_TRUE(comesTrue([&] { return !sheet() && !model->sheet(); }));
    // What is shared is not what the next one is.
    open();
    EXPECT_EQ(sheet()->page(), form());
    EXPECT_EQ(form()->title()->text(), "Low Hearth");
}

TEST_F(ShareSheetTest, RefusesTextsBeforeAnythingIsRendered) {
    open();
    form()->title()->setText(QString(81, 'x'));
    EXPECT_TRUE(form()->title()->isRefused());
    EXPECT_EQ(form()->title()->counter(), "81 / 80");
    key(Qt::Key_Return);
    EXPECT_TRUE(form()->problem()->isVisible());
    EXPECT_EQ(form()->problem()->text(), "The title must be 1 to 80 characters.");
    form()->title()->clear();
    key(Qt::Key_Return);
    EXPECT_TRUE(form()->title()->isRefused());
    type("Hearth");
    EXPECT_FALSE(form()->title()->isRefused() || form()->problem()->isVisible());
    EXPECT_TRUE(form()->told()->isVisible());
    form()->description()->setText(QString(501, 'x'));
    form()->shareButton()->click();
    EXPECT_EQ(form()->problem()->text(), "The description must be at most 500 characters.");
    EXPECT_EQ(sheet()->focusWidget(), form()->description()->edit());
    EXPECT_EQ(renderings, 0);
}

TEST_F(ShareSheetTest, EscapeCancelsAndLosesNothing) {
    holds = true;
    open();
    form()->title()->setText("Low Hearth");
    key(Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return renderings == 1 && is<ShareModel::Rendering>(); }));
    key(Qt::Key_Escape);
    ASSERT_NE(sheet(), nullptr);
    EXPECT_TRUE(is<ShareModel::Editing>());
    EXPECT_TRUE(form()->title()->isEnabled() && form()->shareButton()->isVisible());

    // A failure, closed and opened again: what was typed and rendered is there.
    holds = false;
    answer = ScriptedServer::answer(503, R"({"error":"The gallery is being mended."})");
    form()->shareButton()->click();
    ASSERT_TRUE(comesTrue([&] { return is<ShareModel::Failed>(); }));
    EXPECT_EQ(form()->problem()->text(), "The gallery is being mended.");
    EXPECT_EQ(form()->shareButton()->text(), "Try Again");
    EXPECT_EQ(sheet()->focusWidget(), form()->shareButton()) << "Return would close it";
    EXPECT_EQ(renderings, 2);
    key(Qt::Key_Escape);
    ASSERT_TRUE(comesTrue([&] { return !sheet(); }));
    open();
    EXPECT_EQ(form()->title()->text(), "Low Hearth");
    EXPECT_FALSE(form()->problem()->isVisible());
    answer = ScriptedServer::answer(200, R"({"id":"a","url":"https://www.glasshob.example/s/a"})");
    form()->shareButton()->click();
    ASSERT_TRUE(comesTrue([&] { return is<ShareModel::Done>(); }));
    EXPECT_EQ(renderings, 2);
    sheet()->shared()->done()->click();
    ASSERT_TRUE(comesTrue([&] { return !sheet(); }));

    // Another text is rendered anew; what was told stays.
    model->textChanged("// Slow Hearth\n" + shader("// @param glow 0.9 0 1"));
    open();
    EXPECT_EQ(form()->title()->text(), "Low Hearth");
    form()->shareButton()->click();
    ASSERT_TRUE(comesTrue([&] { return is<ShareModel::Done>(); }));
    EXPECT_EQ(renderings, 3);
}

TEST_F(ShareSheetTest, LeadsToTheAccountAndBack) {
    QCoro::waitFor(account->signOut());
    open();
    form()->title()->setText("Low Hearth");
    key(Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return sheet()->page() == sheet()->signIn(); }));
    EXPECT_EQ(sheet()->signIn()->message(), "Sign in to share to the gallery.");
    key(Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return !sheet(); }));
    EXPECT_EQ(model->sheet(), AppModel::Sheet::account);
    ASSERT_NE(window->accountActions()->sheet(), nullptr);
    tokens.token = "another";
    signIn();
    window->accountActions()->sheet()->accept();
    ASSERT_TRUE(comesTrue([&] { return sheet() != nullptr; }));
    EXPECT_EQ(sheet()->page(), form());
    EXPECT_EQ(form()->title()->text(), "Low Hearth");
}

TEST_F(ShareSheetTest, AsksForAHandle) {
    me = R"({"email":"lena@mail.example"})";
    signIn();
    open();
    key(Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return sheet()->page() == sheet()->handle(); }));
    EXPECT_EQ(sheet()->handle()->message(), "Choose a handle before you share: it names you on the gallery.");
    type("low_ember");
    key(Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return sheet()->handle()->problem()->isVisible(); }));
    EXPECT_TRUE(sheet()->handle()->field()->isRefused());
    EXPECT_EQ(renderings, 0);
    type("low-ember");
    EXPECT_FALSE(sheet()->handle()->field()->isRefused());
    answer = ScriptedServer::answer(200, R"({"handle":"low-ember","id":"a","url":"https://www.glasshob.example/s/a"})");
    key(Qt::Key_Return);
    ASSERT_TRUE(comesTrue([&] { return is<ShareModel::Done>(); }));
    EXPECT_EQ(account->handle(), "low-ember");
}

TEST_F(ShareSheetTest, AShaderThatWaitsForRunIsNotShared) {
    model->openDownloaded(file("s-ab12.metal", shader("")), QUrl("https://www.glasshob.example/s/ab12/source.metal"));
    QAction* action = window->sharing()->share;
    EXPECT_FALSE(action->isEnabled());
    EXPECT_EQ(action->toolTip(), "Read the shader and press Run before you share it");
    window->sharing()->open();
    EXPECT_EQ(sheet(), nullptr);
    model->run();
    EXPECT_TRUE(action->isEnabled());
}

} // namespace glasshob
