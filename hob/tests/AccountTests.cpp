// Signing in and out by hob, with the real program, a real keyring and a gallery on the loopback.

#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobCore/tests/WaitUntil.h"
#include "HobProcess.h"

#include <QDirIterator>
#include <QProcess>

#include <csignal>

namespace {

class AccountTest : public HobTest {
  protected:
    void start(QProcess& process, const QStringList& words) const {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"HOME", "XDG_CONFIG_HOME"})
            environment.insert(name, path("home"));
        process.setProcessEnvironment(environment);
        process.start(HOB_PROGRAM, words + QStringList{"--site", server.url().toString()});
    }
    static Outcome outcomeOf(QProcess& process) {
        waitUntil([&] { return process.state() == QProcess::NotRunning; });
        return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    }
    Outcome online(const QStringList& words) const {
        QProcess process;
        start(process, words);
        return outcomeOf(process);
    }
    // The gallery: a code, `pending` polls without an end while it is true, and an account.
    void SetUp() override {
        server.handler = [this](const ScriptedServer::Request& request) {
            if (request.target == "/api/app/link")
                return ScriptedServer::answer(
                    200, R"({"device": "d", "code": "HK7Q-\u001b[2JM2XD", "interval": 1, "url": ")" +
                             server.url("/go").toEncoded() + "\"}");
            if (request.target == "/api/app/link/poll")
                return isPending
                           ? ScriptedServer::answer(202)
                           : ScriptedServer::answer(200, R"({"token": "secret-token", "email": "ada@example.org"})");
            if (request.header("Authorization") != "Bearer secret-token") return ScriptedServer::answer(401);
            if (request.target == "/api/me")
                return ScriptedServer::answer(200, R"({"email": "ada@example.org", "handle": "ada"})");
            if (request.body.contains("taken"))
                return ScriptedServer::answer(409, R"({"error": "That handle is taken."})");
            return ScriptedServer::answer(200, "{}");
        };
    }

    ScriptedServer server;
    bool isPending = false;
};

TEST_F(AccountTest, AnAccountFromTheSignInToTheSignOut) {
    EXPECT_EQ(online({"account", "--json"}).output, "{\"email\":null,\"handle\":null,\"signedIn\":false}\n");
    EXPECT_EQ(online({"handle", "ada"}).error, "hob: Sign in first.\n");

    const Outcome signIn = online({"sign-in"});
    EXPECT_EQ(signIn.status, 0) << signIn.shown();
    EXPECT_EQ(signIn.output, server.url("/go").toEncoded() + "\nHK7Q-[2JM2XD\n");
    EXPECT_EQ(signIn.error, "");
    EXPECT_EQ(online({"account"}).output, "Signed in as ada@example.org with the handle ada.\n");
    EXPECT_EQ(online({"account", "--json"}).output,
              "{\"email\":\"ada@example.org\",\"handle\":\"ada\",\"signedIn\":true}\n");

    EXPECT_EQ(online({"handle", " Ada-2 "}).output, "ada-2\n");
    const Outcome refused = online({"handle", "a_b"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.error, "hob: A handle is 3 to 24 characters: lowercase letters, digits and -.\n");
    EXPECT_EQ(online({"handle", "taken"}).error, "hob: That handle is taken.\n");

    // The token is in no file.
    QDirIterator files(path({}), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_FALSE(file.readAll().contains("secret-token")) << file.fileName().toStdString();
    }

    EXPECT_EQ(online({"sign-out"}).status, 0);
    EXPECT_EQ(server.requests().back().target, "/api/auth/signout");
    EXPECT_EQ(online({"account"}).output, "Nobody is signed in.\n");
}

TEST_F(AccountTest, ControlCGivesASignInUp) {
    isPending = true;
    QProcess process;
    start(process, {"sign-in"});
    waitUntil([&] { return !server.requests().empty() && server.requests().back().target.endsWith("/poll"); });
    EXPECT_EQ(process.state(), QProcess::Running);
    ::kill(pid_t(process.processId()), SIGINT);
    const Outcome outcome = outcomeOf(process);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.error, "hob: The sign-in was given up.\n");
    EXPECT_EQ(online({"account"}).output, "Nobody is signed in.\n");
}

TEST_F(AccountTest, TroubleIsOneSentence) {
    server.script({ScriptedServer::answer(503)});
    const Outcome down = online({"sign-in"});
    EXPECT_EQ(down.status, 1);
    EXPECT_EQ(down.error, "hob: 127.0.0.1 answered 503.\n");
    for (const QStringList& words :
         {QStringList{"handle"}, QStringList{"handle", "a", "b"}, QStringList{"account", "x"}}) {
        const Outcome wrong = online(words);
        EXPECT_EQ(wrong.status, 2) << words.join(' ').toStdString();
        EXPECT_TRUE(isOneSentence(wrong.error)) << wrong.error.toStdString();
    }
    const Outcome nowhere = hob({"account", "--site", "gopher://x"});
    EXPECT_EQ(nowhere.status, 2);
    EXPECT_TRUE(isOneSentence(nowhere.error)) << nowhere.error.toStdString();
}

} // namespace
