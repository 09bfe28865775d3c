// Requests made up from what requests look like, and then damaged. The same ones in every run; GLASSHOB_GALLERY_FUZZ
// says how many.

#include "GlassHobGallery/site/Gallery.h"
#include "GlassHobGallery/tests/TestServer.h"

#include <gtest/gtest.h>

#include <random>

namespace glasshob::gallery {
namespace {

class Generator {
  public:
    Generator(unsigned seed, Browser& person, const std::string& token, const std::string& id)
        : random_(seed), id_(id), form_(person.tokenOn("/account")) {
        const std::string cookies = person.cookieHeader();
        headers_ = {cookies,
                    "Authorization: Bearer " + token + "\r\n",
                    "Authorization: Bearer x\r\n",
                    "Cookie: session=; visitor=;;=;a\r\n",
                    "Cookie: session=" + std::string(43, 'A') + "\r\n",
                    "Content-Type: application/json\r\n",
                    "Content-Type: application/x-www-form-urlencoded\r\n",
                    "Content-Type: multipart/form-data; boundary=B\r\n",
                    "Content-Type: multipart/form-data; boundary=\"\r\n",
                    "Range: bytes=0-\r\n",
                    "Range: bytes=-5\r\n",
                    "Range: bytes=99999999999999999999-\r\n",
                    "Range: bytes=5-2,1-\r\n",
                    "If-None-Match: \"x\"\r\n",
                    "If-Range: \"x\"\r\nRange: bytes=1-1\r\n",
                    "Origin: null\r\n",
                    "Origin: ://\r\n",
                    "X-Forwarded-For: 1.2.3.4, ::1\r\n",
                    "X-Forwarded-For: ,\r\n",
                    "Accept-Encoding: deflate, gzip\r\n",
                    "Transfer-Encoding: chunked\r\n",
                    "Expect: 100-continue\r\n",
                    "Connection: close\r\n",
                    "User-Agent: \x01\xff<b>\r\n"};
        for (const Gallery::Route& route : Gallery::routes())
            if (!std::string_view(route.path).contains("delete") &&
                std::string_view(route.path) != "/api/auth/signout" && std::string_view(route.path) != "/signout")
                paths_.push_back(route.path);
        paths_.insert(paths_.end(), {"/static/gallery.css", "/s/*/source.metal", "/s/*/loop.mp4", "/static/*", "/*"});
    }

    std::string next() {
        std::string body;
        std::string head = one({"GET", "POST", "HEAD", "PUT", "OPTIONS", "get", "\x01"}, 15) + " " + path() + " " +
                           one({"HTTP/1.1", "HTTP/1.0", "HTTP/2.0", "HTTP/1.1 "}, 30) + "\r\nHost: localhost\r\n";
        for (int i = number(5); i > 0; --i)
            head += headers_[std::size_t(number(int(headers_.size())))];
        switch (number(5)) {
        case 0: body = json(); break;
        case 1:
        case 2: body = fields(); break;
        case 3: body = multipart(); break;
        default: break;
        }
        if (!body.empty() && number(6) > 0) head += "Content-Length: " + std::to_string(body.size()) + "\r\n";
        std::string text = head + "\r\n" + body;
        for (int i = number(2) ? 0 : number(6); i > 0; --i)
            damage(text);
        return text;
    }

  private:
    int number(int end) { return int(random_() % unsigned(end)); }
    // The first of them so many times as often.
    std::string one(std::initializer_list<std::string> choices, int often) {
        const int chosen = number(int(choices.size()) + often);
        return choices.begin()[std::max(0, chosen - often)];
    }
    std::string word() {
        static const std::string words[] = {"",         "x",     "%",        "%zz",       "%00",
                                            "%ff%fe",   "..",    "'",        "\"",        "<b>",
                                            "fragment", "water", "1",        "-1",        "99999999999999999999",
                                            "null",     "+",     "\xf0\x9f", "%E2%80%AE", "a%0d%0ab",
                                            "*",        "AND",   "\\",       "yes",       "mit"};
        const int which = number(int(std::size(words)) + 2);
        if (which == int(std::size(words))) return id_;
        if (which > int(std::size(words))) return std::string(std::size_t(number(3000)), 'x');
        return words[which];
    }
    std::string path() {
        std::string made = paths_[std::size_t(number(int(paths_.size())))];
        for (std::size_t at = 0; (at = made.find('*')) != std::string::npos;)
            made.replace(at, 1, number(2) ? id_ : word());
        for (int i = number(4); i > 0; --i)
            made += (made.contains('?') ? "&" : "?") +
                    one({"q", "tag", "kind", "before", "code", "next", "done", "x"}, 0) + one({"=", "", "=="}, 4) +
                    word();
        std::erase(made, ' ');
        return made;
    }
    std::string json() {
        return one({"{}", "[]", "{\"handle\":\"" + word() + "\"}", "{\"device\":" + word() + "}",
                    "{\"device\":\"" + word() + "\"}", std::string(200, '['), "{\"a\":1e999}", "\xff"},
                   1);
    }
    std::string fields() {
        std::string made = "token=" + (number(3) ? form_ : word());
        for (int i = number(6); i > 0; --i)
            made += one({"&", "", "&&"}, 5) +
                    one({"handle", "email", "new", "current", "title", "description", "licence", "visibility", "reason",
                         "text", "code", "answer", "session", "do", "why", "join", "name", "password", "setup"},
                        0) +
                    "=" + word();
        return made;
    }
    std::string multipart() {
        std::string made;
        for (int i = number(7); i > 0; --i)
            made += "--" + one({"B", "C", "B--"}, 5) + "\r\nContent-Disposition: form-data; name=\"" +
                    one({"meta", "source", "loop", "thumb", "x"}, 0) + "\"\r\n" +
                    one({"", "Content-Type: text/plain\r\n", std::string(2100, 'h')}, 3) + "\r\n" +
                    (number(2) ? json() : word()) + "\r\n";
        return made + "--B--\r\n";
    }
    void damage(std::string& text) {
        if (text.empty()) return;
        const std::size_t at = random_() % text.size(),
                          length = std::min<std::size_t>(random_() % 20, text.size() - at);
        switch (number(6)) {
        case 0: text[at] = char(random_()); break;
        case 1: text.erase(at, length); break;
        case 2: text.insert(at, std::string(length, char(random_()))); break;
        case 3: text.insert(at, text.substr(random_() % text.size(), length)); break;
        case 4: text.resize(at); break;
        default: text.insert(at, one({"\r\n", "\n", "\r", std::string(1, '\0'), "\r\n\r\n", ": ", "%"}, 0)); break;
        }
    }

    std::mt19937 random_;
    std::string id_, form_;
    std::vector<std::string> headers_, paths_;
};

TEST(Fuzz, NoRequestIsTheGallerysMistake) {
    const char* wanted = std::getenv("GLASSHOB_GALLERY_FUZZ");
    const int count = wanted ? std::atoi(wanted) : 400;
    TestServer own;
    setUp(own);
    Browser person(own);
    const std::string token = programOf(person.join("fuzzed"), own);
    const std::string id = share(token, Upload::fresh(), own).json()["id"].toString().toStdString();
    ASSERT_FALSE(id.empty());
    Generator generator(1, person, token, id);
    std::map<int, int> statuses;
    for (int i = 0; i < count; ++i) {
        const std::string text = generator.next();
        Connection connection(own.port());
        connection.send(text);
        // Many of them are not whole: nothing comes then, however long one waits.
        connection.wait(20);
        connection.end();
        const int status = connection.receive(true).status;
        ++statuses[status];
        ASSERT_TRUE(status < 500 || status == 501 || status == 505) << status << "\n" << text << own.log();
        if (i % 100 == 0) own.database().run("DELETE FROM attempt"); // so that not all of it is too much
    }
    for (const auto& [status, times] : statuses)
        std::printf("%d: %d times\n", status, times);
    EXPECT_GT(statuses[200], count / 50) << "many get to where the gallery answers";
    EXPECT_GT(statuses[400], count / 50);
    EXPECT_EQ(apiGet("/healthz", "", own).body, "ok\n");
    EXPECT_FALSE(own.log().contains("\"mistake\"")) << own.log();
    EXPECT_FALSE(own.log().contains("\"status\":\"5"));
    EXPECT_EQ(checkOf(own.folder()), "");
}

// An upload with any byte of its frame changed or left out is one that is refused, or the same upload.
TEST(Fuzz, AnUploadThatIsChangedAtAnyByteHarmsNothing) {
    TestServer own;
    const std::string token = setUp(own);
    Upload upload = Upload::fresh();
    upload.licence = "none"; // so that it is refused at the last moment before the film is looked at
    upload.source = "x";
    upload.loop = "....ftyp....";
    upload.thumb = "\xFF\xD8\xFF....";
    const std::string body = upload.body("B");
    const std::string head = "Authorization: Bearer " + token + "\r\nContent-Type: multipart/form-data; boundary=B\r\n";
    const bool isLong = std::getenv("GLASSHOB_GALLERY_FUZZ");
    for (std::size_t at = 0; at < body.size(); at += isLong ? 1 : 2) {
        if (at % 50 == 0) own.database().run("DELETE FROM attempt");
        for (int kind = isLong ? 0 : int(at / 2 % 4); kind < 4; kind += isLong ? 1 : 4) {
            std::string changed = body;
            if (kind == 0) changed[at] = char(changed[at] ^ 1);
            if (kind == 1) changed[at] = '\r';
            if (kind == 2) changed.erase(at, 1);
            if (kind == 3) changed.resize(at);
            const int status = request(own.port(), "POST", "/api/shaders", head, changed).status;
            ASSERT_TRUE(status == 400 || status == 413 || status == 422 || status == 429)
                << at << " " << kind << " " << status;
        }
    }
    EXPECT_TRUE(filesIn(own.folder() / "incoming").empty());
    EXPECT_TRUE(filesIn(own.folder() / "media").empty());
    EXPECT_FALSE(own.log().contains("\"mistake\""));
}

} // namespace
} // namespace glasshob::gallery
