// What no program and no browser would send.

#include "GlassHobGallery/tests/TestServer.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

namespace glasshob::gallery {
namespace {

TEST(Rubbish, OtherMethodsAndTypesAreToldApart) {
    const int port = server().port();
    for (const char* path :
         {"/api/app/link", "/api/app/link/poll", "/api/account/handle", "/api/auth/signout", "/api/shaders"}) {
        for (const char* method : {"GET", "PUT", "DELETE", "PATCH", "OPTIONS", "FROB"})
            EXPECT_EQ(request(port, method, path).status, 405) << method << path;
        EXPECT_EQ(request(port, "GET", path).header("allow"), "POST");
    }
    EXPECT_EQ(apiPost("/api/me", {}).status, 405);
    EXPECT_EQ(request(port, "POST", "/api/app/link", "Content-Type: text/plain\r\n", "{}").status, 415);
    for (const char* body : {"", "[]", "{", "null", "{\"device\": }", "\xff\xfe"})
        EXPECT_EQ(request(port, "POST", "/api/app/link", "Content-Type: application/json\r\n", body).status, 400)
            << body;
    EXPECT_EQ(request(port, "POST", "/api/app/link", "Content-Type: application/json\r\n",
                      "{\"x\": \"" + std::string(70'000, 'x') + "\"}")
                  .status,
              413);
    EXPECT_EQ(apiGet("/api/nothing").status, 404);
    EXPECT_EQ(request(port, "DELETE", "/").status, 405);
    EXPECT_EQ(request(port, "HEAD", "/about").status, 200);
    for (const char* path : {"/s/../../etc/passwd", "/s/%2e%2e/x", "/%00", "/s/a%00b", "//", "/s//", "/u/",
                             "/?before=%27", "/s/%ff%fe", "/admin/", "/join/x/y"})
        EXPECT_LT(request(port, "GET", path).status, 500) << path;
}

TEST(Rubbish, UploadsAreTakenOnlyAsTheyAreSaidToBe) {
    Browser person;
    const std::string token = programOf(person.join(newHandle()));
    const std::string sign = "Authorization: Bearer " + token + "\r\n";
    const auto post = [&](const std::string& type, const std::string& body) {
        return request(server().port(), "POST", "/api/shaders", sign + "Content-Type: " + type + "\r\n", body).status;
    };
    const std::string good = Upload::fresh().body("B");
    EXPECT_EQ(post("application/json", "{}"), 415);
    EXPECT_EQ(post("multipart/form-data", good), 400);
    EXPECT_EQ(post("multipart/form-data; boundary=C", good), 400);
    EXPECT_EQ(post("multipart/form-data; boundary=B", ""), 400);
    // A part twice, one too many, one missing.
    const std::string part = "--B\r\nContent-Disposition: form-data; name=\"";
    EXPECT_EQ(post("multipart/form-data; boundary=B", part + "meta\"\r\n\r\n{}\r\n" + good), 400);
    EXPECT_EQ(post("multipart/form-data; boundary=B", part + "extra\"\r\n\r\nx\r\n" + good), 400);
    EXPECT_EQ(post("multipart/form-data; boundary=B", good.substr(good.find("--B\r\n", 4))), 400);
    // Announced as more than any upload: the answer comes before the body.
    Connection connection(server().port());
    connection.send("POST /api/shaders HTTP/1.1\r\nHost: x\r\n" + sign +
                    "Content-Type: multipart/form-data; boundary=B\r\nContent-Length: 99999999999\r\n\r\n");
    EXPECT_EQ(connection.receive().status, 413);
    EXPECT_EQ(post("multipart/form-data; boundary=B", std::string(26'000'000, 'x')), 413);
    EXPECT_EQ(post("multipart/form-data; boundary=B", good), 201);
}

TEST(Rubbish, NoiseEndsNothing) {
    std::mt19937 random(1);
    const std::string start = "POST /api/app/link/poll HTTP/1.1\r\nHost: x\r\nContent-Type: "
                              "application/json\r\nContent-Length: 12\r\n\r\n{\"device\":1}";
    for (int i = 0; i < 300; ++i) {
        std::string text = start;
        for (int j = 0; j < 4; ++j)
            text[random() % text.size()] = char(random());
        Connection connection(server().port());
        connection.send(text);
    }
    EXPECT_EQ(apiGet("/healthz").body, "ok\n");
    EXPECT_FALSE(server().log().contains("\"mistake\"")) << server().log();
}

TEST(Rubbish, SlowAndIdleConnectionsKeepNobodyWaiting) {
    std::vector<std::unique_ptr<Connection>> idle;
    for (int i = 0; i < 200; ++i) {
        idle.push_back(std::make_unique<Connection>(server().port()));
        if (i % 2)
            idle.back()->send("POST /api/app/link HTTP/1.1\r\nHost: x\r\nContent-Type: "
                              "application/json\r\nContent-Length: 1000\r\n\r\n{");
    }
    EXPECT_EQ(apiGet("/healthz").body, "ok\n");
    // Several requests in one go are answered in their order.
    Connection connection(server().port());
    std::string several;
    for (int i = 0; i < 10; ++i)
        several += "GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n";
    connection.send(several);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(connection.receive().body, "ok\n") << i;
}

TEST(Rubbish, AddressesThatAskTooMuchAreSlowedDown) {
    const std::string from = "X-Forwarded-For: 203.0.113.9\r\nContent-Type: application/json\r\n";
    int last = 0;
    for (int i = 0; i < 205; ++i)
        last = request(server().port(), "POST", "/api/app/link", from, "{}").status;
    EXPECT_EQ(last, 429);
    EXPECT_EQ(request(server().port(), "POST", "/api/app/link",
                      "X-Forwarded-For: 203.0.113.9, 203.0.113.10\r\nContent-Type: application/json\r\n", "{}")
                  .status,
              200)
        << "what stands before the proxy's own word is a claim";
    // A proxy may say it in a header of its own.
    EXPECT_EQ(
        request(server().port(), "POST", "/api/app/link", "X-Forwarded-For: 203.0.113.11\r\n" + from, "{}").status,
        429);
}

} // namespace
} // namespace glasshob::gallery
