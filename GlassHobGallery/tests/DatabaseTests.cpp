#include "GlassHobGallery/data/Database.h"
#include "GlassHobGallery/data/MediaStore.h"
#include "GlassHobGallery/data/Migrations.h"
#include "GlassHobGallery/data/Secrets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <random>
#include <thread>

namespace glasshob::gallery {
namespace {

struct Data : testing::Test {
    std::filesystem::path folder = std::filesystem::temp_directory_path() / ("gallery-test-" + [] {
                                       initSecrets();
                                       return randomText(12, "abcdefghij");
                                   }());
    std::unique_ptr<Database> database;

    void SetUp() override {
        std::filesystem::create_directories(folder);
        database = openSqliteDatabase(path());
    }
    void TearDown() override {
        database.reset();
        std::filesystem::remove_all(folder);
    }
    std::string path() const { return folder / "gallery.db"; }

    Id person(const std::string& handle) {
        return database->addAccount({0, handle, "", "x", false, false, 1000, "", 0}).value();
    }
    Shader share(Id account, const std::string& id, const std::string& visibility = "public",
                 const std::string& title = "Open Sea") {
        Shader shader;
        shader.id = id;
        shader.account = account;
        shader.title = title;
        shader.licence = "mit";
        shader.visibility = visibility;
        shader.kind = "grid";
        shader.tags = {"water", "light"};
        shader.params = "[]";
        shader.content = "content of " + id;
        shader.media = {id + "-source", id + "-loop", "thumb", id + "-small", "small"};
        database->addShader(shader);
        return database->shader(id).value();
    }
    std::vector<std::string> list(const Database::Filter& filter = {}) {
        std::vector<std::string> ids;
        for (const Shader& shader : database->shaders(filter))
            ids.push_back(shader.id);
        return ids;
    }
};
using Ids = std::vector<std::string>;

TEST_F(Data, ListsAndSearchShowOnlyWhatEveryoneMaySee) {
    const Id ada = person("ada-w"), joss = person("joss");
    share(ada, "one");
    const Shader two = share(ada, "two", "unlisted"), three = share(ada, "three", "private");
    Shader four = share(joss, "four");
    const auto everywhere = [&](const Ids& expected) {
        EXPECT_EQ(list(), expected);
        EXPECT_EQ(list({"grid", "", "", 0, 24}), expected);
        EXPECT_EQ(list({"", "water", "", 0, 24}), expected);
        EXPECT_EQ(list({"", "", "open se", 0, 24}), expected);
        EXPECT_EQ(database->count({"", "", "sea", 0, 24}), std::int64_t(expected.size()));
        EXPECT_EQ(database->tally().shaders, std::int64_t(expected.size()));
    };
    everywhere({"four", "one"});
    database->setHidden(four.number, "Too bright.");
    everywhere({"one"});
    EXPECT_EQ(database->tally().people, 1);
    database->setHidden(four.number, std::nullopt);
    database->setSuspended(ada, true);
    everywhere({"four"});
    database->setSuspended(ada, false);
    four.visibility = "private";
    database->changeShader(four);
    everywhere({"one"});
    database->deleteShader(database->shader("one")->number, 2000);
    everywhere({});
    EXPECT_TRUE(database->mostUsedTags(8).empty());
    EXPECT_EQ(database->shadersOf(ada, true, 0, 24).size(), 2u);
    EXPECT_TRUE(database->shadersOf(ada, false, 0, 24).empty());
}

TEST_F(Data, SearchTakesAnyTextForWords) {
    const Id ada = person("ada-w");
    share(ada, "one", "public", "Glühwürmchen AND \"Night\"");
    for (const char* words : {"gluhw", "night and", "ada", "light", "\"night\"", "GLÜHWÜRMCHEN"})
        EXPECT_EQ(list({"", "", words, 0, 24}), Ids{"one"}) << words;
    for (const char* words : {"title:night", "NOT night", "night*x", "(", "\"", "- ^", "night OR", "{title}: x"})
        EXPECT_NO_THROW(list({"", "", words, 0, 24})) << words;
    EXPECT_EQ(list({"", "", "day", 0, 24}), Ids{});
}

// Everything that changes what lists show, at random; then each list, page by page, against a look at every shader.
TEST_F(Data, ListsAgreeWithALookAtEveryShader) {
    std::mt19937 random(7);
    const auto any = [&](int count) { return int(random() % unsigned(count)); };
    static constexpr const char* visibilities[] = {"public", "public", "public", "unlisted", "private"};
    static constexpr const char* kinds[] = {"fragment", "particles", "grid"};
    static constexpr const char* words[] = {"Sea", "Seabird", "Night", "Antidisestablishment"};
    static constexpr const char* tags[] = {"water", "night sky", "wa-ter"};
    std::vector<Id> people{person("ada-w"), person("joss"), person("kim"), person("night")};
    std::vector<std::string> ids;
    const auto change = [&](int step) {
        Shader shader;
        if (!ids.empty()) shader = database->shader(ids[std::size_t(any(int(ids.size())))]).value();
        switch (any(6)) {
        case 0: database->setHidden(shader.number, any(2) ? std::optional<std::string>("No.") : std::nullopt); break;
        case 1:
            if (!shader.deleted) {
                shader.visibility = visibilities[any(5)];
                shader.title = words[any(4)];
                if (shader.number > 0) database->changeShader(shader);
            }
            break;
        case 2:
            if (any(3) == 0) database->deleteShader(shader.number, 5);
            break;
        case 3: database->setSuspended(people[std::size_t(any(4))], any(3) == 0); break;
        default:
            Shader made;
            made.forkedFrom = shader.id.empty() || any(2) ? "" : "s/" + shader.id;
            made.id = "id" + std::to_string(step);
            made.account = people[std::size_t(any(4))];
            made.title = std::string(words[any(4)]) + " and " + words[any(4)];
            made.licence = "mit";
            made.visibility = visibilities[any(5)];
            made.kind = kinds[any(3)];
            made.tags = {tags[any(3)]};
            made.content = made.id;
            database->addShader(made);
            ids.push_back(made.id);
        }
    };
    database->write([&] {
        for (int step = 0; step < 400; ++step)
            change(step);
    });
    database->setHandle(people[3], "morning");
    database->deleteAccount(people[2]);

    std::vector<Shader> listed;
    std::map<Id, std::int64_t> listedOf, keptOf;
    for (auto id = ids.rbegin(); id != ids.rend(); ++id) {
        const Shader shader = database->shader(*id).value();
        if (!shader.deleted) ++keptOf[shader.account];
        if (shader.deleted || shader.hidden || shader.isSuspended || shader.visibility != "public") continue;
        ++listedOf[shader.account];
        listed.push_back(shader);
    }
    EXPECT_GT(listed.size(), 20u);
    EXPECT_EQ(database->tally().shaders, std::int64_t(listed.size()));
    EXPECT_EQ(database->tally().people, std::int64_t(listedOf.size()));
    for (const Id id : people)
        if (const auto account = database->account(id)) {
            EXPECT_EQ(account->listed, listedOf[id]);
            EXPECT_EQ(account->kept, keptOf[id]);
        }
    for (const std::string& id : ids)
        EXPECT_EQ(database->shader(id)->forks, std::ranges::count(listed, "s/" + id, &Shader::forkedFrom)) << id;

    const auto begins = [](const Shader& shader, const std::string& word) {
        std::string text = shader.title + " " + shader.handle + " " + shader.tags[0];
        std::ranges::transform(text, text.begin(), [](char c) { return c == '-' ? ' ' : char(std::tolower(c)); });
        return (" " + text).contains(" " + word);
    };
    const auto paged = [](const auto& pageBefore) {
        Ids found;
        for (std::int64_t before = 0;;) {
            const std::vector<Shader> page = pageBefore(before);
            for (const Shader& shader : page)
                found.push_back(shader.id);
            if (page.size() < 3) return found;
            before = page.back().number;
        }
    };
    for (const char* kind : {"", "fragment", "grid"})
        for (const char* tag : {"", "water", "night sky", "none"})
            for (const std::string word : {"", "sea", "seab", "nig", "antidisestablishment", "morning", "w", "grid"}) {
                Ids expected;
                for (const Shader& shader : listed)
                    if ((!*kind || shader.kind == kind) && (!*tag || shader.tags[0] == tag) && begins(shader, word))
                        expected.push_back(shader.id);
                Database::Filter filter{kind, tag, word, 0, 3};
                EXPECT_EQ(paged([&](std::int64_t before) {
                              filter.before = before;
                              return database->shaders(filter);
                          }),
                          expected)
                    << kind << " " << tag << " " << word;
                EXPECT_EQ(database->count(filter), std::int64_t(std::min<std::size_t>(expected.size(), 100)));
            }
    for (const Id id : people) {
        Ids seen;
        for (const Shader& shader : listed)
            if (shader.account == id) seen.push_back(shader.id);
        EXPECT_EQ(paged([&](std::int64_t before) { return database->shadersOf(id, false, before, 3); }), seen);
        EXPECT_EQ(paged([&](std::int64_t before) { return database->shadersOf(id, true, before, 3); }).size(),
                  std::size_t(keptOf[id]));
    }
}

TEST_F(Data, OldHandlesStayTheirOwners) {
    const Id ada = person("ada-w"), joss = person("joss");
    EXPECT_TRUE(database->setHandle(ada, "ada-two"));
    EXPECT_FALSE(database->setHandle(joss, "ada-w"));
    EXPECT_FALSE(database->addAccount({0, "ada-w", "", "x", false, false, 1, "", 0}));
    EXPECT_EQ(database->accountOfHandle("ada-w")->handle, "ada-two");
    EXPECT_TRUE(database->setHandle(ada, "ada-w"));
    database->deleteAccount(ada);
    EXPECT_FALSE(database->setHandle(joss, "ada-two"));
    EXPECT_FALSE(database->accountOfHandle("ada-w"));
}

TEST_F(Data, ADeletedAccountLeavesNothingOfItself) {
    const Id ada = person("ada-w");
    share(ada, "one");
    database->addSession({0, ada, true, "GlassHob/1", "192.0.2.1", 1, 1}, hashOf("token"));
    database->deleteAccount(ada);
    EXPECT_FALSE(database->session(hashOf("token")));
    EXPECT_FALSE(database->isMediaUsed("one-loop"));
    const auto gone = database->shader("one");
    ASSERT_TRUE(gone && gone->deleted);
    EXPECT_EQ(gone->title + gone->description + gone->deletedBy + gone->handle + gone->media.loop, "");
}

TEST_F(Data, AFileIsUsedUntilItsLastShaderGoes) {
    const Id ada = person("ada-w");
    const Shader one = share(ada, "one"), two = share(ada, "two");
    database->deleteShader(one.number, 1);
    EXPECT_TRUE(database->isMediaUsed("thumb"));
    EXPECT_FALSE(database->isMediaUsed("one-loop"));
    database->deleteShader(two.number, 1);
    EXPECT_FALSE(database->isMediaUsed("thumb"));
}

TEST_F(Data, AnExceptionTakesAllOfAWriteBack) {
    EXPECT_THROW(database->write([&] {
        person("ada-w");
        throw std::runtime_error("no");
    }),
                 std::runtime_error);
    EXPECT_EQ(database->countOfPeople(), 0);
    person("joss");
    EXPECT_EQ(database->countOfPeople(), 1);
}

TEST_F(Data, CountsAttemptsOfSeveralThreadsAndForgetsThem) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int j = 0; j < 10; ++j)
                database->attempt("bucket", 60, 600);
        });
    threads.clear();
    // Counted from the first one on.
    const auto attempt = [&](Moment now) {
        const Attempts made = database->attempt("bucket", 60, now);
        return std::pair(made.count, made.ends);
    };
    EXPECT_EQ(attempt(659), std::pair(41L, 660L));
    EXPECT_EQ(attempt(690), std::pair(1L, 750L));
    EXPECT_EQ(attempt(749), std::pair(2L, 750L));
    database->takeBack("bucket");
    EXPECT_EQ(attempt(749), std::pair(2L, 750L));
    EXPECT_EQ(attempt(300), std::pair(1L, 360L)) << "a clock that was set back";
    EXPECT_EQ(attempt(301), std::pair(2L, 360L));
    database->forget(361);
    database->takeBack("bucket");
    EXPECT_EQ(attempt(302), std::pair(1L, 362L));
}

TEST_F(Data, ALinkIsAnsweredOnceAndAnInvitationIsUsedUp) {
    const Id ada = person("ada-w");
    Link link;
    link.expires = 2000;
    database->addLink(link, hashOf("device"), hashOf("CODE"));
    const Id id = database->linkOfCode(hashOf("CODE"))->id;
    EXPECT_TRUE(database->answerLink(id, "refused", ada));
    EXPECT_FALSE(database->answerLink(id, "allowed", ada));
    EXPECT_EQ(database->linkOfDevice(hashOf("device"))->state, "refused");
    database->addInvitation(hashOf("invitation"), ada, 2, 2000);
    EXPECT_EQ(database->invitation(hashOf("invitation"), 1999)->by, "ada-w");
    EXPECT_FALSE(database->invitation(hashOf("invitation"), 2000));
    EXPECT_TRUE(database->useInvitation(hashOf("invitation"), 1000));
    EXPECT_TRUE(database->useInvitation(hashOf("invitation"), 1000));
    EXPECT_FALSE(database->useInvitation(hashOf("invitation"), 1000));
}

TEST_F(Data, ABackupIsAWholeDatabase) {
    person("ada-w");
    const std::string copy = folder / "copy.db";
    database->backUp(copy);
    EXPECT_TRUE(openSqliteDatabase(copy)->accountNamed("ada-w"));
}

TEST_F(Data, EveryEarlierVersionIsBroughtUpToDate) {
    for (std::size_t version = 0; version < migrations().size(); ++version) {
        const std::string old = folder / ("version" + std::to_string(version));
        {
            SqliteConnection connection(old);
            migrate(connection, version);
            if (version > 0)
                connection.script("INSERT INTO account (handle, password, created) VALUES ('ada-w', 'x', 5)");
            // What a gallery of that version would have written.
            if (version > 1)
                connection.script(R"(
                    INSERT INTO shader (id, account, title, description, licence, visibility, kind, has_sound,
                        forked_from, tags, params, content, source, loop, thumb, small_loop, small_thumb, created)
                    VALUES ('one', 1, 'Open Sea', '', 'mit', 'public', 'grid', 0, '', 'night sky,light', '[]', x'00',
                        '', '', '', '', '', 5),
                        ('two', 1, 'Dry Land', '', 'mit', 'public', 'fragment', 0, 's/one', '', '[]', x'01',
                        '', '', '', '', '', 6),
                        ('three', 1, 'Open Secret', '', 'mit', 'private', 'grid', 0, 's/one', 'light', '[]', x'02',
                        '', '', '', '', '', 7);
                    INSERT INTO shader_tag VALUES ('night sky', 1), ('light', 1);
                    UPDATE shader SET listed = 1 WHERE visibility = 'public')");
            if (version > 2)
                connection.script("INSERT INTO shader_text (rowid, title, handle, tags, facts) SELECT number, title, "
                                  "handle, tags, facts FROM listed_text");
        }
        const auto opened = openSqliteDatabase(old);
        EXPECT_EQ(opened->countOfPeople(), version > 0 ? 1 : 0);
        EXPECT_EQ(opened->tally().shaders, version > 1 ? 2 : 0);
        EXPECT_EQ(opened->tally().people, version > 1 ? 1 : 0);
        if (version < 2) continue;
        EXPECT_EQ(opened->account(1)->kept, 3);
        EXPECT_EQ(opened->shader("one")->forks, 1);
        for (const Database::Filter& filter :
             {Database::Filter{"", "", "open", 0, 24}, {"grid", "night sky", "", 0, 24}, {"grid", "", "", 0, 24}}) {
            ASSERT_EQ(opened->shaders(filter).size(), 1u) << filter.words;
            EXPECT_EQ(opened->shaders(filter)[0].id, "one");
        }
    }
    SqliteConnection newer(folder / "newer");
    newer.script("PRAGMA user_version = 999");
    EXPECT_THROW(openSqliteDatabase(folder / "newer"), SqliteError);
}

TEST_F(Data, FilesAreNamedByTheirContentAndHalfOnesLeaveNothing) {
    const auto media = openMediaFolder(folder);
    const auto put = [&](std::string_view bytes) {
        const auto file = media->begin();
        EXPECT_TRUE(file->write(bytes));
        const std::string name = file->finish().value();
        media->place(*file);
        return name;
    };
    const std::string name = put("some bytes");
    EXPECT_EQ(put("some bytes"), name);
    EXPECT_NE(put("other bytes"), name);
    EXPECT_EQ(media->open(name)->size, 10u);
    {
        const auto dropped = media->begin();
        dropped->write("half");
        EXPECT_THROW(media->place(*dropped), std::logic_error);
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder / "incoming"));
    EXPECT_FALSE(media->open("../gallery.db"));
    EXPECT_FALSE(media->open(std::string(64, '/')));
    media->remove(name);
    EXPECT_FALSE(media->open(name));
    int left = 0;
    media->eachOlderThan(-10, [&](const std::string&) { ++left; });
    EXPECT_EQ(left, 1);
}

} // namespace
} // namespace glasshob::gallery
