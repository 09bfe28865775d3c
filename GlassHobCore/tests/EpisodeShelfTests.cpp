#include "GlassHobCore/episode/EpisodeShelf.h"
#include "GlassHobCore/shader/ForkedFrom.h"
#include "GlassHobCore/shader/GalleryNames.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

using namespace glasshob;

namespace fs = std::filesystem;
using EpisodeShelf::Copy;

namespace {

class EpisodeShelfTest : public testing::Test {
  protected:
    QTemporaryDir place_;
    const std::string root = place_.path().toStdString();

    void put(const std::string& name, const std::string& text) const {
        fs::create_directories(fs::path(root + "/" + name).parent_path());
        std::ofstream(root + "/" + name, std::ios::binary) << text;
    }
    std::string contents(const std::string& path) const {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::vector<EpisodeShelf::Shelved> own() const {
        auto all = EpisodeShelf::all(root);
        std::erase_if(all, [&](const auto& each) { return !each.folder.starts_with(root); });
        return all;
    }
};

TEST_F(EpisodeShelfTest, HasTheBundledEpisodesAndTheOwnOnesInTheOrderOfTheirNumbers) {
    put("episode-10-late/source.metal", "// @episode 10 Late\n");
    put("episode-x/source.metal", "// @episode 2 Early\n");
    put("episode-x/stages/10-b.metal", "// Step 2 · Bands\nb;\n");
    put("episode-x/stages/9-a.metal", "a;\n");
    put("episode-007-broken/source.metal", "// @episode seven\n");
    put("episode-4-empty/stages/1-a.metal", "a;\n");
    put("sketch.metal", "// @episode 1 No folder\n");
    std::vector<std::string> titles;
    for (const auto& each : EpisodeShelf::all(root))
        titles.push_back(std::to_string(each.number) + " " + each.title + (each.problem.empty() ? "" : "!"));
    EXPECT_EQ(titles, (std::vector<std::string>{"1 Northern Lights", "2 Sparks", "2 Early", "7 episode-007-broken!",
                                                "10 Late"}));
    const auto early = own().front();
    ASSERT_EQ(early.entries.size(), 3u);
    EXPECT_EQ(early.entries[0].title, "Stage 1");
    EXPECT_EQ(early.entries[1].name, "stages/10-b.metal");
    EXPECT_EQ(early.entries[1].title, "Bands");
    EXPECT_EQ(early.entries[2].name, "source.metal");
    EXPECT_EQ(own()[1].problem, root + "/episode-007-broken/source.metal is no episode: the line @episode has no "
                                       "number: write it as \"// @episode 12 Smoke rings\".");
    EXPECT_EQ(EpisodeShelf::all(root + "/nowhere").size(), 2u);
}

TEST(EpisodeShelf, NamesCopiesAsTheGalleryDoes) {
    const struct {
        const char *folder, *entry;
        Copy copy;
    } cases[] = {
        {"episode-07-rings", "source.metal", {"episode-07-rings.metal", "episode-07"}},
        {"episode-07-rings", "stages/2-many.metal", {"episode-07-rings-2-many.metal", "episode-07/2-many"}},
        {"episode-007-sky", "source.metal", {"episode-007-sky.metal", "episode-07"}},
        {"episode-123-sky", "source.metal", {"episode-123-sky.metal", "episode-123"}},
        // Names that no episode of the gallery has: nothing is claimed.
        {"episode-7-x", "source.metal", {"episode-7-x.metal", {}}},
        {"episode-1234-x", "source.metal", {"episode-1234-x.metal", {}}},
        {"episode-07", "source.metal", {"episode-07.metal", {}}},
        {"episode-07-Rings", "source.metal", {"episode-07-Rings.metal", {}}},
        {"episode-07-rings", "stages/Step 1.metal", {"episode-07-rings-Step 1.metal", {}}},
        {"episode-07-rings", "stages/-a.metal", {"episode-07-rings--a.metal", {}}},
    };
    for (const auto& each : cases)
        EXPECT_EQ(EpisodeShelf::copyOf(each.folder, each.entry), each.copy) << each.folder << " " << each.entry;
}

TEST_F(EpisodeShelfTest, CopiesUnderAFreeNameAndTouchesNothing) {
    put("episode-07-rings/source.metal", "// Rings\n// @episode 7 Rings\n\nfloat x;\n");
    put("episode-07-rings/stages/1-a.metal", "float a;\r\n");
    const std::string episode = root + "/episode-07-rings", mine = root + "/mine";
    fs::create_directory(mine);
    put("mine/episode-07-rings.metal", "my own");
    fs::create_symlink("nowhere", mine + "/episode-07-rings 2.metal");
    const auto copy = EpisodeShelf::copyInto(mine, episode, "source.metal");
    ASSERT_TRUE(copy) << copy.error();
    EXPECT_EQ(*copy, mine + "/episode-07-rings 3.metal");
    EXPECT_EQ(contents(*copy), "// Rings\n// @forked-from episode-07\n// @episode 7 Rings\n\nfloat x;\n");
    EXPECT_EQ(contents(mine + "/episode-07-rings.metal"), "my own");
    EXPECT_FALSE(fs::exists(mine + "/nowhere"));
    EXPECT_EQ(EpisodeShelf::copyInto(mine, episode, "source.metal"), mine + "/episode-07-rings 4.metal");

    const auto stage = EpisodeShelf::copyInto(mine, episode, "stages/1-a.metal");
    ASSERT_TRUE(stage) << stage.error();
    EXPECT_EQ(contents(*stage), "// @forked-from episode-07/1-a\r\nfloat a;\r\n");

    EXPECT_EQ(EpisodeShelf::copyInto(mine, episode, "stages/2-b.metal").error(),
              "There is no stages/2-b.metal in " + episode + " any more: choose another stage.");
    const auto refused = EpisodeShelf::copyInto(root + "/none", episode, "source.metal");
    EXPECT_TRUE(refused.error().starts_with(root + "/none/episode-07-rings.metal ")) << refused.error();
    EXPECT_EQ(std::distance(fs::directory_iterator(mine), {}), 5) << "nothing else is left";
}

TEST(ForkedFrom, IsTheFirstLineThatNamesSomething) {
    const struct {
        const char* source;
        std::optional<std::string> item;
    } cases[] = {
        {"// @forked-from s/ab12", "s/ab12"},
        {"a;\n  //@forked-from\tepisode-07 \r\n// @forked-from s/x", "episode-07"},
        {"// @forked-from episode-123/2-many-rings\n", "episode-123/2-many-rings"},
        {"// @forked-from s/AB\n// @forked-from s/x", {}},
        {"// @forked-from s/", {}},
        {"// @forked-from two words\n// @forked-from s/x", "s/x"},
        {"// @forked-from episode-7", {}},
        {"// @forked-from episode-1234", {}},
        {"// @forked-from episode-07/-a", {}},
        {"// @forked-from episode-07/", {}},
        {"// @forked-from\n", {}},
        {"", {}},
    };
    for (const auto& each : cases)
        EXPECT_EQ(ForkedFrom::parse(each.source), each.item) << each.source;
    const std::string longest(64, 'a');
    EXPECT_TRUE(GalleryNames::isItem("episode-07/" + longest));
    EXPECT_FALSE(GalleryNames::isItem("episode-07/" + longest + "a"));
}

TEST(ForkedFrom, StampsWithoutChangingAnythingElse) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "// @forked-from s/x\n"},
        {"a;", "// @forked-from s/x\na;"},
        {"\na;", "// @forked-from s/x\n\na;"},
        {"// Rings", "// Rings\n// @forked-from s/x"},
        {"// Rings\r\n//\r\n\r\n// more\r\n", "// Rings\r\n// @forked-from s/x\r\n//\r\n\r\n// more\r\n"},
        {"\xEF\xBB\xBF// Rings\na;\n", "\xEF\xBB\xBF// Rings\n// @forked-from s/x\na;\n"},
        {"a;\n // @forked-from s/old\r\nb;\n", "a;\n// @forked-from s/x\r\nb;\n"},
        {"\xEF\xBB\xBF", "\xEF\xBB\xBF// @forked-from s/x\n"},
        // What is a comment stays one.
        {"// Rings \\\na;\n", "// @forked-from s/x\n// Rings \\\na;\n"},
        {"// R\n// @forked-from s/old\\ \na;", "// R\n// @forked-from s/x\n// @forked-from s/old\\ \na;"},
        {"\xEF\xBB\xBF//@forked-from s/old\na;", "\xEF\xBB\xBF// @forked-from s/x\na;"},
        {"// @forked-from nothing\n// @forked-from s/old", "// @forked-from s/x\n// @forked-from s/old"},
    };
    for (const auto& [source, stamped] : cases) {
        EXPECT_EQ(ForkedFrom::stamp(source, "s/x"), stamped) << source;
        EXPECT_EQ(ForkedFrom::parse(stamped), "s/x") << source;
    }
}

} // namespace
