// The check for updates against a feed that says what it wants, on a clock that stands still.

#include "GlassHobCore/site/HttpSession.h"
#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobCore/tests/TestClock.h"
#include "GlassHobCore/tests/WaitUntil.h"
#include "GlassHobOnline/UpdateChecker.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QSettings>

#include <memory>

using namespace glasshob;
using namespace std::chrono_literals;

namespace {

constexpr auto lastCheck = "lastUpdateCheck";

class UpdateCheckerTests : public testing::Test {
  protected:
    void SetUp() override {
        QSettings().clear();
        QSettings().setValue("updateFeed", server_.url("/latest.json").toString());
        server_.script({feed("42")});
    }
    static ScriptedServer::Answer feed(const QByteArray& build, const QByteArray& url = "https://example.org/get") {
        return ScriptedServer::answer(200, "{\"version\": \"1.4\", \"build\": " + build + ", \"url\": \"" + url +
                                               "\", \"sha256\": \"ab\", \"notes\": \"Faster.\"}");
    }
    bool check() { return QCoro::waitFor(checker_->check()); }
    // Whether a check of its own goes out, once it has come to its end.
    bool checksItself() {
        const std::size_t before = server_.requests().size();
        checker_->checkIfDue();
        HttpRequest mark;
        mark.url = server_.url("/mark");
        // A check that goes out is on its way before this one.
        EXPECT_TRUE(QCoro::waitFor(session_.send(mark)));
        waitUntil([&] { return server_.requests().size() > before; });
        return server_.requests().size() == before + 2;
    }

    ScriptedServer server_;
    HttpSession session_{"GlassHob/test"};
    TestClock clock_;
    std::unique_ptr<UpdateChecker> checker_ = std::make_unique<UpdateChecker>(session_, clock_, "41");
};

} // namespace

TEST_F(UpdateCheckerTests, anHttpAddressOfTheSettingsIsTheFeed) {
    EXPECT_EQ(UpdateChecker::feed(), server_.url("/latest.json"));
    const QUrl own("https://media." + QString::fromUtf8(Identity::siteHost.data()) + "/app/latest.json");
    for (const char* text : {"", "ftp://x/y", "not a url", "HTTPS://x/y", "https://", "file:///x", "https://[x"}) {
        QSettings().setValue("updateFeed", text);
        EXPECT_EQ(UpdateChecker::feed(), own) << text;
    }
}

TEST_F(UpdateCheckerTests, aNewerReleaseIsOfferedAndOthersAreNot) {
    EXPECT_TRUE(check());
    ASSERT_TRUE(checker_->available());
    EXPECT_EQ(*checker_->available(), (LatestRelease{"1.4", 42, "https://example.org/get", "ab", "Faster."}));
    EXPECT_EQ(server_.requests()[0].header("User-Agent"), "GlassHob/test");
    EXPECT_FALSE(server_.requests()[0].header("Cookie"));
    // What a feed takes back is no longer offered.
    server_.script({feed("41")});
    EXPECT_TRUE(check());
    EXPECT_FALSE(checker_->available());
    server_.script({feed("99", "http://example.org/get")});
    EXPECT_TRUE(check());
    EXPECT_FALSE(checker_->available());
    for (const char* current : {"", "x", "4 1"}) {
        server_.script({feed("42")});
        UpdateChecker unknown(session_, clock_, current);
        EXPECT_TRUE(QCoro::waitFor(unknown.check()));
        EXPECT_FALSE(unknown.available()) << current;
    }
}

TEST_F(UpdateCheckerTests, whatCannotBeReadChangesNothing) {
    ASSERT_TRUE(check());
    const QVariant before = QSettings().value(lastCheck);
    clock_.moveOn(1h);
    const auto sized = [](qsizetype size) {
        const QByteArray head = R"({"version": "2", "build": "50", "url": "https://x.example/", "notes": ")";
        return ScriptedServer::answer(200, head + QByteArray(size - head.size() - 2, 'n') + "\"}");
    };
    for (const ScriptedServer::Answer& answer :
         {sized(65'536), ScriptedServer::answer(404, "{}"), ScriptedServer::answer(204),
          ScriptedServer::answer(200, "{"), ScriptedServer::answer(200, "[]"), feed("\"4x\""), feed("1.5"),
          ScriptedServer::answer(302, "", {"Location: https://elsewhere.example/"}),
          ScriptedServer::Answer{.bytes = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n{",
                                 .then = ScriptedServer::Answer::Then::close}}) {
        server_.script({answer});
        EXPECT_FALSE(check()) << answer.bytes.left(200).toStdString();
    }
    EXPECT_EQ(checker_->available()->build, 42);
    EXPECT_EQ(QSettings().value(lastCheck), before);
    server_.script({sized(65'535)});
    EXPECT_TRUE(check());
    EXPECT_EQ(checker_->available()->build, 50);
    EXPECT_NE(QSettings().value(lastCheck), before);
}

TEST_F(UpdateCheckerTests, checksItselfOnceADay) {
    EXPECT_TRUE(checksItself());
    waitUntil([&] { return checker_->available().has_value(); });
    checker_ = std::make_unique<UpdateChecker>(session_, clock_, "41"); // the next start
    EXPECT_FALSE(checksItself());
    clock_.moveOn(24h - 1ms);
    EXPECT_FALSE(checksItself());
    clock_.moveOn(1ms);
    server_.script({ScriptedServer::answer(500)});
    EXPECT_TRUE(checksItself());
    EXPECT_TRUE(checksItself()) << "a check that failed counts for nothing";
    // The machine's clock was wrong when the last check was noted.
    server_.script({feed("42")});
    QSettings().setValue(lastCheck, QDateTime::fromMSecsSinceEpoch((clock_.now() + 100h).time_since_epoch().count()));
    EXPECT_TRUE(checksItself());
    QSettings().setValue(lastCheck, "soon");
    EXPECT_TRUE(checksItself());
}

TEST_F(UpdateCheckerTests, mayGoWhileItWaits) {
    server_.script({{.then = ScriptedServer::Answer::Then::stall}});
    const auto task = checker_->check();
    waitUntil([&] { return server_.requests().size() == 1; });
    checker_.reset();
    EXPECT_FALSE(QCoro::waitFor(task));
    EXPECT_FALSE(QSettings().contains(lastCheck));
}
