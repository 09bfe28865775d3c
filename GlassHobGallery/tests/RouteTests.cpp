// Every address of the gallery, asked by everyone whom it is not for. An address that is new in Gallery::routes and not
// in the table here fails the test.

#include "GlassHobGallery/site/Gallery.h"
#include "GlassHobGallery/tests/TestServer.h"

#include <gtest/gtest.h>

#include <QJsonDocument>

#include <map>
#include <set>

namespace glasshob::gallery {
namespace {

// Whom an address is for.
enum class For { everyone, signedIn, author, others, administrators, programs };
const std::map<std::string, For> rights{
    {"/healthz", For::everyone},
    {"/app/latest.json", For::everyone},
    {"/api/me", For::programs},
    {"/api/app/link", For::everyone},
    {"/api/app/link/poll", For::everyone},
    {"/api/account/handle", For::programs},
    {"/api/auth/signout", For::programs},
    {"/api/shaders", For::programs},
    {"/", For::everyone},
    {"/about", For::everyone},
    {"/u/*", For::everyone},
    {"/s/*", For::everyone},
    {"/s/*/*", For::everyone},
    {"/setup", For::everyone},
    {"/signin", For::everyone},
    {"/signout", For::everyone},
    {"/join", For::everyone},
    {"/join/*", For::everyone},
    {"/reset/*", For::everyone},
    {"/device", For::signedIn},
    {"/account", For::signedIn},
    {"/account/handle", For::signedIn},
    {"/account/email", For::signedIn},
    {"/account/sign-out", For::signedIn},
    {"/account/sign-out-others", For::signedIn},
    {"/account/password", For::signedIn},
    {"/account/delete", For::signedIn},
    {"/s/*/edit", For::author},
    {"/s/*/delete", For::author},
    {"/s/*/report", For::others},
    {"/admin/reports", For::administrators},
    {"/admin/hidden", For::administrators},
    {"/admin/people", For::administrators},
    {"/admin/people/*", For::administrators},
    {"/admin/invite", For::administrators},
    {"/admin/joining", For::administrators},
    {"/admin/hide/*", For::administrators},
    {"/admin/show/*", For::administrators},
    {"/admin/flashes/*", For::administrators},
    {"/admin/close/*", For::administrators},
};

using Takes = Gallery::Route::Takes;

struct Routes : testing::Test {
    Browser owner, other, nobody, stale;
    std::string ownerHandle = newHandle("owner"), otherHandle = newHandle("other");
    std::string ownerToken = programOf(owner.join(ownerHandle)), otherToken = programOf(other.join(otherHandle));
    std::string staleToken = programOf(stale.join(newHandle("stale")));
    std::string word = newHandle("Mandrill");
    // One of each kind, all with the same unusual word.
    std::map<std::string, std::string> ids;

    void SetUp() override {
        for (const char* visibility : {"public", "unlisted", "private", "hidden", "deleted"}) {
            Upload upload = Upload::fresh();
            upload.title = word + " " + visibility;
            upload.description = word;
            upload.source.replace(upload.source.find("Water"), 5, word);
            const std::string_view kind(visibility);
            upload.visibility = kind == "hidden" || kind == "deleted" ? "public" : visibility;
            ids[visibility] = shared(ownerToken, upload);
        }
        owner.post("/s/" + ids["deleted"] + "/delete", {});
        SqliteConnection database = server().database();
        Browser chef;
        chef.signIn("chef", goodPassword);
        chef.post("/admin/hide/" + ids["hidden"], {{"why", "Too bright."}});
        // Sessions that nobody used for longer than they live.
        stale.get("/account");
        database.run("UPDATE session SET seen = seen - 40000000 WHERE account = (SELECT id FROM account ORDER BY id "
                     "DESC LIMIT 1)");
    }

    std::string pathOf(const std::string& route, const std::string& id) const {
        std::string path = route;
        const bool isPerson = route.starts_with("/u/") || route == "/admin/people/*";
        for (std::size_t at = 0; (at = path.find('*')) != std::string::npos;)
            path.replace(at, 1, isPerson ? ownerHandle : at > 3 && route == "/s/*/*" ? "source.metal" : id);
        return path;
    }
    // All that is kept, but when sessions were used and what is counted to slow people down.
    std::string state() const {
        SqliteConnection database = server().database();
        std::string all;
        for (const char* sql :
             {"SELECT group_concat(quote(id) || quote(handle) || quote(email) || quote(password) || "
              "quote(is_admin) || quote(suspended) || quote(listed)) FROM account",
              "SELECT group_concat(quote(name) || quote(value)) FROM setting",
              "SELECT group_concat(quote(id) || quote(token)) FROM session",
              "SELECT group_concat(quote(id) || quote(title) || quote(description) || "
              "quote(visibility) || quote(hidden) || quote(deleted) || quote(flashes)) FROM shader",
              "SELECT group_concat(quote(id) || quote(closed)) FROM report",
              "SELECT group_concat(quote(token)) FROM invitation", "SELECT group_concat(quote(token)) FROM reset",
              "SELECT group_concat(quote(id) || quote(state) || quote(account)) FROM link"}) {
            SqliteQuery query = database.query(sql);
            query.step();
            all += query.text(0) + "\n";
        }
        return all;
    }
};

// Whatever a form may say, so that it would do something if it were taken.
const Fields everything{{"title", "Stolen"},
                        {"description", "Stolen"},
                        {"licence", "mit"},
                        {"visibility", "private"},
                        {"reason", "other"},
                        {"text", "Stolen"},
                        {"do", "promote"},
                        {"why", "Stolen"},
                        {"join", "nobody"},
                        {"uses", "40"},
                        {"days", "30"},
                        {"handle", "stolen"},
                        {"email", "s@x.example"},
                        {"new", "three stolen words"},
                        {"current", goodPassword},
                        {"session", "1"},
                        {"answer", "allow"},
                        {"name", "chef"},
                        {"password", "wrong one"},
                        {"setup", "BBBB-BBBB-BBBB"},
                        {"site", "Stolen"}};

TEST(RouteTable, HasAll) {
    std::set<std::string> there, known;
    for (const Gallery::Route& route : Gallery::routes())
        there.insert(route.path);
    for (const auto& [path, whom] : rights)
        known.insert(path);
    EXPECT_EQ(there, known);
}

TEST_F(Routes, DoNothingForWhomTheyAreNot) {
    const std::string otherForm = other.tokenOn("/account"), ownerForm = owner.tokenOn("/account"),
                      nobodyForm = nobody.tokenOn("/signin");
    const std::string before = state();
    const int port = server().port();
    const auto post = [&](const std::string& path, Browser& who, const std::string& token) {
        Fields form = everything;
        if (!token.empty()) form["token"] = token;
        return who.postBare(path, form).status;
    };
    for (const Gallery::Route& route : Gallery::routes()) {
        const For whom = rights.contains(route.path) ? rights.at(route.path) : For::programs;
        const std::string path = pathOf(route.path, ids["public"]);
        SCOPED_TRACE(path);
        if (whom == For::programs) {
            const std::string method = route.takes == Takes::reading ? "GET" : "POST";
            const std::string type = path == "/api/shaders" ? "multipart/form-data; boundary=B" : "application/json";
            const std::string body = path == "/api/shaders" ? Upload::fresh().body("B") : R"({"handle": "stolen"})";
            const std::string session = owner.cookie("session");
            ASSERT_EQ(session.size(), 43u);
            for (const std::string& sign :
                 {std::string(), "Authorization: Bearer " + session + "\r\n",
                  "Authorization: Bearer " + staleToken + "\r\n", "Authorization: Bearer " + ownerForm + "\r\n",
                  "Cookie: session=" + session + "\r\n", "Cookie: session=" + ownerToken + "\r\n",
                  "Authorization: " + ownerToken + "\r\n"}) {
                const Answer answer = request(port, method, path, sign + "Content-Type: " + type + "\r\n", body);
                EXPECT_EQ(answer.status, 401) << sign;
                EXPECT_FALSE(answer.body.contains(ownerHandle));
            }
            continue;
        }
        const bool isPage = !path.starts_with("/api/") && path != "/healthz" && path != "/app/latest.json";
        if (!isPage) continue;
        // A program's token is nobody's.
        const std::string asProgram =
            "Authorization: Bearer " + ownerToken + "\r\nCookie: session=" + ownerToken + "\r\n";
        if (whom != For::everyone) {
            if (route.takes != Takes::posting) {
                EXPECT_EQ(nobody.get(path).status, 303);
                EXPECT_EQ(stale.get(path).status, 303);
                EXPECT_EQ(request(port, "GET", path, asProgram).status, 303);
                if (whom == For::author || whom == For::administrators) EXPECT_EQ(other.get(path).status, 404);
                if (whom == For::others) EXPECT_EQ(owner.get(path).status, 404);
            }
            if (route.takes != Takes::reading) {
                EXPECT_EQ(post(path, nobody, nobodyForm), 303);
                EXPECT_EQ(post(path, stale, nobodyForm), 303);
                EXPECT_EQ(request(port, "POST", path, asProgram + "Content-Type: application/x-www-form-urlencoded\r\n",
                                  formBody(everything))
                              .status,
                          303);
                if (whom == For::author || whom == For::administrators) EXPECT_EQ(post(path, other, otherForm), 404);
                if (whom == For::others) EXPECT_EQ(post(path, owner, ownerForm), 404);
            }
        }
        if (route.takes == Takes::reading) {
            EXPECT_EQ(post(path, other, otherForm), 404);
            continue;
        }
        // The right person, and somebody else's form, or none, or one from another site.
        Browser& right = whom == For::others ? other : owner;
        if (whom == For::administrators || path == "/setup" || path.starts_with("/join/") ||
            path.starts_with("/reset/"))
            continue; // closed to them as it is
        for (const std::string& token : {std::string(), whom == For::others ? ownerForm : otherForm, nobodyForm})
            EXPECT_EQ(post(path, right, token), 403) << token;
        Fields form = everything;
        form["token"] = whom == For::others ? otherForm : ownerForm;
        EXPECT_EQ(right.postBare(path, form, "Origin: https://evil.example\r\n").status, 403);
        EXPECT_EQ(
            request(port, "POST", path, right.cookieHeader() + "Content-Type: text/plain\r\n", formBody(form)).status,
            403);
    }
    EXPECT_EQ(state(), before);
}

// What an address says of a shader that one may not see is what it says of one that never was.
TEST_F(Routes, TellNothingOfWhatIsNotForThem) {
    Browser chef;
    chef.signIn("chef", goodPassword);
    const auto without = [](std::string text, const std::string& id) {
        for (std::size_t at = 0; (at = text.find(id)) != std::string::npos;)
            text.erase(at, id.size());
        return text;
    };
    const std::string never = "abcdefghij012345";
    const std::string otherForm = other.tokenOn("/account"), chefForm = chef.tokenOn("/account");
    for (const char* kind : {"private", "hidden"}) {
        const std::string id = ids[kind];
        const bool isHidden = std::string_view(kind) == "hidden";
        for (const Gallery::Route& route : Gallery::routes()) {
            const std::string pattern = route.path;
            if (!pattern.contains("/*") || pathOf(pattern, "1") == pathOf(pattern, "2")) continue;
            for (Browser* who : {&nobody, &other, &chef}) {
                if (who == &chef && isHidden) continue; // who hid it
                if (route.takes != Takes::posting) {
                    const Answer real = who->get(pathOf(pattern, id)), none = who->get(pathOf(pattern, never));
                    EXPECT_EQ(real.status, none.status) << pattern << kind;
                    EXPECT_EQ(without(real.body, id), without(none.body, never)) << pattern << kind;
                }
                if (route.takes != Takes::reading && who != &nobody) {
                    Fields form = everything;
                    form["token"] = who == &chef ? chefForm : otherForm;
                    const Answer real = who->postBare(pathOf(pattern, id), form),
                                 none = who->postBare(pathOf(pattern, never), form);
                    EXPECT_EQ(real.status, none.status) << pattern << kind;
                    EXPECT_EQ(without(real.body, id), without(none.body, never)) << pattern << kind;
                }
            }
        }
        for (const char* name : {"loop.mp4", "loop-640.mp4", "thumb.jpg", "thumb-640.jpg"})
            for (const char* range : {"", "Range: bytes=0-1\r\n", "If-None-Match: *\r\n"})
                EXPECT_EQ(request(server().port(), "GET", "/s/" + id + "/" + name, range).status, 404) << name;
        EXPECT_EQ(nobody.get("/?before=" + id).status, nobody.get("/?before=" + never).status) << kind;
        EXPECT_EQ(other.get("/u/" + ownerHandle + "?before=" + id).status,
                  other.get("/u/" + ownerHandle + "?before=" + never).status)
            << kind;
    }
    // Lists, search, tags, counts.
    for (Browser* who : {&nobody, &other, &chef}) {
        const std::string tag = [&] {
            std::string small = word;
            small[0] = char(small[0] + 32);
            return small;
        }();
        for (const std::string& list :
             {"/?q=" + word, "/?tag=" + tag, "/u/" + ownerHandle, "/?q=" + ownerHandle, std::string("/")}) {
            const std::string page = who->get(list).body;
            EXPECT_TRUE(page.contains(ids["public"])) << list;
            for (const char* kind : {"unlisted", "private", "hidden", "deleted"})
                EXPECT_FALSE(page.contains(ids[kind])) << list << kind;
        }
        EXPECT_TRUE(who->get("/?q=" + word).body.contains("1 shader with the word"));
        EXPECT_TRUE(who->get("/u/" + ownerHandle).body.contains("1 shader "));
    }
    EXPECT_FALSE(nobody.get("/s/" + ids["deleted"]).body.contains(word)) << "its title is gone too";
}

} // namespace
} // namespace glasshob::gallery
