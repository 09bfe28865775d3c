#include "GlassHobCore/site/APIClient.h"
#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobCore/tests/TestClock.h"

#include <gtest/gtest.h>

using namespace glasshob;
using namespace std::chrono_literals;
using Kind = APIClient::Failure::Kind;

namespace {

class APIClientTests : public testing::Test {
  protected:
    APIClient client(const QString& path = {}) {
        return APIClient(Site::at(server_.url(path).toString().toStdString()), "GlassHob/9", session_, clock_);
    }
    // Each asks once, with the server answering so.
    APIClient::Result<APIClient::Me> me(int status, const QByteArray& body) {
        server_.script({ScriptedServer::answer(status, body)});
        return QCoro::waitFor(client().me("token"));
    }
    APIClient::Result<APIClient::LinkStart> start(const QByteArray& body) {
        server_.script({ScriptedServer::answer(201, body)});
        return QCoro::waitFor(client().startLink());
    }
    APIClient::Result<APIClient::LinkPoll> poll(int status, const QByteArray& body) {
        server_.script({ScriptedServer::answer(status, body)});
        return QCoro::waitFor(client().pollLink("dev"));
    }
    const ScriptedServer::Request& asked() { return server_.requests().back(); }

    ScriptedServer server_;
    TestClock clock_;
    HttpSession session_{"session"};
};

constexpr auto unreadable = "127.0.0.1 sent an answer the app could not read.";

std::unexpected<APIClient::Failure> failure(Kind kind, std::string message, int status = 0) {
    return std::unexpected(APIClient::Failure{kind, status, std::move(message)});
}

template <class Value>
Kind kindOf(const APIClient::Result<Value>& result) {
    return result ? Kind::cancelled : result.error().kind;
}

} // namespace

namespace glasshob {
bool operator==(const APIClient::Me& a, const APIClient::Me& b) {
    return a.email == b.email && a.handle == b.handle;
}
} // namespace glasshob

TEST_F(APIClientTests, requestsAreExactlyWhatTheGalleryExpects) {
    server_.script({ScriptedServer::answer(500)});
    const APIClient at = client("/art/");
    (void)QCoro::waitFor(at.startLink());
    EXPECT_EQ(asked().method + ' ' + asked().target + ' ' + asked().body, "POST /art/api/app/link {}");
    EXPECT_EQ(asked().header("Content-Type"), "application/json");
    EXPECT_EQ(asked().header("Accept"), "application/json");
    EXPECT_EQ(asked().header("User-Agent"), "GlassHob/9");
    EXPECT_FALSE(asked().header("Authorization"));

    (void)QCoro::waitFor(at.pollLink("d\"\xC3\xA9"));
    EXPECT_EQ(asked().target + ' ' + asked().body, "/art/api/app/link/poll {\"device\":\"d\\\"\xC3\xA9\"}");

    (void)QCoro::waitFor(at.me("secret"));
    EXPECT_EQ(asked().method + ' ' + asked().target + ' ' + asked().body, "GET /art/api/me ");
    EXPECT_EQ(asked().header("Authorization"), "Bearer secret");
    EXPECT_FALSE(asked().header("Content-Type"));

    (void)QCoro::waitFor(at.setHandle("secret", "ada"));
    EXPECT_EQ(asked().target + ' ' + asked().body, "/art/api/account/handle {\"handle\":\"ada\"}");
    EXPECT_EQ(asked().header("Authorization"), "Bearer secret");

    QCoro::waitFor(at.signOut("secret"));
    EXPECT_EQ(asked().method + ' ' + asked().target + ' ' + asked().body, "POST /art/api/auth/signout {}");
    EXPECT_EQ(asked().header("Authorization"), "Bearer secret");

    ShareUpload upload;
    upload.title = "Rings";
    upload.loop = QByteArray(3'000'000, 'l');
    double told = 0;
    (void)QCoro::waitFor(at.share("secret", upload, {[&](double part) { told = part; }}));
    EXPECT_EQ(asked().method + ' ' + asked().target, "POST /art/api/shaders");
    const QByteArray type = asked().header("Content-Type").value_or("");
    const std::string boundary = type.sliced(qsizetype(strlen("multipart/form-data; boundary="))).toStdString();
    EXPECT_EQ(type, "multipart/form-data; boundary=" + QByteArray::fromStdString(boundary));
    EXPECT_EQ(asked().body, upload.multipart(boundary).body());
    EXPECT_EQ(told, 1);
}

TEST_F(APIClientTests, everyStatusBecomesOneFailureWithTheServersWordsOrTheFixedOnes) {
    struct Case {
        int status;
        QByteArray body;
        std::unexpected<APIClient::Failure> failure;
    };
    const QByteArray thousand = QByteArray("{\"error\":\"") + QByteArray("\xC3\xA9").repeated(1000) + "\"}";
    std::string threeHundred;
    for (int i = 0; i < 300; ++i)
        threeHundred += "\xC3\xA9";
    const Case cases[] = {
        {401, "", failure(Kind::signedOut, "You are signed out. Sign in again.")},
        {401, R"({"error": "line one\nline two"})", failure(Kind::signedOut, "line oneline two")},
        // Half a character keeps nothing in that has to go.
        {401, R"({"error": "a\ud800\n\u001b[2J\u202eb"})", failure(Kind::signedOut, "a?[2Jb")},
        {401, R"({"error": "a\r\n\u000b\f\u0085\u2028\u2029b"})", failure(Kind::signedOut, "ab")},
        {409, R"({"error": "Pick one", "needsHandle": true})", failure(Kind::needsHandle, "Pick one")},
        {409, R"({"needsHandle": true})", failure(Kind::needsHandle, "Choose a handle first.")},
        {409, R"({"error": "Taken", "needsHandle": false})", failure(Kind::server, "Taken", 409)},
        {409, R"({"error": 7, "needsHandle": true})", failure(Kind::server, "127.0.0.1 answered 409.", 409)},
        {409, R"({"needsHandle": "true"})", failure(Kind::server, "127.0.0.1 answered 409.", 409)},
        {409, "", failure(Kind::server, "127.0.0.1 answered 409.", 409)},
        {429, R"({"error": ""})", failure(Kind::tooMany, "Too many requests. Try again later.")},
        {429, R"({"error": "Slowly"})", failure(Kind::tooMany, "Slowly")},
        {503, "<html>", failure(Kind::server, "127.0.0.1 answered 503.", 503)},
        {500, thousand, failure(Kind::server, threeHundred, 500)},
        {204, "", failure(Kind::server, "127.0.0.1 answered 204.", 204)},
        {302, "", failure(Kind::server, "127.0.0.1 answered 302.", 302)},
        {418, R"({"error": "\u001b[2Jred \u202etxt"})", failure(Kind::server, "[2Jred txt", 418)},
    };
    for (const Case& each : cases)
        EXPECT_EQ(me(each.status, each.body), each.failure) << each.status << each.body.toStdString();

    // One character with a great many marks is not a way round the limit.
    const auto marks = me(500, "{\"error\":\"e" + QByteArray("\xCC\x81").repeated(100'000) + "\"}");
    EXPECT_LT(marks.error().message.size(), 10'000u);
}

TEST_F(APIClientTests, whatIsNotTheExpectedObjectIsABadAnswer) {
    EXPECT_EQ(*me(200, R"({"email": "a@b.example", "handle": "ada", "more": [1]})"),
              (APIClient::Me{"a@b.example", "ada"}));
    EXPECT_EQ(*me(200, R"({"email": "", "handle": null})"), APIClient::Me{});
    QByteArray nested = QByteArray("[").repeated(50) + QByteArray("]").repeated(50);
    EXPECT_EQ(me(200, R"({"email": "a", "x": )" + nested + "}")->email, "a");
    // Of two values under one key the last one counts, everywhere.
    EXPECT_EQ(me(200, R"({"email": "a", "email": "b"})")->email, "b");

    const QByteArray deep = QByteArray("[").repeated(100'000);
    const QByteArray bad[] = {"",
                              "null",
                              "7",
                              "\"text\"",
                              "[]",
                              "{}",
                              "{\"email\": \"a\"",
                              "{\"email\": \"a\"} x",
                              "{\"email\": \"\xFF\"}",
                              R"({"email": 7})",
                              R"({"email": null})",
                              R"({"email": {"email": "a"}})",
                              R"({"email": "a", "handle": 7})",
                              R"({"email": "a", "handle": ["b"]})",
                              "{\"email\": " + deep,
                              deep,
                              QByteArray("{\"email\": \"a\"}") + QByteArray(1'048'576, ' ')};
    for (const QByteArray& body : bad)
        EXPECT_EQ(me(200, body), failure(Kind::badAnswer, unreadable))
            << body.first(qMin(body.size(), 60)).toStdString();
}

TEST_F(APIClientTests, theStartOfASignInIsReadLeniently) {
    const QByteArray plain = R"("device": "d", "code": "AB-12", "url": "https://x.example/go")";
    const auto started = start("{" + plain + "}");
    ASSERT_TRUE(started);
    EXPECT_EQ(started->device + " " + started->code, "d AB-12");
    EXPECT_EQ(started->url, QUrl("https://x.example/go"));
    EXPECT_EQ(started->interval, 5s);
    EXPECT_FALSE(started->expires);

    const std::pair<const char*, std::chrono::milliseconds> intervals[] = {{"0.2", 1s},   {"-3", 1s},   {"1.5", 1500ms},
                                                                           {"60", 60s},   {"600", 60s}, {"1e300", 60s},
                                                                           {"\"7\"", 5s}, {"null", 5s}};
    for (const auto& [text, interval] : intervals)
        EXPECT_EQ(start("{" + plain + ", \"interval\": " + text + "}")->interval, interval) << text;

    const Clock::Moment stamp(1'700'000'000s);
    const std::pair<const char*, std::optional<Clock::Moment>> times[] = {
        {"600", clock_.now() + 600s},
        {"-1", clock_.now() - 1s},
        {"86399.5", clock_.now() + 86399500ms},
        {"86400", Clock::Moment(86400s)},
        {"1700000000", stamp},
        {"100000000000", Clock::Moment(100'000'000'000s)},
        {"1700000000000", stamp},
        {"\"2030-01-01T00:00:00Z\"", Clock::Moment(1'893'456'000s)},
        {"\"2030-01-01T01:00:00+01:00\"", Clock::Moment(1'893'456'000s)},
        {"\"2030-01-01T00:00:00.5Z\"", std::nullopt},
        {"\"2030-01-01\"", std::nullopt},
        {"\"2030-13-41T00:00:00Z\"", std::nullopt},
        {"\"tomorrow\"", std::nullopt},
        {"true", std::nullopt},
    };
    for (const auto& [text, time] : times)
        EXPECT_EQ(start("{" + plain + ", \"expires\": " + text + "}")->expires, time) << text;
    // A number that is out of all bounds is very far away.
    EXPECT_GT(start("{" + plain + ", \"expires\": 1e300}")->expires, clock_.now() + std::chrono::years(1000));

    for (const char* bad :
         {R"({"code": "c", "url": "https://x/"})", R"({"device": "d", "url": "https://x/"})",
          R"({"device": "d", "code": "c"})", R"({"device": 1, "code": "c", "url": "https://x/"})",
          R"({"device": "d", "code": 1, "url": "https://x/"})", R"({"device": "d", "code": "c", "url": 1})",
          R"({"device": "d", "code": "c", "url": ""})", R"({"device": "d", "code": "c", "url": "https://[::1"})"})
        EXPECT_EQ(kindOf(start(bad)), Kind::badAnswer) << bad;
}

TEST_F(APIClientTests, aPollIsApprovedPendingOrGone) {
    EXPECT_EQ(poll(410, "{}")->kind, APIClient::LinkPoll::Kind::gone);
    EXPECT_EQ(poll(202, "nonsense")->kind, APIClient::LinkPoll::Kind::pending);
    const auto approved = poll(200, R"({"token": "t0k", "email": "a@b", "handle": "ada"})");
    ASSERT_TRUE(approved);
    EXPECT_EQ(approved->kind, APIClient::LinkPoll::Kind::approved);
    EXPECT_EQ(approved->token + approved->email + approved->handle.value_or(""), "t0ka@bada");
    EXPECT_FALSE(poll(200, R"({"token": "t0k", "email": "a@b"})")->handle);

    for (const char* bad : {"", "{}", R"({"token": "", "email": "x"})", R"({"token": "t"})", R"({"email": "x"})",
                            R"({"token": 7, "email": "x"})", R"({"token": "t", "email": "x", "handle": 7})",
                            R"({"token": "t\r\nX-More: y", "email": "x"})", R"({"token": "t\u0000", "email": "x"})"})
        EXPECT_EQ(poll(200, bad), failure(Kind::badAnswer, unreadable)) << bad;
    EXPECT_EQ(poll(201, R"({"token": "t", "email": "x"})"), failure(Kind::server, "127.0.0.1 answered 201.", 201));
    EXPECT_EQ(kindOf(poll(429, "")), Kind::tooMany);
}

TEST_F(APIClientTests, theHandleThatCountsIsTheAnswersOrElseTheSentOne) {
    const std::tuple<int, const char*, const char*> cases[] = {{200, R"({"handle": "ada2"})", "ada2"},
                                                               {204, "", "ada"},
                                                               {200, "nonsense", "ada"},
                                                               {299, R"({"handle": 7})", "ada"}};
    for (const auto& [status, body, handle] : cases) {
        server_.script({ScriptedServer::answer(status, body)});
        EXPECT_EQ(QCoro::waitFor(client().setHandle("t", "ada")), handle) << status << body;
    }
    server_.script({ScriptedServer::answer(409, R"({"error": "That handle is taken."})")});
    EXPECT_EQ(QCoro::waitFor(client().setHandle("t", "ada")), failure(Kind::server, "That handle is taken.", 409));
}

TEST_F(APIClientTests, aShareIsDoneWithItsPage) {
    const auto share = [&](int status, const QByteArray& body) {
        server_.script({ScriptedServer::answer(status, body)});
        return QCoro::waitFor(client().share("t", {}, {}));
    };
    for (const int status : {200, 201}) {
        const auto shared = share(status, R"({"id": "ab12", "url": "https://x.example/s/ab12"})");
        ASSERT_TRUE(shared) << status;
        EXPECT_EQ(shared->id, "ab12");
        EXPECT_EQ(shared->url, QUrl("https://x.example/s/ab12"));
    }
    EXPECT_EQ(kindOf(share(202, R"({"id": "ab12", "url": "https://x.example/s/ab12"})")), Kind::server);
    for (const char* url : {"javascript:alert(1)", "file:///etc/passwd", "/s/ab12", "", "https://"})
        EXPECT_EQ(kindOf(share(201, QByteArray(R"({"id": "a", "url": ")") + url + "\"}")), Kind::badAnswer) << url;
    EXPECT_EQ(kindOf(share(201, R"({"id": 7, "url": "https://x.example/"})")), Kind::badAnswer);
    EXPECT_EQ(kindOf(share(409, R"({"needsHandle": true})")), Kind::needsHandle);
}

TEST_F(APIClientTests, aRequestThatDoesNotComeThroughKeepsTheNetworksWords) {
    server_.script(
        {{.bytes = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n{}", .then = ScriptedServer::Answer::Then::close}});
    const auto broken = QCoro::waitFor(client().me("t"));
    EXPECT_EQ(broken, failure(Kind::network, "Connection closed."));
    CancellationSource source;
    source.request_stop();
    EXPECT_EQ(QCoro::waitFor(client().me("t", source.get_token())),
              failure(Kind::cancelled, "The request was cancelled."));
}
