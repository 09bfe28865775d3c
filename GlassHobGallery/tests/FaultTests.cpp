// The gallery when the machine fails: killed, without room, with damaged files.

#include "GlassHobGallery/tests/TestServer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <set>
#include <thread>

#include <signal.h>
#include <sys/resource.h>

namespace glasshob::gallery {
namespace {

namespace fs = std::filesystem;

std::int64_t countOf(TestServer& own, const std::string& table) {
    SqliteConnection database = own.database();
    SqliteQuery query = database.query("SELECT count(*) FROM " + table);
    query.step();
    return query.integer(0);
}

std::set<std::string> filesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file()) names.insert(entry.path().filename());
    return names;
}

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
    for (const char* stage :
         {"finish#1", "check#8", "finish#5", "place#1", "placed#1", "placed#5", "add#1", "added#1", "committed#1"}) {
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

TEST(Backup, TakenWhilePeopleShareAndDeleteItIsAWholeGallery) {
    TestServer own;
    const std::string token = setUp(own);
    Browser chef(own);
    chef.signIn("chef", goodPassword);
    const fs::path copy = own.folder().string() + "-backup";
    const std::string command = "--data " + own.folder().string() + " backup " + copy.string();
    std::atomic<bool> isEnough = false;
    int made = 0;
    std::thread sharing([&] {
        const std::string formToken = chef.tokenOn("/account");
        std::string last;
        while (!isEnough) {
            const Answer answer = share(token, Upload::fresh(), own);
            if (answer.status != 201) own.database().run("DELETE FROM attempt");
            made += answer.status == 201;
            if (made % 2 && !last.empty()) chef.postBare("/s/" + last + "/delete", {{"token", formToken}});
            last = answer.json()["id"].toString().toStdString();
        }
    });
    for (int i = 0; i < 4; ++i) {
        const Ended ended = runGallery(command);
        EXPECT_EQ(ended.status, 0) << ended.said;
        EXPECT_EQ(checkOf(copy), "");
    }
    isEnough = true;
    sharing.join();
    EXPECT_GT(made, 2);
    EXPECT_EQ(runGallery(command).status, 0);
    EXPECT_EQ(checkOf(copy), "");
    EXPECT_EQ(checkOf(own.folder()), "");

    // Restored, it is the gallery: people, tokens, shaders, files.
    const std::int64_t count = countOf(own, "shader WHERE deleted IS NULL");
    own.stop(SIGTERM);
    for (const char* part : {"gallery.db", "media"})
        fs::remove_all(own.folder() / part);
    fs::copy(copy, own.folder(), fs::copy_options::recursive);
    own.start();
    EXPECT_EQ(countOf(own, "shader WHERE deleted IS NULL"), count);
    EXPECT_EQ(apiGet("/api/me", token, own).status, 200);
    EXPECT_EQ(Browser(own).signIn("chef", goodPassword).status, 303);
    EXPECT_EQ(share(token, Upload::fresh(), own).status, 201);
    // A folder that is in use is no place for a backup.
    EXPECT_EQ(runGallery("--data " + copy.string() + " backup " + own.folder().string()).status, 1);
    EXPECT_EQ(checkOf(own.folder()), "");

    // What is lost or changed is found.
    const std::set<std::string> names = filesIn(copy / "media");
    ASSERT_GT(names.size(), 2u);
    const auto path = [&](const std::string& name) { return copy / "media" / name.substr(0, 2) / name; };
    fs::remove(path(*names.begin()));
    std::ofstream(path(*names.rbegin()), std::ios::app) << "x";
    const std::string found = checkOf(copy);
    EXPECT_TRUE(found.contains("The file " + *names.begin() + " is missing.")) << found;
    EXPECT_TRUE(found.contains("The file " + *names.rbegin() + " is damaged.")) << found;
    SqliteConnection((copy / "gallery.db").string()).run("UPDATE shader SET listed = 0");
    EXPECT_TRUE(checkOf(copy).contains("Shaders are in lists that must not be, or are missing from them"));
    fs::remove_all(copy);
}

// Words that only one person wrote, wherever they may write some, are in no file of the gallery once they are deleted.
TEST(Deletion, OfAnAccountLeavesNoWordOfItBehind) {
    TestServer own;
    const std::string chefToken = setUp(own);
    Browser chef(own), person(own), other(own);
    chef.signIn("chef", goodPassword);
    other.join("other");
    const std::string first = "quetzal", handle = "okapiworm", email = "axolotl@mail.example";
    person.join(first);
    const auto onAccount = [&](const std::string& what, Fields form) {
        form["token"] = person.tokenOn("/account");
        EXPECT_EQ(person.postBare("/account/" + what, form).status, 303) << what;
    };
    onAccount("handle", {{"handle", handle}});
    onAccount("email", {{"email", email}});
    const std::string token = programOf(person, own);
    Upload upload = Upload::fresh();
    upload.title = "Narwhal";
    upload.description = "Pangolins at dusk.";
    upload.source = "// @tags capybara\n// Wombats wrote this.\n" + upload.source;
    upload.loop += std::string("\0\0\0\x10"
                               "freePLATYPUS",
                               16); // a box of the film that means nothing
    const std::string id = share(token, upload, own).json()["id"].toString().toStdString();
    ASSERT_FALSE(id.empty());
    Upload secret = Upload::fresh();
    secret.title = "Aardvark";
    secret.visibility = "private";
    ASSERT_EQ(share(token, secret, own).status, 201);
    const std::string others = share(chefToken, Upload::fresh(), own).json()["id"].toString().toStdString();
    EXPECT_EQ(person.post("/s/" + others + "/report", {{"reason", "other"}, {"text", "The lemming complains."}}).status,
              200);
    EXPECT_EQ(other.post("/s/" + id + "/report", {{"reason", "other"}, {"text", "Reported kakapo."}}).status, 200);
    EXPECT_EQ(chef.post("/admin/hide/" + id, {{"why", "Too much tapir."}}).status, 303);
    EXPECT_EQ(chef.post("/admin/people/" + handle, {{"do", "promote"}}).status, 200);
    const std::string invitation = person.post("/admin/invite", {{"uses", "1"}, {"days", "7"}}).body;
    EXPECT_EQ(Browser(own)
                  .post(invitation.substr(invitation.find("/join/"), 49),
                        {{"handle", "invited"}, {"new", goodPassword}, {"email", ""}})
                  .status,
              303);
    EXPECT_EQ(chef.post("/admin/people/" + handle, {{"do", "demote"}}).status, 200);

    const std::vector<std::string> words{first,      handle,    email,           "Narwhal",  "Pangolins",
                                         "capybara", "Wombats", "PLATYPUS",      "Aardvark", "lemming",
                                         "kakapo",   "tapir",   person.address()};
    const auto found = [&] {
        std::set<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(own.folder())) {
            if (!entry.is_regular_file() || entry.path().filename() == "log") continue;
            std::ifstream file(entry.path(), std::ios::binary);
            std::string bytes((std::istreambuf_iterator<char>(file)), {});
            std::ranges::transform(bytes, bytes.begin(),
                                   [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
            for (std::string word : words) {
                const std::string name = word;
                std::ranges::transform(word, word.begin(),
                                       [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
                if (bytes.contains(word)) names.insert(name);
            }
        }
        return names;
    };
    EXPECT_EQ(found().size(), words.size()) << "all of it is there before";
    own.database().run("DELETE FROM attempt"); // which hold addresses, until an hour is over
    EXPECT_EQ(person.post("/account/delete", {{"current", goodPassword}}).status, 303);
    EXPECT_EQ(found(), std::set<std::string>());
    // And nobody can pass for them.
    for (const std::string& name : {first, handle})
        EXPECT_EQ(Browser(own).post("/join", {{"handle", name}, {"new", goodPassword}, {"email", ""}}).status, 422);
    EXPECT_EQ(request(own.port(), "GET", "/s/" + id).status, 410);
    EXPECT_EQ(checkOf(own.folder()), "");
}

} // namespace
} // namespace glasshob::gallery
