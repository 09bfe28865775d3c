// Servers that mean harm: what they send must end in a sentence, in bounded memory, and must never be given a token.

#include "GlassHobCore/site/APIClient.h"
#include "GlassHobCore/site/HttpSession.h"
#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobCore/tests/TestAuthority.h"
#include "GlassHobCore/tests/WaitUntil.h"

#include <gtest/gtest.h>

using namespace glasshob;
using namespace std::chrono_literals;
using Answer = ScriptedServer::Answer;
using Then = Answer::Then;

namespace {

using Outcome = std::expected<HttpAnswer, HttpError>;

HttpRequest withToken(const QUrl& url) {
    HttpRequest request;
    request.url = url;
    request.headers = {{"Authorization", "Bearer secret"}};
    return request;
}

Outcome send(HttpSession& session, HttpRequest request) {
    return QCoro::waitFor(session.send(std::move(request)));
}

// 10 GB of zeros a minute: every 13 bytes unpack to 2064, without end.
Answer endlessBomb() {
    const QByteArray head = "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n\r\n";
    const QByteArray gzip("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10);
    // A block in the fixed code: a zero, and from then on "258 times the last byte", 13 bits each.
    QByteArray bits = QByteArray("110") + "00110000";
    const QByteArray again = "11000101"
                             "00000";
    bits += again;
    const auto packed = [](const QByteArray& sequence) {
        QByteArray bytes(sequence.size() / 8, 0);
        for (qsizetype i = 0; i < sequence.size(); ++i)
            if (sequence[i] == '1') bytes[i / 8] = char(bytes[i / 8] | (1 << (i % 8)));
        return bytes;
    };
    return {.bytes = head + gzip + packed(bits), .repeated = packed(again.repeated(8)).repeated(1000)};
}

} // namespace

TEST(HostileServerTests, aCertificateThatIsNotGoodForItsHostIsRefusedBeforeAnythingIsSent) {
    TestAuthority authority;
    HttpSession session("test");
    {
        ScriptedServer good(authority.identity("localhost"));
        const auto answer = send(session, withToken(good.url("/x", "localhost")));
        ASSERT_TRUE(answer) << answer.error().message;
        EXPECT_EQ(answer->status, 200);
        EXPECT_EQ(good.requests()[0].header("Authorization"), "Bearer secret");
        // The same server by another name.
        EXPECT_FALSE(send(session, withToken(good.url("/x", "127.0.0.1"))));
        EXPECT_EQ(good.requests().size(), 1u);
    }
    const std::pair<const char*, QSslConfiguration> refused[] = {
        {"another name", authority.identity("other.example")},
        {"a name that only begins so", authority.identity("localhost.evil.example")},
        {"expired", authority.identity("localhost", -1)},
        {"self-signed", authority.selfSigned("localhost")},
    };
    for (const auto& [what, identity] : refused) {
        ScriptedServer server(identity);
        const auto answer = send(session, withToken(server.url("/x", "localhost")));
        ASSERT_FALSE(answer) << what;
        EXPECT_TRUE(answer.error().message.starts_with("SSL handshake failed")) << what << answer.error().message;
        EXPECT_TRUE(answer.error().message.ends_with('.')) << answer.error().message;
        EXPECT_EQ(server.begun(), 0) << what;
    }
    // An authority that is not trusted any more.
    const QSslConfiguration identity = authority.identity("localhost");
    TestAuthority* const other = new TestAuthority;
    QSslConfiguration::setDefaultConfiguration(QSslConfiguration());
    ScriptedServer server(identity);
    HttpSession fresh("test");
    EXPECT_FALSE(send(fresh, withToken(server.url("/x", "localhost"))));
    EXPECT_EQ(server.begun(), 0);
    delete other;
}

TEST(HostileServerTests, aTokenFollowsNoRedirect) {
    TestAuthority authority;
    ScriptedServer secure(authority.identity("localhost")), plain;
    HttpSession session("test");
    for (const int status : {301, 302, 303, 307, 308})
        for (const QUrl& target : {plain.url("/y", "localhost"), plain.url("/y"), secure.url("/y", "localhost")})
            for (const bool posts : {false, true}) {
                secure.script({ScriptedServer::answer(status, "", {"Location: " + target.toEncoded()})});
                HttpRequest request = withToken(secure.url("/x", "localhost"));
                if (posts) {
                    request.method = "POST";
                    request.headers.emplace_back("Content-Type", "application/json");
                    request.body = "{}";
                }
                const std::size_t before = secure.requests().size();
                const auto answer = send(session, request);
                ASSERT_TRUE(answer) << answer.error().message;
                EXPECT_EQ(answer->status, status);
                EXPECT_EQ(secure.requests().size(), before + 1);
            }
    // Without a token one may follow, but not to where everybody can read.
    HttpRequest open = withToken(secure.url("/x", "localhost"));
    open.headers.clear();
    open.redirects = HttpRequest::Redirects::sameHost;
    secure.script({ScriptedServer::answer(302, "", {"Location: " + plain.url("/y", "localhost").toEncoded()})});
    EXPECT_EQ(send(session, open)->status, 302);
    EXPECT_EQ(plain.connections(), 0);
}

TEST(HostileServerTests, whatHasNoEndIsCutAtItsLimit) {
    ScriptedServer server;
    HttpSession session("test");
    HttpRequest request = withToken(server.url());
    const Answer endless[] = {
        endlessBomb(),
        {.bytes = "HTTP/1.1 200 OK\r\n\r\n", .repeated = QByteArray(65536, 'x')},
        {.bytes = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n",
         .repeated = "1000\r\n" + QByteArray(4096, 'x') + "\r\n"},
        {.bytes = "HTTP/1.1 200 OK\r\nContent-Length: 99999999999999\r\n\r\n", .repeated = QByteArray(65536, 'x')},
    };
    for (const Answer& answer : endless) {
        server.script({answer});
        const qint64 before = server.sent();
        const auto got = send(session, request);
        ASSERT_TRUE(got) << got.error().message;
        EXPECT_TRUE(got->isTooLarge) << answer.bytes.toStdString();
        EXPECT_LE(got->body.size(), request.answerLimit);
        EXPECT_LT(server.sent() - before, 30'000'000);
    }
    // What is packed small enough is unpacked.
    const QByteArray hello = QByteArray::fromHex("1f8b0800000000000003cb48cdc9c9070086a6103605000000");
    server.script({ScriptedServer::answer(200, hello, {"Content-Encoding: gzip"})});
    EXPECT_EQ(send(session, request)->body, "hello");
}

TEST(HostileServerTests, headersWithoutEndAreGivenUp) {
    ScriptedServer server;
    HttpSession session("test", {.idle = 20s, .whole = 500ms});
    for (const QByteArray& more : {QByteArray("X-More: ") + QByteArray(1000, 'x') + "\r\n", QByteArray(1000, 'x')}) {
        server.script({{.bytes = "HTTP/1.1 200 OK\r\nX: ", .repeated = more}});
        const auto got = send(session, withToken(server.url()));
        ASSERT_FALSE(got);
        EXPECT_EQ(got.error().message, "The request timed out.");
        EXPECT_LT(server.sent(), 50'000'000);
    }
}

TEST(HostileServerTests, lengthsThatLieGiveNoOtherRequestAnAnswer) {
    ScriptedServer server;
    HttpSession session("test");
    const QByteArray smuggled = "HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nsmuggled";
    const QByteArray lies[] = {
        "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}" + smuggled,
        "HTTP/1.1 204 No\r\nContent-Length: 2\r\n\r\n" + smuggled,
        "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n" + smuggled,
        "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nContent-Length: 60\r\n\r\n{}" + smuggled,
        "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" + smuggled,
    };
    for (const QByteArray& lie : lies) {
        server.script({{.bytes = lie}, ScriptedServer::answer(200, "own")});
        (void)send(session, withToken(server.url("/lie")));
        const auto second = send(session, withToken(server.url("/next")));
        if (second) EXPECT_NE(second->body, "smuggled") << lie.toStdString();
    }
    for (const char* length : {"-5", "abc", "1e3", "18446744073709551617", "", "2, 60"}) {
        server.script({{.bytes = QByteArray("HTTP/1.1 200 OK\r\nContent-Length: ") + length + "\r\n\r\n{}",
                        .then = Then::close}});
        const auto answer = send(session, withToken(server.url()));
        if (answer) EXPECT_LE(answer->body.size(), 2) << length;
    }
    for (const char* nonsense : {"\r\n\r\n", "HTTP/9.9 200 OK\r\n\r\n", "SSH-2.0-x\r\n", "HTTP/1.1 abc OK\r\n\r\n",
                                 "HTTP/1.1 99999999999 OK\r\n\r\n", "<html>", "HTTP/1.1 -200 OK\r\n\r\n"}) {
        server.script({{.bytes = nonsense, .then = Then::close}});
        const auto answer = send(session, withToken(server.url()));
        if (answer) EXPECT_TRUE(answer->status >= 100 && answer->body.isEmpty()) << nonsense;
    }
}

TEST(HostileServerTests, anAnswerBeforeTheUploadIsThereIsNoSuccess) {
    ScriptedServer server;
    server.answersEarly = true;
    HttpSession session("test");
    HttpRequest request = withToken(server.url("/up"));
    request.method = "POST";
    request.headers.emplace_back("Content-Type", "application/octet-stream");
    request.body = QByteArray(25'000'000, 'u');
    for (const Then then : {Then::keepOpen, Then::close, Then::stall}) {
        Answer early = ScriptedServer::answer(413, "too much");
        early.then = then;
        server.script({early});
        const int before = server.begun();
        const auto answer = send(session, request);
        EXPECT_TRUE(!answer || answer->status == 413);
        EXPECT_LE(server.begun() - before, 3);
    }
}
