// People who want what is not theirs.

#include "GlassHobGallery/tests/TestServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace glasshob::gallery {
namespace {

struct Attack : testing::Test {
    Browser owner, other, nobody;
    std::string ownerHandle = newHandle("owner"), otherHandle = newHandle("other");
    std::string ownerToken = programOf(owner.join(ownerHandle)), otherToken = programOf(other.join(otherHandle));

    std::string sharedAs(const std::string& visibility, const std::string& title = "Secret") {
        Upload upload = Upload::fresh();
        upload.visibility = visibility;
        upload.title = title;
        return shared(ownerToken, upload);
    }
    static constexpr const char* files[] = {"source.metal", "loop.mp4", "loop-640.mp4", "thumb.jpg", "thumb-640.jpg"};
    int fileStatus(Browser& who, const std::string& id) {
        int status = 0;
        for (const char* name : files) {
            const int one = who.get("/s/" + id + "/" + name).status;
            EXPECT_TRUE(status == 0 || status == one) << name;
            status = one;
        }
        return status;
    }
};

TEST_F(Attack, PrivateIsTheOwnersEverywhere) {
    const std::string title = "Private" + newHandle(), id = sharedAs("private", title);
    Browser chef;
    chef.signIn("chef", goodPassword);
    for (Browser* who : {&other, &nobody, &chef}) {
        EXPECT_EQ(who->get("/s/" + id).status, 404);
        EXPECT_EQ(fileStatus(*who, id), 404);
        EXPECT_FALSE(who->get("/u/" + ownerHandle).body.contains(id));
        EXPECT_FALSE(who->get("/?q=" + title).body.contains(id));
        EXPECT_EQ(who->get("/?before=" + id).status, 404);
    }
    // A token opens no page and no file.
    EXPECT_EQ(apiGet("/s/" + id + "/source.metal", ownerToken).status, 404);
    EXPECT_EQ(owner.get("/s/" + id).status, 200);
    EXPECT_FALSE(owner.get("/s/" + id).body.contains("glasshob://"));
    EXPECT_EQ(fileStatus(owner, id), 200);
    EXPECT_EQ(owner.get("/s/" + id + "/loop.mp4").header("cache-control"), "private, no-store");
}

TEST_F(Attack, UnlistedIsInNoList) {
    const std::string title = "Unlisted" + newHandle(), id = sharedAs("unlisted", title);
    EXPECT_EQ(nobody.get("/s/" + id).status, 200);
    EXPECT_EQ(fileStatus(nobody, id), 200);
    for (const std::string& list : {std::string("/"), "/?q=" + title, std::string("/?tag=water"), "/u/" + ownerHandle})
        EXPECT_FALSE(nobody.get(list).body.contains(id)) << list;
    EXPECT_TRUE(owner.get("/u/" + ownerHandle).body.contains(id));
    // A fork of it does not give it away to everyone on its page's links.
    Upload fork = Upload::fresh();
    fork.source = "// @forked-from s/" + id + "\n" + fork.source;
    EXPECT_FALSE(nobody.get("/s/" + shared(otherToken, fork)).body.contains("href=\"/s/" + id));
}

TEST_F(Attack, OnlyTheAuthorChangesAndDeletes) {
    const std::string id = sharedAs("public");
    const std::string token = other.tokenOn("/account");
    for (const std::string& what : {"edit", "delete"}) {
        const std::string path = "/s/" + id + "/" + what;
        const Fields form{
            {"token", token}, {"title", "Mine"}, {"description", ""}, {"licence", "mit"}, {"visibility", "private"}};
        EXPECT_EQ(other.get(path).status, 404);
        EXPECT_EQ(other.postBare(path, form).status, 404);
        EXPECT_EQ(nobody.postBare(path, form).status, 303);
    }
    EXPECT_TRUE(nobody.get("/s/" + id).body.contains("Secret"));
    EXPECT_EQ(owner
                  .post("/s/" + id + "/edit",
                        {{"title", ""}, {"description", ""}, {"licence", "mit"}, {"visibility", "public"}})
                  .status,
              422);
    EXPECT_EQ(
        owner
            .post("/s/" + id + "/edit",
                  {{"title", "Changed"}, {"description", "a\r\nb"}, {"licence", "arr"}, {"visibility", "unlisted"}})
            .status,
        303);
    EXPECT_TRUE(nobody.get("/s/" + id).body.contains("Changed"));
    EXPECT_EQ(owner.post("/s/" + id + "/delete", {}).status, 303);
    EXPECT_EQ(nobody.get("/s/" + id).status, 410);
    EXPECT_TRUE(nobody.get("/s/" + id).body.contains(ownerHandle + " deleted it on"));
    EXPECT_EQ(fileStatus(nobody, id), 404);
    EXPECT_EQ(owner.get("/s/" + id + "/edit").status, 404);
}

TEST_F(Attack, FormsNeedTheirOwnTokenAndOrigin) {
    const std::string mine = owner.tokenOn("/account"), theirs = other.tokenOn("/account");
    EXPECT_NE(mine, theirs);
    const auto tryTo = [&](const std::string& token, const std::string& headers) {
        return owner.postBare("/account/email", {{"token", token}, {"email", "x@mail.example"}}, headers).status;
    };
    EXPECT_EQ(tryTo("", ""), 403);
    EXPECT_EQ(tryTo(theirs, ""), 403);
    EXPECT_EQ(tryTo(mine, "Origin: https://evil.example\r\n"), 403);
    EXPECT_EQ(tryTo(mine, "Origin: null\r\n"), 403);
    EXPECT_TRUE(owner.get("/account").body.contains("name=\"email\" value=\"\""));
    EXPECT_EQ(owner.postBare("/signout", {{"token", theirs}}).status, 403);
    EXPECT_EQ(tryTo(mine, "Origin: " + server().base() + "\r\n"), 303);
    // A form that was got before anybody signed in is of no use afterwards.
    Browser late;
    const std::string early = late.tokenOn("/signin");
    late.signIn(ownerHandle, goodPassword);
    EXPECT_EQ(late.postBare("/account/email", {{"token", early}, {"email", "y@mail.example"}}).status, 403);
}

TEST_F(Attack, TokensAreForTheirOwnDoorAlone) {
    // A browser's session is no program's, and the other way round.
    EXPECT_EQ(request(server().port(), "GET", "/account", "Cookie: session=" + ownerToken + "\r\n").status, 303);
    const std::string session = owner.get("/account").status == 200 ? "x" : "";
    for (const std::string& bad : {std::string("x"), std::string(43, 'A'), ownerToken + "A", ownerToken.substr(1),
                                   std::string("' OR 1=1 --"), session})
        EXPECT_EQ(apiGet("/api/me", bad).status, 401) << bad;
    for (const char* header :
         {"Authorization: Basic abc\r\n", "Authorization: Bearer\r\n", "Authorization: bearer x\r\n"})
        EXPECT_EQ(request(server().port(), "GET", "/api/me", header).status, 401);
    EXPECT_EQ(share("", Upload::fresh()).status, 401);
    EXPECT_EQ(share(std::string(43, 'A'), Upload::fresh()).status, 401);
    EXPECT_TRUE(std::filesystem::is_empty(server().folder() / "incoming"));
    // Only hashes are kept.
    SqliteConnection database = server().database();
    SqliteQuery query = database.query("SELECT count(*) FROM session WHERE token = ?", ownerToken);
    query.step();
    EXPECT_EQ(query.integer(0), 0);
}

TEST_F(Attack, PasswordsAreNotGuessed) {
    Browser guesser;
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(guesser.signIn(ownerHandle, "wrong password").status, 422);
    EXPECT_EQ(guesser.signIn(ownerHandle, goodPassword).status, 429);
    EXPECT_EQ(Browser().signIn(ownerHandle, goodPassword).status, 429) << "from any address";
    EXPECT_EQ(guesser.signIn(otherHandle, goodPassword).status, 303);
    const Answer unknown = Browser().signIn(newHandle("unknown"), "wrong password"),
                 known = Browser().signIn("chef", "wrong password");
    EXPECT_EQ(unknown.status, known.status) << "nobody learns who has an account";
    EXPECT_EQ(owner.get("/account").status, 200);

    // Nor all at once.
    const std::string third = newHandle("third");
    Browser().join(third);
    std::atomic<int> guesses = 0;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 12; ++i)
            threads.emplace_back([&] { guesses += Browser().signIn(third, "wrong password").status == 422; });
    }
    EXPECT_EQ(guesses, 5);
}

TEST_F(Attack, NobodyIsLedAway) {
    for (const char* next : {"//evil.example", "https://evil.example", "/\\evil.example", "javascript:alert(1)",
                             "/a\r\nSet-Cookie: x=y"}) {
        Browser person;
        const Answer answer =
            person.post("/signin", {{"name", otherHandle}, {"password", goodPassword}, {"next", next}});
        EXPECT_EQ(answer.header("location"), "/") << next;
    }
}

TEST_F(Attack, AdministrationIsForAdministrators) {
    Browser chef;
    chef.signIn("chef", goodPassword);
    const std::string id = sharedAs("public");
    const std::string token = other.tokenOn("/account");
    for (const std::string& path :
         {std::string("/admin/reports"), std::string("/admin/people"), std::string("/admin/people/") + ownerHandle,
          "/admin/hide/" + id, std::string("/admin/joining")}) {
        EXPECT_EQ(other.get(path).status, 404) << path;
        EXPECT_EQ(nobody.get(path).status, 303) << path;
        EXPECT_EQ(other.postBare(path, {{"token", token}, {"do", "reset"}, {"why", "x"}, {"join", "nobody"}}).status,
                  404)
            << path;
        EXPECT_EQ(chef.get(path).status, 200) << path;
    }
    EXPECT_EQ(chef.postBare("/admin/people/chef", {{"token", chef.tokenOn("/account")}, {"do", "demote"}}).status, 403);
}

TEST_F(Attack, HiddenAndSuspendedAreGoneForOthers) {
    Browser chef;
    chef.signIn("chef", goodPassword);
    const std::string id = sharedAs("public");
    const std::string report = "/s/" + id + "/report";
    EXPECT_EQ(owner.get(report).status, 404) << "one's own";
    EXPECT_EQ(other.post(report, {{"reason", "flashes"}, {"text", "<i>Fast</i>"}}).status, 200);
    EXPECT_FALSE(nobody.get("/u/" + ownerHandle).body.contains("data-loop"));
    EXPECT_TRUE(chef.get("/admin/reports").body.contains("&lt;i&gt;Fast&lt;/i&gt;"));
    EXPECT_EQ(chef.post("/admin/hide/" + id, {{"why", "Please slow it down."}}).status, 303);
    EXPECT_EQ(nobody.get("/s/" + id).status, 404);
    EXPECT_EQ(fileStatus(nobody, id), 404);
    EXPECT_TRUE(owner.get("/s/" + id).body.contains("Please slow it down."));
    EXPECT_FALSE(chef.get("/admin/reports").body.contains(id));
    EXPECT_EQ(chef.postBare("/admin/show/" + id, {{"token", chef.tokenOn("/account")}}).status, 303);
    EXPECT_EQ(nobody.get("/s/" + id).status, 200);

    EXPECT_EQ(chef.post("/admin/people/" + ownerHandle, {{"do", "suspend"}}).status, 200);
    EXPECT_EQ(nobody.get("/s/" + id).status, 404);
    EXPECT_EQ(apiGet("/api/me", ownerToken).status, 401);
    EXPECT_EQ(owner.get("/account").status, 303);
    EXPECT_EQ(Browser().signIn(ownerHandle, goodPassword).status, 403);
    EXPECT_EQ(chef.post("/admin/people/" + ownerHandle, {{"do", "lift"}}).status, 200);
    EXPECT_EQ(nobody.get("/s/" + id).status, 200);
}

TEST_F(Attack, APasswordLinkWorksOnce) {
    Browser chef;
    chef.signIn("chef", goodPassword);
    const std::string page = chef.post("/admin/people/" + ownerHandle, {{"do", "reset"}}).body;
    const std::size_t at = page.find("/reset/");
    ASSERT_NE(at, std::string::npos);
    const std::string path = page.substr(at, 50);
    EXPECT_FALSE(chef.get("/admin/people/" + ownerHandle).body.contains("/reset/")) << "it is shown once";
    EXPECT_EQ(nobody.post(path, {{"new", "short"}}).status, 422);
    const std::string better = "another three words";
    EXPECT_EQ(nobody.post(path, {{"new", better}}).status, 303);
    EXPECT_EQ(nobody.get("/account").status, 200);
    EXPECT_EQ(Browser().get(path).status, 410);
    EXPECT_EQ(owner.get("/account").status, 303) << "everything else is signed out";
    EXPECT_EQ(apiGet("/api/me", ownerToken).status, 401);
    EXPECT_EQ(Browser().signIn(ownerHandle, better).status, 303);
    EXPECT_FALSE(server().log().contains(path));
}

TEST_F(Attack, ADeletedAccountIsGone) {
    const std::string id = sharedAs("public");
    EXPECT_EQ(owner.post("/account/delete", {{"current", "wrong password"}}).status, 422);
    EXPECT_EQ(nobody.get("/s/" + id).status, 200);
    EXPECT_EQ(owner.post("/account/delete", {{"current", goodPassword}}).status, 303);
    EXPECT_EQ(apiGet("/api/me", ownerToken).status, 401);
    EXPECT_EQ(nobody.get("/u/" + ownerHandle).status, 404);
    const Answer gone = nobody.get("/s/" + id);
    EXPECT_EQ(gone.status, 410);
    EXPECT_FALSE(gone.body.contains(ownerHandle));
    EXPECT_EQ(nobody.post("/join", {{"handle", ownerHandle}, {"new", goodPassword}}).status, 422)
        << "nobody can pass for them";
}

} // namespace
} // namespace glasshob::gallery
