// Shaders fetched from a server that says what it wants.

#include "GlassHobCore/site/HttpSession.h"
#include "GlassHobCore/site/OpenLink.h"
#include "GlassHobCore/site/ShaderDownload.h"
#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobCore/tests/WaitUntil.h"

#include <gtest/gtest.h>

#include <memory>

using namespace glasshob;
using Then = ScriptedServer::Answer::Then;

namespace {

constexpr qsizetype limit = 307'200;

class ShaderDownloadTests : public testing::Test {
  protected:
    ScriptedServer server_;
    HttpSession session_{"GlassHob/test"};
    const Site site_ = Site::at("http://localhost:1");

    OpenLink link() const {
        return {server_.url("/s/ab12/source.metal", "localhost").toEncoded().toStdString(), "s/ab12", "s-ab12.metal"};
    }
    std::expected<std::string, ShaderDownload::Problem> fetch() {
        return QCoro::waitFor(ShaderDownload::fetch(link(), site_, session_));
    }
    // The text, or the sentence that says why there is none.
    std::string fetched(const ScriptedServer::Answer& answer) {
        server_.script({answer});
        const auto text = fetch();
        return text ? *text : text.error().sentence;
    }
};

const std::string tooLarge = "That file is over 300 KB, which no shader is: it was not opened.";
const std::string notText = "That file is not UTF-8 text: it was not opened.";

} // namespace

TEST_F(ShaderDownloadTests, asksForTextAndGivesItByteForByte) {
    const QByteArray text = "\xEF\xBB\xBF// caf\xC3\xA9\r\n\0float4\n\xF0\x9F\x8E\xA8";
    EXPECT_EQ(fetched(ScriptedServer::answer(200, text, {"Content-Type: text/html"})), text.toStdString());
    ASSERT_EQ(server_.requests().size(), 1u);
    const auto& request = server_.requests()[0];
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.target, "/s/ab12/source.metal");
    EXPECT_EQ(request.header("Accept"), "text/plain");
    EXPECT_EQ(request.header("User-Agent"), "GlassHob/test");
    EXPECT_FALSE(request.header("Authorization"));
}

TEST_F(ShaderDownloadTests, takesThreeHundredKilobytesAndNoByteMore) {
    const QByteArray most(limit, 'x');
    EXPECT_EQ(fetched(ScriptedServer::answer(200, most)), most.toStdString());
    EXPECT_EQ(fetched(ScriptedServer::answer(200, most + 'x')), tooLarge);
    // Without a word of its length, and with a lie about it.
    const QByteArray unsaid = "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n";
    EXPECT_EQ(fetched({.bytes = unsaid + most, .then = Then::close}), most.toStdString());
    EXPECT_EQ(fetched({.bytes = unsaid + most + 'x', .then = Then::close}), tooLarge);
    EXPECT_EQ(fetched({.bytes = unsaid, .repeated = QByteArray(10'000, '\n')}), tooLarge);
    EXPECT_EQ(fetched({.bytes = "HTTP/1.1 200 OK\r\nContent-Length: 307201\r\n\r\n", .then = Then::stall}), tooLarge)
        << "nothing has to come for that";
    // Packed it is small: forty megabytes of nothing.
    const QByteArray packed = qCompress(QByteArray(40'000'000, ' '), 9).mid(4);
    ASSERT_LT(packed.size(), 100'000);
    EXPECT_EQ(fetched(ScriptedServer::answer(200, packed, {"Content-Encoding: deflate"})), tooLarge);
}

TEST_F(ShaderDownloadTests, theStatusComesFirst) {
    const QByteArray large(limit + 1, 'x');
    for (const int status : {201, 204, 206, 301, 304, 401, 404, 410, 500})
        EXPECT_EQ(fetched(ScriptedServer::answer(status, status == 204 || status == 304 ? QByteArray() : large)),
                  "localhost answered " + std::to_string(status) + " for that shader.");
}

TEST_F(ShaderDownloadTests, refusesWhatIsNoText) {
    for (const QByteArray& bytes :
         {QByteArray("\xFF\xFE/\0/\0", 6), QByteArray("// caf\xE9"), QByteArray("a\xC0\xAF"),
          QByteArray("a\xED\xA0\x80"), QByteArray("a\xF4\x90\x80\x80"), QByteArray("a\xE2\x82")})
        EXPECT_EQ(fetched(ScriptedServer::answer(200, bytes)), notText) << bytes.toHex().toStdString();
    EXPECT_EQ(fetched(ScriptedServer::answer(200)), "") << "an empty file is a text";
}

TEST_F(ShaderDownloadTests, followsRedirectsOnItsHostAlone) {
    const auto to = [](const QByteArray& place) {
        return ScriptedServer::answer(307, "moved", {"Location: " + place});
    };
    server_.script({to("/elsewhere.txt"), ScriptedServer::answer(200, "there")});
    EXPECT_EQ(fetch(), "there");
    ScriptedServer other;
    for (const QByteArray& place :
         {other.url("/x.metal", "127.0.0.1").toEncoded(), QByteArray("https://localhost/x.metal"),
          QByteArray("file:///etc/passwd"), QByteArray("//evil.example/x.metal"), QByteArray("data:text/plain,x")}) {
        EXPECT_EQ(fetched(to(place)), "localhost answered 307 for that shader.") << place.toStdString();
        EXPECT_TRUE(other.requests().empty());
    }
}

TEST_F(ShaderDownloadTests, halfAShaderIsNone) {
    server_.script({{.bytes = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n// half", .then = Then::close}});
    const auto half = fetch();
    ASSERT_FALSE(half);
    EXPECT_EQ(half.error().kind, ShaderDownload::Problem::Kind::network);
    EXPECT_TRUE(half.error().sentence.ends_with('.')) << half.error().sentence;

    server_.script({{.bytes = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n// half", .then = Then::stall}});
    CancellationSource source;
    const auto task = ShaderDownload::fetch(link(), site_, session_, source.get_token());
    waitUntil([&] { return server_.requests().size() == 2; });
    source.request_stop();
    EXPECT_EQ(QCoro::waitFor(task).error().kind, ShaderDownload::Problem::Kind::cancelled);
}
