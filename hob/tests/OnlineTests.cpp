// The commands that speak to a gallery, against one on the loopback that says what it is told.

#include "GlassHobCore/tests/ScriptedServer.h"
#include "HobProcess.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

namespace {

class OnlineTest : public HobTest {
  protected:
    // As hob(), while the server's event loop goes on.
    Outcome online(const QStringList& words) const {
        QProcess process;
        process.setWorkingDirectory(path({}));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"})
            environment.insert(name, path("home"));
        process.setProcessEnvironment(environment);
        QEventLoop loop;
        QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
        process.start(HOB_PROGRAM, words);
        loop.exec();
        return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    }
    QString link(const QString& place = "/s/ab12/source.metal") const {
        return "glasshob://open?src=" + server.url(place, "localhost").toEncoded().toPercentEncoding();
    }
    QString site() const { return server.url({}, "localhost").toString(); }

    ScriptedServer server;
};

TEST_F(OnlineTest, FetchSavesAShaderAndPrintsItsPlace) {
    server.script({ScriptedServer::answer(200, "// Hearth\nfloat4 shade")});
    const QByteArray stamped = "// Hearth\n// @forked-from s/ab12\nfloat4 shade";
    for (const char* name : {"s-ab12.metal", "s-ab12 2.metal"}) {
        const Outcome outcome = online({"fetch", link(), "--site", site()});
        ASSERT_EQ(outcome.status, 0) << outcome.shown();
        const QString place = QString::fromUtf8(outcome.output).trimmed();
        EXPECT_TRUE(place.endsWith(QString("/Documents/Glass Hob/") + name) ||
                    place.endsWith(QString("Glass Hob/") + name))
            << outcome.output.toStdString();
        EXPECT_TRUE(place.startsWith(path("home"))) << outcome.output.toStdString();
        QFile file(place);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), stamped);
    }
    EXPECT_EQ(online({"fetch", link(), "--site", site(), "-o", "mine.metal"}).output, "mine.metal\n");
    EXPECT_EQ(get("mine.metal"), stamped);
    EXPECT_EQ(online({"fetch", link(), "--site", site(), "-o", "-"}).output, stamped);

    // What is there stays there, and nothing is asked of the gallery.
    put("mine.metal", "mine");
    const std::size_t before = server.requests().size();
    const Outcome kept = online({"fetch", link(), "--site", site(), "-o", "mine.metal"});
    EXPECT_EQ(kept.status, 1);
    EXPECT_TRUE(isOneSentence(kept.error)) << kept.shown();
    EXPECT_EQ(get("mine.metal"), "mine");
    EXPECT_EQ(server.requests().size(), before);
    EXPECT_EQ(online({"fetch", link(), "--site", site(), "-o", "mine.metal", "--force"}).status, 0);
    EXPECT_EQ(get("mine.metal"), stamped);
}

TEST_F(OnlineTest, FetchTellsWhyNothingWasSaved) {
    const auto refused = [&](const QStringList& words, int status, const QByteArray& sentence) {
        const Outcome outcome = online(words);
        EXPECT_EQ(outcome.status, status) << outcome.shown();
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.error, "hob: " + sentence + "\n");
    };
    refused({"fetch", link()}, 1, "Glass Hob only opens shaders from glasshob.example: the address is not https");
    refused({"fetch", "what", "--site", site()}, 1, "This is not a Glass Hob open link.");
    refused({"fetch", link(), "--site", "ftp://x"}, 2,
            "ftp://x is no address of a gallery: give one such as https://www.example.org.");
    EXPECT_TRUE(server.requests().empty());
    server.script({ScriptedServer::answer(404)});
    refused({"fetch", link(), "--site", site()}, 1, "localhost answered 404 for that shader.");
    server.script({ScriptedServer::answer(200, "\xFF")});
    refused({"fetch", link(), "--site", site(), "-o", "out.metal"}, 1,
            "That file is not UTF-8 text: it was not opened.");
    EXPECT_FALSE(has("out.metal"));
}

TEST_F(OnlineTest, UpdateTellsWhatTheFeedSays) {
    const QString feed = server.url("/latest.json").toString();
    server.script(
        {ScriptedServer::answer(200, "{\"version\": \"9.0\\u001b[2J\", \"build\": 99999, \"url\": "
                                     "\"https://example.org/get\", \"sha256\": \"ab\", \"notes\": \"New.\"}")});
    const Outcome told = online({"update", "--feed", feed});
    EXPECT_EQ(told.status, 0) << told.shown();
    EXPECT_EQ(told.output, "Glass Hob 9.0[2J is available: https://example.org/get\nSHA-256: ab\n\nNew.\n");
    const QJsonObject newer = QJsonDocument::fromJson(online({"update", "--feed", feed, "--json"}).output).object();
    EXPECT_TRUE(newer["current"].isString());
    EXPECT_EQ(newer["available"].toObject()["build"].toInt(), 99999);
    EXPECT_EQ(newer["available"].toObject()["sha256"].toString(), "ab");

    server.script({ScriptedServer::answer(200, R"({"version": "0", "build": 0, "url": "https://example.org/get"})")});
    EXPECT_TRUE(online({"update", "--feed", feed}).output.endsWith("is the newest version.\n"));
    EXPECT_TRUE(QJsonDocument::fromJson(online({"update", "--feed", feed, "--json"}).output)["available"].isNull());

    server.script({ScriptedServer::answer(200, "{}")});
    const Outcome unread = online({"update", "--feed", feed});
    EXPECT_EQ(unread.status, 1);
    EXPECT_EQ(unread.error, "hob: The update feed could not be read: Version is not a text.\n");
    EXPECT_EQ(online({"update", "--feed", "what"}).status, 2);
}

} // namespace
