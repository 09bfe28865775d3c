// Pages as browsers without a script see them.

#include "GlassHobGallery/tests/TestServer.h"

#include <QtEndian>

#include <gtest/gtest.h>

#include <fstream>

#include <signal.h>

namespace glasshob::gallery {
namespace {

TEST(Pages, FirstStartMakesOneAdministratorOnce) {
    TestServer own;
    EXPECT_EQ(request(own.port(), "GET", "/").header("location"), "/setup");
    EXPECT_EQ(apiGet("/healthz", "", own).status, 200);
    Browser stranger(own);
    const Fields form{{"setup", "BBBB-BBBB-BBBB"},
                      {"site", "Hillside <Club>"},
                      {"handle", "chef"},
                      {"new", goodPassword},
                      {"join", "invited"}};
    const Answer refused = stranger.post("/setup", form);
    EXPECT_EQ(refused.status, 422);
    EXPECT_TRUE(refused.body.contains("This is not the setup code"));
    EXPECT_TRUE(refused.body.contains("<title>Error: set up the gallery"));
    EXPECT_TRUE(refused.body.contains("value=\"Hillside &lt;Club&gt;\"")) << "what was typed stays";
    EXPECT_FALSE(refused.body.contains(goodPassword)) << "but never a password";
    // A start makes a new code.
    const std::string old = own.setupCode();
    own.stop(SIGTERM);
    own.start();
    EXPECT_NE(own.setupCode(), old);
    Fields right = form;
    right["setup"] = own.setupCode();
    Browser chef(own);
    EXPECT_EQ(chef.post("/setup", right).status, 303);
    EXPECT_TRUE(chef.get("/").body.contains("Nothing has been shared yet"));
    EXPECT_TRUE(chef.get("/").body.contains("Hillside &lt;Club&gt;"));
    EXPECT_EQ(stranger.get("/setup").status, 404);

    // By invitation: a link for one.
    EXPECT_EQ(stranger.get("/join").status, 404);
    const std::string page = chef.post("/admin/invite", {{"uses", "1"}, {"days", "7"}}).body;
    const std::size_t at = page.find("/join/");
    ASSERT_NE(at, std::string::npos) << page;
    const std::string path = page.substr(at, 49);
    EXPECT_TRUE(stranger.get(path).body.contains("You were invited by"));
    EXPECT_EQ(stranger.get(path).header("referrer-policy"), "no-referrer");
    EXPECT_EQ(stranger.post(path, {{"handle", "chef"}, {"new", goodPassword}, {"email", ""}}).status, 422)
        << "taken: the invitation stays";
    EXPECT_EQ(stranger.post(path, {{"handle", "guest"}, {"new", goodPassword}, {"email", ""}}).status, 303);
    EXPECT_EQ(Browser(own).get(path).status, 404);
    EXPECT_TRUE(chef.get("/admin/people/guest").body.contains("with an invitation by chef"));
}

TEST(Pages, ListsAreKeptForStrangersAndNeverOlderThanTheDatabase) {
    Browser person;
    person.join(newHandle());
    const std::string id = shared(programOf(person), Upload::fresh());
    Connection stranger(server().port());
    const auto get = [&](const std::string& path, const std::string& headers = "") {
        stranger.send("GET " + path + " HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n");
        return stranger.receive();
    };
    SqliteConnection elsewhere = server().database();
    for (int i = 0; i < 40; ++i) {
        // As another process on the same data would.
        const std::string title = "Title number " + std::to_string(i);
        elsewhere.run("UPDATE shader SET title = ? WHERE id = ?", title, id);
        for (int j = 0; j < 3; ++j)
            ASSERT_TRUE(get("/").body.contains(title)) << title;
    }
    // What one visitor asked for is no other's, and a form's secret is nobody's but who got it.
    EXPECT_NE(get("/?kind=grid").body, get("/?kind=fragment").body);
    EXPECT_TRUE(person.get("/").body.contains(": your account"));
    EXPECT_EQ(person.get("/").header("cache-control"), "no-store");
    EXPECT_FALSE(get("/").body.contains(": your account"));
    EXPECT_EQ(get("/").header("set-cookie"), "");

    // A minute may end between the two, and with it what the page says of times.
    Answer whole, again;
    for (int i = 0; i < 5 && again.status != 304; ++i) {
        whole = get("/");
        again = get("/", "If-None-Match: " + whole.header("etag") + "\r\n");
    }
    EXPECT_EQ(again.status, 304);
    EXPECT_EQ(again.body, "");
    EXPECT_EQ(again.header("etag"), whole.header("etag"));
    elsewhere.run("UPDATE shader SET title = 'Another' WHERE id = ?", id);
    EXPECT_EQ(get("/", "If-None-Match: " + whole.header("etag") + "\r\n").status, 200);
}

TEST(Pages, StaticFilesComePackedAndAreKnownAgain) {
    const Answer plain = request(server().port(), "GET", "/static/gallery.css");
    const Answer packed = request(server().port(), "GET", "/static/gallery.css", "Accept-Encoding: gzip, deflate\r\n");
    EXPECT_EQ(plain.header("content-encoding"), "");
    ASSERT_EQ(packed.header("content-encoding"), "deflate");
    EXPECT_EQ(packed.header("vary"), "Accept-Encoding");
    EXPECT_NE(packed.header("etag"), plain.header("etag"));
    EXPECT_EQ(packed.header("content-security-policy"), plain.header("content-security-policy"));
    // Qt wants the size before it.
    QByteArray bytes(4, '\0');
    qToBigEndian(quint32(plain.body.size()), bytes.data());
    EXPECT_EQ(qUncompress(bytes + QByteArray::fromStdString(packed.body)).toStdString(), plain.body);
    EXPECT_EQ(request(server().port(), "GET", "/static/gallery.css", "If-None-Match: " + plain.header("etag") + "\r\n")
                  .status,
              304);
    EXPECT_EQ(request(server().port(), "GET", "/static/nothing.css").status, 404);
}

TEST(Pages, CarryTheHeadersThatGuardThem) {
    Browser person;
    for (const char* path : {"/", "/signin", "/about", "/nothing"}) {
        const Answer page = person.get(path);
        EXPECT_EQ(page.header("content-security-policy"),
                  "default-src 'none'; style-src 'self'; script-src 'self'; img-src 'self'; media-src 'self'; font-src "
                  "'self'; form-action 'self'; "
                  "base-uri 'none'; frame-ancestors 'none'")
            << path;
        EXPECT_EQ(page.header("x-content-type-options"), "nosniff");
        EXPECT_EQ(page.header("cache-control"), path == std::string("/") ? "private, no-cache" : "no-store") << path;
        // Nothing inline, nothing from elsewhere.
        EXPECT_FALSE(page.body.contains(" style=\"") || page.body.contains("<style") || page.body.contains("<script>"));
        EXPECT_FALSE(page.body.contains("src=\"http"));
        EXPECT_FALSE(page.body.contains("{{")) << "every template is filled in";
    }
    Answer cookie = Browser().post("/join", {{"handle", newHandle()}, {"new", goodPassword}, {"email", ""}});
    EXPECT_TRUE(cookie.header("set-cookie").ends_with("; Path=/; HttpOnly; SameSite=Lax; Max-Age=2592000"));
    TestServer secure("https://www.gallery.example");
    EXPECT_TRUE(request(secure.port(), "GET", "/setup").header("set-cookie").starts_with("__Host-visitor="));
    EXPECT_TRUE(request(secure.port(), "GET", "/setup").header("set-cookie").ends_with("; Secure"));
}

TEST(Pages, EveryFileThatAPageNamesIsThere) {
    const std::string page = Browser().get("/").body + Browser().get("/static/gallery.css").body;
    int found = 0;
    for (const char* name :
         {"gallery.css", "gallery.js", "icon.svg", "fonts/manrope-medium.woff2", "fonts/manrope-bold-ext.woff2",
          "fonts/jetbrains-mono.woff2", "chev-dark.svg", "check.svg"}) {
        EXPECT_TRUE(page.contains(name)) << name;
        const Answer file = Browser().get("/static/" + std::string(name));
        EXPECT_EQ(file.status, 200) << name;
        found += !file.body.empty();
    }
    EXPECT_EQ(found, 8);
    EXPECT_EQ(Browser().get("/static/../pages/frame.html").status, 404);
    EXPECT_EQ(Browser().get("/static/").status, 404);
}

TEST(Pages, ListsHavePagesFiltersAndSearch) {
    Browser person;
    const std::string handle = newHandle("lister"), word = "zebra" + handle.substr(handle.find('-') + 1);
    const std::string token = programOf(person.join(handle));
    Upload upload = Upload::fresh();
    upload.title = "The " + word;
    const std::string id = shared(token, upload);
    // More than a page of copies, made where it is quick.
    {
        SqliteConnection database = server().database();
        for (int i = 0; i < 30; ++i) {
            database.run(
                "INSERT INTO shader (id, account, title, description, licence, visibility, kind, has_sound, "
                "forked_from, tags, params, content, source, "
                "loop, thumb, small_loop, small_thumb, created) SELECT id || ?1, account, title, description, licence, "
                "visibility, kind, has_sound, '', tags, "
                "params, content, source, loop, thumb, small_loop, small_thumb, created FROM shader WHERE id = ?2",
                i, id);
            database.run("UPDATE shader SET listed = 1 WHERE id = ?2 || ?1", i, id);
        }
    }
    const auto cards = [](const std::string& page) {
        std::size_t count = 0;
        for (std::size_t at = 0; (at = page.find("<article", at)) != std::string::npos; ++at)
            ++count;
        return count;
    };
    const std::string first = Browser().get("/u/" + handle).body;
    EXPECT_EQ(cards(first), 24u);
    const std::size_t older = first.find("?before=");
    ASSERT_NE(older, std::string::npos);
    const std::string second = Browser().get("/u/" + handle + first.substr(older, first.find('"', older) - older)).body;
    EXPECT_EQ(cards(second), 7u);
    EXPECT_FALSE(second.contains("Older Shaders"));
    EXPECT_EQ(cards(Browser().get("/").body), 24u);

    const std::string found = Browser().get("/?q=" + word.substr(0, 5) + "&tag=water").body;
    EXPECT_TRUE(found.contains(id));
    EXPECT_TRUE(found.contains("with the tag “water” and the word “zebra”."));
    EXPECT_TRUE(found.contains("href=\"/?kind=grid&amp;tag=water&amp;q=zebra\"")) << found;
    const std::string none = Browser().get("/?kind=grid&q=%3Cscript%3Ealert(1)%3C/script%3E").body;
    EXPECT_TRUE(none.contains("Nothing found"));
    EXPECT_TRUE(none.contains("&lt;script&gt;alert(1)"));
    EXPECT_FALSE(none.contains("<script>alert"));
}

TEST(Pages, TheAccountIsChangedByItsOwner) {
    Browser person, second;
    const std::string handle = newHandle("changer"), taken = newHandle("taken");
    person.join(handle);
    Browser().join(taken);
    const auto post = [&](const std::string& what, Fields form) {
        form["token"] = person.tokenOn("/account");
        return person.postBare("/account/" + what, form);
    };
    EXPECT_TRUE(post("handle", {{"handle", taken}}).body.contains("Somebody else has this handle."));
    EXPECT_TRUE(post("email", {{"email", "no address"}}).body.contains("This is not an e-mail address."));
    EXPECT_EQ(post("email", {{"email", handle + "@mail.example"}}).header("location"), "/account?done=email");
    EXPECT_EQ(second.signIn(handle + "@MAIL.example", goodPassword).status, 303) << "the address signs in too";
    EXPECT_TRUE(post("password", {{"current", "wrong password"}, {"new", "another three words"}})
                    .body.contains("not your current password"));
    EXPECT_EQ(post("password", {{"current", goodPassword}, {"new", "another three words"}}).status, 303);
    EXPECT_EQ(second.get("/account").status, 303) << "signed out";
    EXPECT_EQ(person.get("/account").status, 200);
    EXPECT_EQ(person.postBare("/signout", {{"token", person.tokenOn("/account")}}).header("location"), "/");
    EXPECT_EQ(person.get("/account").header("location"), "/signin?next=%2Faccount");
}

TEST(Pages, TheUpdateFeedIsAsItsFileIs) {
    EXPECT_EQ(apiGet("/app/latest.json").status, 404);
    const std::string feed = R"({"version": "1.4", "build": 42, "url": "https://glasshob.example/get"})";
    std::ofstream(server().folder() / "latest.json") << feed;
    EXPECT_EQ(apiGet("/app/latest.json").body, feed);
    std::ofstream(server().folder() / "latest.json") << "{\"build\": \"4x\"}";
    EXPECT_EQ(apiGet("/app/latest.json").status, 404);
}

} // namespace
} // namespace glasshob::gallery
