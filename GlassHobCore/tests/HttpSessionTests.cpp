#include "GlassHobCore/site/HttpSession.h"
#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobCore/tests/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QTcpServer>

using namespace glasshob;
using namespace std::chrono_literals;
using testing::EndsWith;
using Then = ScriptedServer::Answer::Then;

namespace {

constexpr auto userAgent = "GlassHob/test";

HttpRequest get(const QUrl& url) {
    HttpRequest request;
    request.url = url;
    return request;
}

class HttpSessionTests : public testing::Test {
  protected:
    std::expected<HttpAnswer, HttpError> send(HttpRequest request) {
        return QCoro::waitFor(session_.send(std::move(request)));
    }
    std::expected<HttpAnswer, HttpError> sendGet() { return send(get(server_.url("/x"))); }

    ScriptedServer server_;
    HttpSession session_{userAgent};
};

} // namespace

TEST_F(HttpSessionTests, sendsWhatItIsToldAndNothingThatWasLeftBehind) {
    server_.script(
        {ScriptedServer::answer(200, "one", {"Set-Cookie: a=b", "Cache-Control: max-age=1000", "ETag: \"e\""}),
         ScriptedServer::answer(200, "two")});
    HttpRequest request = get(server_.url("/a b"));
    request.method = "POST";
    request.body = "{}";
    request.headers = {{"Content-Type", "application/json"}, {"Authorization", "Bearer t"}};
    EXPECT_EQ(send(request)->body, "one");
    const auto second = send(get(server_.url("/a b")));
    ASSERT_TRUE(second);
    EXPECT_EQ(second->body, "two");

    ASSERT_EQ(server_.requests().size(), 2u);
    const auto& [posted, got] = std::tie(server_.requests()[0], server_.requests()[1]);
    EXPECT_EQ(posted.method, "POST");
    EXPECT_EQ(posted.target, "/a%20b");
    EXPECT_EQ(posted.body, "{}");
    EXPECT_EQ(posted.header("User-Agent"), userAgent);
    EXPECT_EQ(posted.header("Authorization"), "Bearer t");
    EXPECT_EQ(got.method, "GET");
    EXPECT_EQ(got.header("User-Agent"), userAgent);
    for (const char* name : {"Cookie", "Authorization", "If-None-Match", "Content-Type", "Content-Length", "Referer"})
        EXPECT_FALSE(got.header(name)) << name;
}

TEST_F(HttpSessionTests, aStatusOfFailureIsAnAnswerWithItsBody) {
    for (const int status : {204, 301, 304, 400, 401, 403, 404, 409, 410, 413, 418, 429, 500, 503}) {
        const bool hasBody = status != 204 && status != 304;
        server_.script(
            {ScriptedServer::answer(status, hasBody ? "why" : "", {"WWW-Authenticate: Bearer realm=\"x\""})});
        const auto answer = sendGet();
        ASSERT_TRUE(answer) << status << answer.error().message;
        EXPECT_EQ(answer->status, status);
        EXPECT_EQ(answer->body, hasBody ? "why" : "") << status;
    }
    EXPECT_EQ(server_.requests().size(), 14u);
}

TEST_F(HttpSessionTests, anAnswerIsCutAtTheLimitOfItsRequest) {
    HttpRequest request = get(server_.url());
    request.answerLimit = 1000;
    const QByteArray endless = "HTTP/1.1 200 OK\r\n\r\n";
    server_.script({ScriptedServer::answer(200, QByteArray(1000, 'x')),
                    ScriptedServer::answer(200, QByteArray(1001, 'x')),
                    {.bytes = endless, .repeated = QByteArray(10'000, 'y')}});
    EXPECT_FALSE(send(request)->isTooLarge);
    const auto announced = send(request);
    EXPECT_TRUE(announced->isTooLarge);
    const auto cut = send(request);
    EXPECT_TRUE(cut->isTooLarge);
    EXPECT_EQ(cut->body.size(), 1000);
    EXPECT_EQ(cut->status, 200);
    waitUntil([&] { return server_.ended() >= 1; });
    EXPECT_LT(server_.sent(), 20'000'000);
}

TEST_F(HttpSessionTests, aConnectionThatBreaksIsASentence) {
    QTcpServer closed;
    ASSERT_TRUE(closed.listen(QHostAddress::LocalHost));
    const QUrl nobody("http://127.0.0.1:" + QString::number(closed.serverPort()));
    closed.close();
    const auto refused = send(get(nobody));
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), (HttpError{HttpError::Kind::network, "Connection refused."}));
    EXPECT_FALSE(send(get(QUrl("file:///etc/hostname"))));
    EXPECT_FALSE(send(get(QUrl("data:text/plain,x"))));

    // At every byte of an answer.
    const QByteArray whole = ScriptedServer::answer(200, "body").bytes;
    for (qsizetype length = 0; length < whole.size(); ++length) {
        server_.script({{.bytes = whole.first(length), .then = Then::close}});
        const auto answer = sendGet();
        EXPECT_FALSE(answer) << length;
        if (!answer) EXPECT_THAT(answer.error().message, EndsWith("."));
    }
    server_.script({{.bytes = whole, .then = Then::close}});
    EXPECT_EQ(sendGet()->body, "body");
}

TEST_F(HttpSessionTests, silenceAndSlownessEndAtTheirTimes) {
    HttpSession impatient(userAgent, {.idle = 100ms, .whole = 1h});
    server_.script({{.bytes = "HTTP/1.1 200 OK\r\n", .then = Then::stall}});
    const HttpError late{HttpError::Kind::network, "The request timed out."};
    EXPECT_EQ(QCoro::waitFor(impatient.send(get(server_.url()))), std::unexpected(late));

    HttpSession brief(userAgent, {.idle = 1h, .whole = 300ms});
    const QByteArray length = "HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n";
    server_.script({{.bytes = length, .repeated = "x", .pause = 1ms}});
    EXPECT_EQ(QCoro::waitFor(brief.send(get(server_.url()))), std::unexpected(late));
    HttpRequest own = get(server_.url());
    own.wholeTime = 300ms;
    EXPECT_EQ(send(own), std::unexpected(late));
}

TEST_F(HttpSessionTests, aCancelledRequestEndsAtOnceAndTheOthersGoOn) {
    server_.handler = [](const ScriptedServer::Request& request) {
        if (request.target == "/x") return ScriptedServer::answer(200);
        return ScriptedServer::Answer{.then = Then::stall};
    };
    CancellationSource source;
    const auto task = session_.send(get(server_.url("/waits")), source.get_token());
    waitUntil([&] { return server_.requests().size() == 1; });
    EXPECT_TRUE(sendGet());
    EXPECT_FALSE(task.isReady());
    source.request_stop();
    EXPECT_TRUE(task.isReady());
    EXPECT_EQ(QCoro::waitFor(task).error().kind, HttpError::Kind::cancelled);
    // One that was cancelled before is not sent at all.
    EXPECT_FALSE(QCoro::waitFor(session_.send(get(server_.url("/waits")), source.get_token())));
    EXPECT_EQ(server_.requests().size(), 2u);
    waitUntil([&] { return server_.ended() == 1; });
}

TEST_F(HttpSessionTests, aSessionThatGoesAwayEndsItsRequests) {
    server_.script({{.then = Then::stall}});
    auto session = std::make_unique<HttpSession>(userAgent);
    const auto task = session->send(get(server_.url()));
    waitUntil([&] { return server_.requests().size() == 1; });
    session.reset();
    ASSERT_TRUE(task.isReady());
    EXPECT_EQ(QCoro::waitFor(task).error().kind, HttpError::Kind::cancelled);
}

TEST_F(HttpSessionTests, redirectsAreRefusedOrStayOnTheHost) {
    const auto to = [](const QByteArray& place) {
        return ScriptedServer::answer(302, "moved", {"Location: " + place});
    };
    server_.script({to("/y"), ScriptedServer::answer(200, "there")});
    EXPECT_EQ(sendGet()->status, 302);
    EXPECT_EQ(server_.requests().size(), 1u);

    HttpRequest following = get(server_.url("/x"));
    following.redirects = HttpRequest::Redirects::sameHost;
    server_.script({to("/y"), ScriptedServer::answer(200, "there")});
    EXPECT_EQ(send(following)->body, "there");
    EXPECT_EQ(server_.requests().back().target, "/y");

    const std::size_t before = server_.requests().size();
    const std::string elsewhere[] = {"http://localhost:1/", "https://127.0.0.1/", "//127.0.0.2/", "file:///etc/passwd",
                                     "http://a:b@127.0.0.1/"};
    for (const std::string& place : elsewhere) {
        server_.script({to(QByteArray::fromStdString(place))});
        const auto answer = send(following);
        EXPECT_TRUE(answer && answer->status == 302 && answer->body == "moved") << place;
    }
    EXPECT_EQ(server_.requests().size(), before + std::size(elsewhere));

    server_.script({to("/again")});
    EXPECT_EQ(send(following).error().message, "Too many redirects.");
    EXPECT_LE(server_.requests().size(), before + std::size(elsewhere) + 21);
}

TEST_F(HttpSessionTests, anUploadTellsItsProgressAndHasTimeToBeSent) {
    HttpRequest request = get(server_.url("/up"));
    request.method = "POST";
    request.headers = {{"Content-Type", "application/octet-stream"}};
    request.body = QByteArray(5'000'000, 'u');
    std::vector<double> told;
    request.progress.report = [&](double part) { told.push_back(part); };
    EXPECT_EQ(send(request)->status, 200);
    EXPECT_EQ(server_.requests().back().body.size(), 5'000'000);
    ASSERT_FALSE(told.empty());
    EXPECT_TRUE(std::ranges::is_sorted(told));
    EXPECT_EQ(told.back(), 1);
}
