#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobCore/tests/TestClock.h"
#include "GlassHobCore/tests/WaitUntil.h"
#include "GlassHobOnline/AccountModel.h"
#include "GlassHobOnline/KeychainTokenStore.h"

#include <gtest/gtest.h>

#include <QDirIterator>
#include <QSettings>

#include <memory>

using namespace glasshob;
using namespace std::chrono_literals;
using Phase = AccountModel::LinkState::Phase;
using Answer = ScriptedServer::Answer;

namespace {

class AccountModelTests : public testing::Test {
  protected:
    AccountModelTests() { QSettings().clear(); }

    void makeModel(const QUrl& base) {
        account_ = std::make_unique<AccountModel>(Site::at(base.toString().toStdString()), session_, store_, clock_);
    }
    void makeModel() { makeModel(server_.url()); }
    // As after a sign-in of earlier.
    void signInBefore() {
        store_.token = "old-token";
        QSettings settings;
        settings.setValue("accountEmail", "ada@example.org");
        settings.setValue("accountHandle", "ada");
        settings.setValue("accountSite", server_.url().toString());
        makeModel();
    }
    // A start that is answered with the server's own page, and then these for each poll.
    void signInWith(std::vector<Answer> polls, const QByteArray& more = {}) {
        polls.insert(polls.begin(), started(server_.url("/go").toString().toUtf8(), more));
        server_.script(std::move(polls));
        account_->startLink();
        waitUntil([&] { return !account_->isPolling(); });
    }
    static Answer started(const QByteArray& page, const QByteArray& more = {}) {
        return ScriptedServer::answer(200, R"({"device": "dev", "code": "AB-12", "interval": 7, "url": ")" + page +
                                               "\"" + more + "}");
    }
    std::optional<QString> setHandle(const QString& text) { return QCoro::waitFor(account_->setHandle(text)); }
    QString failed() const {
        return account_->link().phase == Phase::failed ? account_->link().message : QString("(no failure)");
    }
    static QString kept(const char* name) { return QSettings().value(name, "(nothing)").toString(); }

    ScriptedServer server_;
    TestClock clock_;
    HttpSession session_{"test"};
    MemoryTokenStore store_;
    std::unique_ptr<AccountModel> account_;

    const Answer pending_ = ScriptedServer::answer(202);
    const Answer approved_ =
        ScriptedServer::answer(200, R"({"token": "new-token", "email": "new@example.org", "handle": "neu"})");
    const Answer broken_{.then = Answer::Then::close};
};

} // namespace

TEST_F(AccountModelTests, aSignInAsksUntilItIsAllowedAndKeepsWhoItIs) {
    makeModel();
    EXPECT_FALSE(account_->signedIn());
    std::vector<Phase> phases;
    QObject::connect(account_.get(), &AccountModel::changed, account_.get(), [&] {
        if (phases.empty() || phases.back() != account_->link().phase) phases.push_back(account_->link().phase);
        if (account_->link().phase != Phase::waiting) return;
        // Once it is allowed, a locked keyring may keep the person waiting.
        EXPECT_EQ(account_->link().isAllowed, server_.requests().size() == 7);
        if (account_->link().isAllowed) EXPECT_TRUE(account_->waitingText().contains("keyring"));
        EXPECT_EQ(account_->link().code, "AB-12");
        EXPECT_EQ(account_->link().url, server_.url("/go"));
        EXPECT_EQ(account_->link().expires, Clock::Moment(2'000'000'000s));
    });
    signInWith({pending_, pending_, pending_, pending_, pending_, approved_}, R"(, "expires": 2000000000)");
    EXPECT_EQ(phases, (std::vector{Phase::starting, Phase::waiting, Phase::idle}));
    EXPECT_TRUE(account_->signedIn());
    EXPECT_EQ(account_->email(), "new@example.org");
    EXPECT_EQ(account_->handle(), "neu");
    EXPECT_EQ(store_.token, "new-token");
    EXPECT_EQ(kept("accountEmail") + kept("accountHandle"), "new@example.orgneu");
    EXPECT_EQ(clock_.slept, std::vector<std::chrono::milliseconds>(6, 7s));
    EXPECT_EQ(server_.requests().back().body, R"({"device":"dev"})");
    for (const QString& key : QSettings().allKeys())
        EXPECT_FALSE(QSettings().value(key).toString().contains("token")) << key.toStdString();

    // The next start knows it without asking the gallery.
    const std::size_t asked = server_.requests().size();
    makeModel();
    EXPECT_TRUE(account_->signedIn());
    EXPECT_EQ(account_->email(), "new@example.org");
    EXPECT_EQ(server_.requests().size(), asked);

    // An account without a handle does not keep the one of before.
    signInWith({ScriptedServer::answer(200, R"({"token": "t", "email": "e"})")});
    EXPECT_EQ(account_->handle(), std::nullopt);
    EXPECT_EQ(kept("accountHandle"), "(nothing)");
}

TEST_F(AccountModelTests, aSignInEndsWithOneSentence) {
    makeModel();
    signInWith({ScriptedServer::answer(410)});
    EXPECT_EQ(failed(), "The code expired or was refused. Start again for a new one.");
    signInWith({pending_, ScriptedServer::answer(429)});
    EXPECT_EQ(failed(), "Too many requests. Try again later.");
    signInWith({ScriptedServer::answer(200, "{}")});
    EXPECT_EQ(failed(), "127.0.0.1 sent an answer the app could not read.");
    store_.refuses = true;
    signInWith({approved_});
    EXPECT_EQ(failed(), "The keychain refused to keep the sign-in.");
    EXPECT_FALSE(account_->signedIn());
    EXPECT_EQ(account_->email(), std::nullopt);
    EXPECT_EQ(kept("accountEmail"), "(nothing)");

    server_.script({ScriptedServer::answer(503)});
    account_->startLink();
    waitUntil([&] { return !account_->isPolling(); });
    EXPECT_EQ(failed(), "127.0.0.1 answered 503.");
}

TEST_F(AccountModelTests, thePageMustBeOnTheGallerysOwnHost) {
    const std::pair<const char*, const char*> cases[] = {
        // The page, and the host of the sentence; empty where the page is fine.
        {"http://127.0.0.1:9/go", ""},
        {"https://127.0.0.1/go", ""},
        {"https://127.0.0.1.evil.example/go", "127.0.0.1"},
        {"https://127.0.0.1@evil.example/go", "127.0.0.1"},
        {"https://localhost/go", "127.0.0.1"},
        {"file://127.0.0.1/go", "127.0.0.1"},
        {"javascript:alert(1)", "127.0.0.1"},
        {"/go", "127.0.0.1"},
    };
    makeModel();
    for (const auto& [page, host] : cases) {
        server_.script({started(page), ScriptedServer::answer(410)});
        account_->startLink();
        waitUntil([&] { return !account_->isPolling(); });
        const QString own = "The code expired or was refused. Start again for a new one.";
        EXPECT_EQ(failed(), *host ? "The sign-in page was not on " + QString(host) + "." : own) << page;
    }
}

TEST_F(AccountModelTests, tenBrokenConnectionsAreBorneAndTheEleventhIsNot) {
    makeModel();
    std::vector<Answer> polls(10, broken_);
    polls.push_back(pending_);
    polls.insert(polls.end(), 10, broken_);
    polls.push_back(approved_);
    signInWith(polls);
    EXPECT_TRUE(account_->signedIn());

    signInWith({broken_});
    EXPECT_EQ(failed(), "Connection closed.");
    EXPECT_EQ(server_.requests().back().target, "/api/app/link/poll");
}

TEST_F(AccountModelTests, aCodeHasItsTime) {
    makeModel();
    const auto polls = [&](const QByteArray& more) {
        const std::size_t before = server_.requests().size();
        signInWith({pending_}, more);
        EXPECT_EQ(failed(), "The code expired. Start again for a new one.");
        return server_.requests().size() - before - 1;
    };
    // Without a word about it 900 s, every 7 s: the last poll is at 896 s.
    EXPECT_EQ(polls(""), 128u);
    EXPECT_EQ(polls(R"(, "expires": 21)"), 3u);
    EXPECT_EQ(polls(R"(, "expires": 20)"), 2u);
}

TEST_F(AccountModelTests, aSignInThatIsGivenUpAsksNoMore) {
    makeModel();
    clock_.hold();
    server_.handler = [&](const ScriptedServer::Request& request) {
        if (request.target == "/api/app/link") return started(server_.url("/go").toString().toUtf8());
        return Answer{.then = Answer::Then::stall};
    };
    account_->startLink();
    waitUntil([&] { return clock_.sleepers() == 1; });
    account_->cancelLink();
    EXPECT_EQ(account_->link().phase, Phase::idle);
    EXPECT_EQ(clock_.sleepers(), 0u);

    // A second start takes the place of the first one.
    account_->startLink();
    account_->startLink();
    waitUntil([&] { return clock_.sleepers() == 1; });
    clock_.moveOn(7s);
    waitUntil([&] { return server_.requests().back().target == "/api/app/link/poll"; });
    const std::size_t asked = server_.requests().size();
    // In the middle of a poll the model goes.
    const int ended = server_.ended();
    account_.reset();
    waitUntil([&] { return server_.ended() > ended; });
    EXPECT_EQ(server_.requests().size(), asked);
    EXPECT_FALSE(store_.token);
}

TEST_F(AccountModelTests, aRefreshTakesTheGallerysWordAndOnlyA401SignsOut) {
    signInBefore();
    EXPECT_EQ(account_->handle(), "ada");
    for (const Answer& trouble :
         {ScriptedServer::answer(503), ScriptedServer::answer(204), broken_, ScriptedServer::answer(200, "{}"),
          ScriptedServer::answer(302, "", {"Location: /"})}) {
        server_.script({trouble});
        QCoro::waitFor(account_->refresh());
        EXPECT_TRUE(account_->signedIn());
        EXPECT_EQ(account_->email(), "ada@example.org");
    }
    server_.script({ScriptedServer::answer(200, R"({"email": "lovelace@example.org"})")});
    QCoro::waitFor(account_->refresh());
    EXPECT_EQ(server_.requests().back().header("Authorization"), "Bearer old-token");
    EXPECT_EQ(account_->email(), "lovelace@example.org");
    EXPECT_EQ(account_->handle(), std::nullopt);
    EXPECT_EQ(kept("accountEmail") + kept("accountHandle"), "lovelace@example.org(nothing)");

    server_.script({ScriptedServer::answer(401)});
    QCoro::waitFor(account_->refresh());
    EXPECT_FALSE(account_->signedIn());
    EXPECT_FALSE(store_.token);
    EXPECT_EQ(kept("accountEmail"), "(nothing)");
    const std::size_t asked = server_.requests().size();
    QCoro::waitFor(account_->refresh());
    EXPECT_EQ(server_.requests().size(), asked);
}

TEST_F(AccountModelTests, signingOutForgetsAtOnceAndTellsTheGallery) {
    signInBefore();
    server_.script({ScriptedServer::answer(500)});
    const auto task = account_->signOut();
    EXPECT_FALSE(account_->signedIn());
    EXPECT_EQ(account_->email(), std::nullopt);
    EXPECT_EQ(account_->handle(), std::nullopt);
    EXPECT_FALSE(store_.token);
    QCoro::waitFor(task);
    ASSERT_EQ(server_.requests().size(), 1u);
    EXPECT_EQ(server_.requests()[0].target, "/api/auth/signout");
    EXPECT_EQ(server_.requests()[0].header("Authorization"), "Bearer old-token");
    EXPECT_TRUE(QSettings().allKeys().isEmpty());

    // A program that ends waits for it, as long as it has patience.
    signInBefore();
    server_.script({ScriptedServer::answer(204)});
    account_->signOut();
    account_->finishSigningOut(0ms);
    EXPECT_EQ(server_.requests().size(), 1u);
    account_->finishSigningOut(1min);
    EXPECT_EQ(server_.requests().size(), 2u);

    // Without a token nobody is told, and everything is cleared still.
    QSettings().setValue("accountEmail", "left@example.org");
    makeModel();
    QCoro::waitFor(account_->signOut());
    EXPECT_EQ(server_.requests().size(), 2u);
    EXPECT_EQ(kept("accountEmail"), "(nothing)");
}

TEST_F(AccountModelTests, anAnswerThatComesAfterTheSignOutChangesNothing) {
    signInBefore();
    server_.answersEarly = true;
    Answer slow = ScriptedServer::answer(200, R"({"email": "late@example.org", "handle": "late"})");
    slow.pause = 1ms;
    server_.script({slow, slow, ScriptedServer::answer(200)});
    const auto refreshed = account_->refresh();
    const auto named = account_->setHandle("late");
    waitUntil([&] { return server_.requests().size() == 2; });
    account_->signOut();
    QCoro::waitFor(refreshed);
    QCoro::waitFor(named);
    EXPECT_FALSE(account_->signedIn());
    EXPECT_EQ(account_->email(), std::nullopt);
    EXPECT_EQ(account_->handle(), std::nullopt);
}

TEST_F(AccountModelTests, aHandleIsCheckedHereAndTakenThere) {
    signInBefore();
    const QString rule = "A handle is 3 to 24 characters: lowercase letters, digits and -.";
    for (const char* bad : {"", "ab", "a_b", "a b", "abc\n", "\xC3\xA4\xC3\xB6\xC3\xBC", "aaaaaaaaaaaaaaaaaaaaaaaaa"})
        EXPECT_EQ(setHandle(bad), rule) << bad;
    EXPECT_TRUE(server_.requests().empty());

    server_.script({ScriptedServer::answer(204)});
    EXPECT_EQ(setHandle(" \t Ab-1\xC2\xA0"), std::nullopt);
    EXPECT_EQ(server_.requests().back().body, R"({"handle":"ab-1"})");
    EXPECT_EQ(account_->handle(), "ab-1");
    EXPECT_EQ(kept("accountHandle"), "ab-1");
    EXPECT_EQ(setHandle("---"), std::nullopt);
    EXPECT_EQ(setHandle("aaaaaaaaaaaaaaaaaaaaaaaa"), std::nullopt);

    server_.script({ScriptedServer::answer(409, R"({"error": "That handle is taken."})")});
    EXPECT_EQ(setHandle("ada"), "That handle is taken.");
    EXPECT_TRUE(account_->signedIn());
    server_.script({ScriptedServer::answer(401, R"({"error": "Too old."})")});
    EXPECT_EQ(setHandle("ada"), "Too old.");
    EXPECT_FALSE(account_->signedIn());
    EXPECT_EQ(setHandle("ada"), "Sign in first.");
}

TEST_F(AccountModelTests, aTokenIsSentToNoOtherGallery) {
    signInBefore();
    ScriptedServer other;
    makeModel(other.url());
    EXPECT_FALSE(account_->signedIn());
    QCoro::waitFor(account_->refresh());
    EXPECT_EQ(setHandle("ada"), "Sign in first.");
    QCoro::waitFor(account_->signOut());
    EXPECT_TRUE(other.requests().empty());

    // Nor is one that could smuggle something into a request.
    signInBefore();
    store_.token = "t\r\nX-More: y";
    makeModel();
    EXPECT_FALSE(account_->signedIn());
    QCoro::waitFor(account_->refresh());
    EXPECT_TRUE(server_.requests().empty());
}

// This program's session has no keyring: its main sends D-Bus nowhere.
TEST_F(AccountModelTests, withoutAKeyringNobodyIsSignedInAndNothingIsWritten) {
    KeychainTokenStore keyring;
    EXPECT_FALSE(QCoro::waitFor(keyring.save("homeless-token")));
    EXPECT_EQ(QCoro::waitFor(keyring.read()), std::nullopt);

    account_ =
        std::make_unique<AccountModel>(Site::at(server_.url().toString().toStdString()), session_, keyring, clock_);
    signInWith({approved_});
    EXPECT_EQ(failed(), "The keychain refused to keep the sign-in.");
    EXPECT_FALSE(account_->signedIn());
    QDirIterator files(qEnvironmentVariable("HOME"), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        EXPECT_FALSE(bytes.contains("homeless-token") || bytes.contains("new-token")) << file.fileName().toStdString();
    }
    account_.reset();
}

TEST_F(AccountModelTests, aTokenIsInNoMessage) {
    static QString said;
    said.clear();
    const auto before =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) { said += text + '\n'; });
    signInBefore();
    const QByteArray echo = R"({"error": "No."})";
    for (const Answer& trouble :
         {broken_, ScriptedServer::answer(500, echo), ScriptedServer::answer(302, "", {"Location: http://x.example/"}),
          Answer{.bytes = "nonsense\r\n\r\n", .then = Answer::Then::close}}) {
        server_.script({trouble});
        QCoro::waitFor(account_->refresh());
        said += setHandle("ada").value_or("");
    }
    signInWith({ScriptedServer::answer(200, R"({"token": "new-token"})")});
    said += failed();
    qInstallMessageHandler(before);
    EXPECT_FALSE(said.contains("-token")) << said.toStdString();
    EXPECT_TRUE(said.contains("No.")) << said.toStdString();
}
