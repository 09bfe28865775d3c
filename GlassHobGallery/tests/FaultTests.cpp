// The gallery when the machine fails: killed, without room, with damaged files.

#include "GlassHobGallery/tests/TestServer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <set>

#include <signal.h>
#include <sys/resource.h>

namespace glasshob::gallery {
namespace {

namespace fs = std::filesystem;

// Starts it two hours later: what was left of uploads is then taken away.
void startLater(TestServer& own) {
    own.stop(SIGTERM);
    for (const char* part : {"media", "incoming"})
        for (const auto& entry : fs::recursive_directory_iterator(own.folder() / part))
            fs::last_write_time(entry, fs::file_time_type::clock::now() - std::chrono::hours(2));
    own.start();
}

void expectNothingIsLeft(TestServer& own) {
    startLater(own);
    EXPECT_TRUE(filesIn(own.folder() / "incoming").empty());
    SqliteConnection database = own.database();
    std::set<std::string> used;
    SqliteQuery query = database.query("SELECT media FROM shader_media");
    while (query.step())
        used.insert(query.text(0));
    EXPECT_EQ(filesIn(own.folder() / "media"), used);
    EXPECT_EQ(checkOf(own.folder()), "");
}

TEST(Faults, KilledAtAnyStageOfAnUploadItHasAllOrNothing) {
    TestServer own;
    const std::string token = setUp(own);
    std::int64_t shared = 0;
    for (const char* stage : {"finish#1", "check#8", "finish#5", "place#1", "placed#5", "added#1", "committed#1"}) {
        const Upload upload = Upload::fresh();
        own.stop(SIGTERM);
        own.start(std::string("kill:") + stage);
        EXPECT_EQ(share(token, upload, own).status, 0) << stage;
        ASSERT_EQ(own.wait(), -1) << stage << " was not reached";
        own.start();
        EXPECT_EQ(checkOf(own.folder()), "") << stage;
        const bool isKept = std::string_view(stage) == "committed#1";
        EXPECT_EQ(countOf(own, "shader"), shared + isKept) << stage;
        // The program tries again, as after any lost answer.
        const Answer again = share(token, upload, own);
        EXPECT_EQ(again.status, isKept ? 200 : 201) << stage << again.body;
        EXPECT_EQ(countOf(own, "shader"), ++shared) << stage;
        const std::string id = again.json()["id"].toString().toStdString();
        EXPECT_EQ(request(own.port(), "GET", "/s/" + id + "/loop.mp4").body, upload.loop) << stage;
    }
    expectNothingIsLeft(own);
}

TEST(Faults, ADiskThatRefusesAnywhereKeepsNothingAndIsToldInASentence) {
    TestServer own;
    const std::string token = setUp(own);
    std::int64_t shared = 0;
    for (const char* stage : {"begin#1", "write#3", "finish#2", "begin#5", "finish#4", "place#4", "added#1"}) {
        const Upload upload = Upload::fresh();
        own.stop(SIGTERM);
        own.start(std::string("full:") + stage);
        const Answer refused = share(token, upload, own);
        EXPECT_EQ(refused.status, 507) << stage;
        EXPECT_TRUE(refused.error().contains("The gallery has no room")) << stage << refused.body;
        EXPECT_EQ(countOf(own, "shader"), shared) << stage;
        EXPECT_EQ(share(token, upload, own).status, 201) << stage << ": the next one ends well";
        EXPECT_EQ(countOf(own, "shader"), ++shared);
    }
    expectNothingIsLeft(own);
}

// Files that cannot grow, the database among them, are as a disk without room.
TEST(Faults, WithoutRoomItCanBeReadAndGoesOnOnceThereIsSome) {
    TestServer own;
    const std::string token = setUp(own);
    const Upload upload = Upload::fresh();
    const std::string id = share(token, upload, own).json()["id"].toString().toStdString();
    Browser person(own);
    ASSERT_EQ(person.signIn("chef", goodPassword).status, 303);
    const std::string formToken = person.tokenOn("/account");
    own.database().run("UPDATE session SET seen = seen - 1000"); // so that its use is to be written down
    const auto grow = [&](rlim_t size) {
        rlimit limit{};
        ASSERT_EQ(prlimit(own.process(), RLIMIT_FSIZE, nullptr, &limit), 0);
        limit.rlim_cur = size;
        ASSERT_EQ(prlimit(own.process(), RLIMIT_FSIZE, &limit, nullptr), 0);
    };
    grow(4096);
    const Upload next = Upload::fresh();
    const Answer refused = share(token, next, own);
    EXPECT_EQ(refused.status, 507);
    EXPECT_TRUE(refused.error().ends_with(".")) << refused.body;
    EXPECT_EQ(person.get("/account").status, 200);
    EXPECT_EQ(person.get("/s/" + id).status, 200);
    EXPECT_EQ(person.get("/s/" + id + "/loop.mp4").body, upload.loop);
    EXPECT_EQ(apiGet("/api/me", token, own).status, 200);
    const Answer page = person.postBare("/account/email", {{"token", formToken}, {"email", "chef@mail.example"}});
    EXPECT_EQ(page.status, 507);
    EXPECT_TRUE(page.body.contains("Nothing you sent was kept."));
    EXPECT_EQ(Browser(own).signIn("chef", goodPassword).status, 507);
    grow(RLIM_INFINITY);
    EXPECT_EQ(share(token, next, own).status, 201);
    EXPECT_EQ(person.postBare("/account/email", {{"token", formToken}, {"email", "chef@mail.example"}}).status, 303);
    expectNothingIsLeft(own);
}

TEST(Faults, AStartThatCannotSucceedSaysWhy) {
    TestServer own;
    const fs::path folder = own.folder() / "other";
    const auto refused = [&](const std::string& words, const std::string& options, int status = 1) {
        const Ended ended = runGallery("--port 0 " + options);
        EXPECT_EQ(ended.status, status) << ended.said;
        EXPECT_TRUE(ended.said.contains(words)) << ended.said;
        EXPECT_TRUE(ended.said.ends_with(".\n")) << ended.said;
    };
    const std::string data = "--data " + folder.string();
    refused("is taken or not allowed. Choose another with --port.", data + " --port " + std::to_string(own.port()));
    refused("\"nonsense\" is no address to listen at", data + " --address nonsense");
    refused("There is no setting \"colour\"", data + " --colour red");
    refused("The configuration /nowhere/at/all cannot be read.", "--config /nowhere/at/all");
    refused("cannot be used (", "--data /proc/nowhere");
    refused("There is no gallery in", "--data /proc/nowhere check");

    fs::remove_all(folder);
    fs::create_directories(folder / "gallery.db");
    refused("cannot be used (", data);
    fs::remove_all(folder);
    fs::create_directories(folder);
    std::ofstream(folder / "gallery.db") << std::string(100'000, 'x');
    refused("is damaged (", data);
    refused("is damaged (", data + " check");
    fs::remove(folder / "gallery.db");
    SqliteConnection((folder / "gallery.db").string()).script("PRAGMA user_version = 1000");
    refused("written by a newer gallery", data);
}

} // namespace
} // namespace glasshob::gallery
