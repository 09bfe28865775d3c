// What becomes of uploads.

#include "GlassHobGallery/tests/TestServer.h"

#include <gtest/gtest.h>

#include <thread>

#include <signal.h>
#include <unistd.h>

namespace glasshob::gallery {
namespace {

struct Share : testing::Test {
    Browser person;
    std::string handle = newHandle("sharer");
    std::string token = programOf(person.join(handle));

    int refused(const Upload& upload, const std::string& words) {
        const Answer answer = share(token, upload);
        EXPECT_TRUE(answer.error().contains(words)) << answer.body;
        EXPECT_LE(answer.error().size(), 320u);
        EXPECT_FALSE(answer.error().contains('\n'));
        return answer.status;
    }
};

TEST_F(Share, TheShaderHasItsPageAndItsFiles) {
    Upload upload = Upload::fresh();
    upload.title = "  <Sea> & \"Sky\"  ";
    upload.source = "// @forked-from s/abc123\n" + upload.source;
    const std::string id = shared(token, upload);
    const Answer page = Browser().get("/s/" + id);
    ASSERT_EQ(page.status, 200);
    for (const std::string& part :
         {std::string("<h1 id=\"title\">&lt;Sea&gt; &amp; &quot;Sky&quot;</h1>"),
          "href=\"glasshob://open?src=http%3A%2F%2Flocalhost%3A" + std::to_string(server().port()) + "%2Fs%2F" + id +
              "%2Fsource.metal\"",
          std::string("How &lt;fast&gt; it is"), std::string("href=\"/?tag=water\""),
          std::string("href=\"/?tag=light\""), std::string("s/abc123, which is not in this gallery."),
          std::string("<span class=\"t\">float4</span>"), std::string("\t<span class=\"k\">return</span>"),
          std::string("width=\"25%\""), "href=\"/u/" + handle + "\""})
        EXPECT_TRUE(page.body.contains(part)) << part << page.body.substr(page.body.find("glasshob:") - 10, 200);
    EXPECT_EQ(page.body.find("<b>"), std::string::npos);

    const auto file = [&](const std::string& name, const std::string& headers = "") {
        return request(server().port(), "GET", "/s/" + id + "/" + name, headers);
    };
    const Answer source = file("source.metal");
    EXPECT_EQ(source.body, upload.source);
    EXPECT_EQ(source.header("content-type"), "text/plain; charset=utf-8");
    EXPECT_EQ(file("loop.mp4").body, upload.loop);
    EXPECT_EQ(file("thumb.jpg").body, upload.thumb);
    EXPECT_EQ(file("loop-640.mp4").body.substr(4, 4), "ftyp");
    EXPECT_EQ(file("thumb-640.jpg").body.substr(0, 3), "\xFF\xD8\xFF");
    EXPECT_EQ(file("other").status, 404);

    const std::string tag = source.header("etag");
    EXPECT_EQ(file("source.metal", "If-None-Match: " + tag + "\r\n").status, 304);
    const Answer part = file("loop.mp4", "Range: bytes=100-199\r\n");
    EXPECT_EQ(part.status, 206);
    EXPECT_EQ(part.body, upload.loop.substr(100, 100));
    EXPECT_EQ(part.header("content-range"), "bytes 100-199/" + std::to_string(upload.loop.size()));
    EXPECT_EQ(file("loop.mp4", "Range: bytes=-10\r\n").body, upload.loop.substr(upload.loop.size() - 10));
    EXPECT_EQ(file("loop.mp4", "Range: bytes=5-\r\n").body, upload.loop.substr(5));
    EXPECT_EQ(file("loop.mp4", "Range: bytes=99999999-\r\n").status, 416);
    for (const char* odd : {"bytes=9-5", "bytes=x-", "bytes=1-2,4-5", "lines=1-2", "bytes=", "bytes=--5", "bytes=1-x"})
        EXPECT_EQ(file("loop.mp4", "Range: " + std::string(odd) + "\r\n").body.size(), upload.loop.size()) << odd;
}

TEST_F(Share, TheSameContentWithinADayIsTheSameShader) {
    const Upload upload = Upload::fresh();
    const std::string id = shared(token, upload);
    const Answer again = share(token, upload);
    EXPECT_EQ(again.status, 200);
    EXPECT_EQ(again.json()["id"].toString().toStdString(), id);
    EXPECT_EQ(again.json()["url"].toString().toStdString(), server().base() + "/s/" + id);
    Upload other = upload;
    other.title = "Another";
    EXPECT_NE(shared(token, other), id);
    server().database().run("UPDATE shader SET created = created - 90000 WHERE id = ?", id);
    EXPECT_NE(shared(token, upload), id);
    Browser second;
    EXPECT_NE(shared(programOf(second.join(newHandle())), upload), id);
}

TEST_F(Share, LimitsAreCheckedAgain) {
    Upload upload = Upload::fresh();
    upload.title = std::string(81, 'x');
    EXPECT_EQ(refused(upload, "The title must be 1 to 80 characters."), 422);
    upload = Upload::fresh();
    upload.description = std::string(501, 'x');
    EXPECT_EQ(refused(upload, "The description must be at most 500 characters."), 422);
    upload = Upload::fresh();
    upload.source.resize(200'001, ' ');
    EXPECT_EQ(refused(upload, "too large"), 413);
    upload = Upload::fresh();
    upload.thumb.resize(1'000'001);
    EXPECT_EQ(refused(upload, "too large"), 413);
    upload = Upload::fresh();
    upload.licence = "gpl";
    EXPECT_EQ(refused(upload, "licence"), 422);
    upload = Upload::fresh();
    upload.meta = "{\"title\": [1], \"licence\": \"mit\", \"visibility\": \"public\"}";
    EXPECT_EQ(refused(upload, "title"), 422);
    upload.meta = "no JSON";
    EXPECT_EQ(refused(upload, "damaged"), 400);
}

TEST_F(Share, WhatCannotBeReadWholeIsRefusedWithASentence) {
    Upload upload = Upload::fresh();
    upload.source = "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n return nothing;\n}";
    EXPECT_EQ(refused(upload, "The shader does not compile: line 2: use of undeclared identifier 'nothing'."), 422);
    upload.source = "\xff\xfe";
    EXPECT_EQ(refused(upload, "not UTF-8"), 422);
    upload = Upload::fresh();
    upload.thumb = "\xFF\xD8\xFF" + std::string(2000, 'x');
    EXPECT_EQ(refused(upload, "thumbnail"), 422);
    upload = Upload::fresh();
    upload.thumb.resize(upload.thumb.size() / 2);
    EXPECT_EQ(refused(upload, "thumbnail"), 422);
    upload = Upload::fresh();
    upload.loop = std::string(4, '\0') + "ftypmp42" + std::string(2000, 'x');
    EXPECT_EQ(refused(upload, "loop"), 422);
    for (const double share : {0.3, 0.6, 0.95}) {
        upload.loop = testLoop().substr(0, std::size_t(double(testLoop().size()) * share));
        EXPECT_EQ(refused(upload, "loop"), 422) << share;
    }
    upload.loop = testLoop();
    for (std::size_t i = upload.loop.size() / 2; i < upload.loop.size(); i += 7)
        upload.loop[i] = char(i * 31);
    EXPECT_EQ(refused(upload, "loop"), 422);
}

TEST_F(Share, TagsKindAndSlidersAreTheSources) {
    Upload upload = Upload::fresh();
    upload.meta =
        R"({"title": "T", "description": "", "licence": "mit", "visibility": "public", "kind": "grid", "params": [{"name": "lie"}], "forkedFrom": "s/lie"})";
    const std::string page = Browser().get("/s/" + shared(token, upload)).body;
    EXPECT_TRUE(page.contains("href=\"/?kind=fragment\""));
    EXPECT_FALSE(page.contains("lie"));
    EXPECT_TRUE(page.contains("Nothing: an original shader."));
}

TEST_F(Share, ABodyThatBreaksOffLeavesNothing) {
    const std::string body = Upload::fresh().body("GlassHob-T");
    const auto incoming = [] {
        return std::distance(std::filesystem::directory_iterator(server().folder() / "incoming"), {});
    };
    const std::string head = "POST /api/shaders HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer " + token +
                             "\r\nContent-Type: multipart/form-data; boundary=GlassHob-T\r\n";
    // Whole as a request, but not as an upload.
    for (std::size_t length = 0; length + 2 < body.size();
         length += std::max<std::size_t>(1, length < 900 ? 37 : body.size() / 23)) {
        Connection connection(server().port());
        connection.send(head + "Content-Length: " + std::to_string(length) + "\r\n\r\n" + body.substr(0, length));
        ASSERT_EQ(connection.receive().status, 400) << length;
    }
    // Broken off on the way.
    for (std::size_t length = 1; length < body.size(); length += body.size() / 7) {
        Connection connection(server().port());
        connection.send(head + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body.substr(0, length));
    }
    for (int i = 0; i < 3000 && incoming() > 0; ++i)
        usleep(10'000);
    EXPECT_EQ(incoming(), 0);
    EXPECT_EQ(share(token, Upload::fresh()).status, 201);
    EXPECT_TRUE(person.get("/u/" + handle).body.contains("1 shader "));
}

TEST(Server, StopsGracefullyAndStartsAgainWithWhatItHad) {
    TestServer own;
    Browser chef(own);
    ASSERT_EQ(chef.post("/setup", {{"setup", own.setupCode()},
                                   {"site", "Own"},
                                   {"handle", "chef"},
                                   {"new", goodPassword},
                                   {"join", "nobody"}})
                  .status,
              303);
    const std::string token = programOf(chef, own);
    const Upload upload = Upload::fresh();
    // The upload is on its way when the end comes, and ends well.
    const std::string body = upload.body("B");
    Connection connection(own.port());
    connection.send("POST /api/shaders HTTP/1.1\r\nHost: x\r\nConnection: close\r\nAuthorization: Bearer " + token +
                    "\r\nContent-Type: multipart/form-data; boundary=B\r\nContent-Length: " +
                    std::to_string(body.size()) + "\r\n\r\n" + body.substr(0, 1000));
    const auto incoming = [&] {
        return std::distance(std::filesystem::directory_iterator(own.folder() / "incoming"), {});
    };
    for (int i = 0; i < 3000 && incoming() == 0; ++i)
        usleep(10'000);
    std::string id;
    std::thread rest([&] {
        for (int i = 0; i < 3000 && !own.log().contains("\"stopping\""); ++i)
            usleep(10'000);
        connection.send(body.substr(1000));
        id = connection.receive().json()["id"].toString().toStdString();
    });
    EXPECT_EQ(own.stop(SIGTERM), 0);
    rest.join();
    ASSERT_FALSE(id.empty());

    own.start();
    EXPECT_EQ(request(own.port(), "GET", "/s/" + id + "/source.metal").body, upload.source);
    // Killed in the middle: nothing half is there, and what was there is.
    Connection killed(own.port());
    killed.send("POST /api/shaders HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer " + token +
                "\r\nContent-Type: multipart/form-data; boundary=B\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\n\r\n" + body.substr(0, 2000));
    for (int i = 0; i < 3000 && incoming() == 0; ++i)
        usleep(10'000);
    EXPECT_EQ(own.stop(SIGKILL), -1);
    own.start();
    EXPECT_EQ(request(own.port(), "GET", "/healthz").body, "ok\n");
    EXPECT_EQ(request(own.port(), "GET", "/s/" + id).status, 200);
    EXPECT_EQ(own.database().query("SELECT count(*) FROM shader").step(), true);
    const std::string log = own.log();
    EXPECT_FALSE(log.contains(token));
    EXPECT_FALSE(log.contains(goodPassword));
}

} // namespace
} // namespace glasshob::gallery
