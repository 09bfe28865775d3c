// The token in a real keyring, that of the D-Bus session in which this program runs.

#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobCore/tests/TestClock.h"
#include "GlassHobCore/tests/WaitUntil.h"
#include "GlassHobOnline/AccountModel.h"
#include "GlassHobOnline/KeychainTokenStore.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDirIterator>
#include <QSettings>

using namespace glasshob;

namespace {

bool anyFileHolds(const QByteArray& secret) {
    for (const char* folder : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"}) {
        QDirIterator files(qEnvironmentVariable(folder), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            if (file.open(QIODevice::ReadOnly) && file.readAll().contains(secret)) return true;
        }
    }
    return false;
}

// Of the first item of the empty keyring that a test begins with.
QString labelOfTheItem() {
    QDBusMessage get =
        QDBusMessage::createMethodCall("org.freedesktop.secrets", "/org/freedesktop/secrets/collection/login/1",
                                       "org.freedesktop.DBus.Properties", "Get");
    get << "org.freedesktop.Secret.Item" << "Label";
    const QDBusReply<QVariant> label = QDBusConnection::sessionBus().call(get);
    return label.value().toString();
}

} // namespace

TEST(KeyringTests, aTokenIsKeptReplacedAndRemoved) {
    KeychainTokenStore store;
    EXPECT_EQ(QCoro::waitFor(store.read()), std::nullopt);
    ASSERT_TRUE(QCoro::waitFor(store.save("first-secret-token")));
    ASSERT_TRUE(QCoro::waitFor(store.save("second-secret-token")));
    EXPECT_EQ(QCoro::waitFor(KeychainTokenStore().read()), "second-secret-token");
    EXPECT_FALSE(anyFileHolds("secret-token"));
    // What a person finds it by in the keyring.
    EXPECT_EQ(labelOfTheItem(), "Glass Hob session");
    QCoro::waitFor(store.remove());
    EXPECT_EQ(QCoro::waitFor(store.read()), std::nullopt);
    QCoro::waitFor(store.remove());
}

TEST(KeyringTests, aSignInOutlivesTheModelUntilItIsSignedOut) {
    QSettings().clear();
    ScriptedServer server;
    const QByteArray start = R"({"device": "d", "code": "AB-12", "url": ")" + server.url("/go").toEncoded() + "\"}";
    server.script({ScriptedServer::answer(200, start), ScriptedServer::answer(202),
                   ScriptedServer::answer(200, R"({"token": "third-secret-token", "email": "ada@example.org"})"),
                   ScriptedServer::answer(200)});
    HttpSession session("test");
    KeychainTokenStore store;
    TestClock clock;
    const Site site = Site::at(server.url().toString().toStdString());
    {
        AccountModel account(site, session, store, clock);
        account.startLink();
        waitUntil([&] { return !account.isPolling(); });
        EXPECT_TRUE(account.signedIn()) << account.link().message.toStdString();
    }
    AccountModel next(site, session, store, clock);
    QCoro::waitFor(next.loaded());
    EXPECT_TRUE(next.signedIn());
    EXPECT_EQ(next.email(), "ada@example.org");
    EXPECT_FALSE(anyFileHolds("secret-token"));
    QCoro::waitFor(next.signOut());
    EXPECT_EQ(server.requests().back().header("Authorization"), "Bearer third-secret-token");

    AccountModel last(site, session, store, clock);
    QCoro::waitFor(last.loaded());
    EXPECT_FALSE(last.signedIn());
}
