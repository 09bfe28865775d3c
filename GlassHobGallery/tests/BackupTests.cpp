// Backups and what is put back from them, and accounts that are deleted for good.

#include "GlassHobGallery/tests/TestServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include <signal.h>

namespace glasshob::gallery {
namespace {

namespace fs = std::filesystem;

TEST(Backup, TakenWhilePeopleShareAndDeleteItIsAWholeGallery) {
    TestServer own;
    const std::string token = setUp(own);
    Browser chef(own);
    chef.signIn("chef", goodPassword);
    const fs::path copy = own.folder().string() + "-backup";
    const std::string command = "--data " + own.folder().string() + " backup " + copy.string();
    std::atomic<bool> isEnough = false;
    std::atomic<int> made = 0;
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
    for (int i = 0; i < 4 || (made < 3 && i < 200); ++i) {
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
