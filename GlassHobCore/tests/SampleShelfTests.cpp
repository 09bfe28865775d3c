#include "GlassHobCore/shader/SampleShelf.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdlib.h>

namespace glasshob {
namespace {

class SampleShelfTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "shelf-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::string contents(const std::string& path) {
        std::ostringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        return text.str();
    }
    void put(const std::string& name, const std::string& text) { std::ofstream(folder + "/" + name) << text; }

    std::string folder;
    SampleShelf::Sample sample{"02-x.metal", "Two/Suns", ShaderKind::fragment, false, "// Two/Suns\n"};
};

} // namespace

TEST(SampleShelf, HasEveryKindOfShaderEachWithATitleOfItsOwn) {
    const auto samples = SampleShelf::all();
    std::set<std::string> titles;
    std::map<ShaderKind, int> kinds;
    int sounds = 0;
    for (const auto& sample : samples) {
        EXPECT_NE(sample.title, sample.file.substr(0, sample.file.size() - 6)) << "no title line";
        titles.insert(sample.title);
        ++kinds[sample.kind];
        sounds += sample.hasSound ? 1 : 0;
    }
    EXPECT_EQ(titles.size(), samples.size());
    EXPECT_EQ(samples.empty() ? "" : samples.front().title, "Flowing Colour");
    EXPECT_GE(kinds[ShaderKind::fragment], 4);
    EXPECT_GE(kinds[ShaderKind::particles], 2);
    EXPECT_GE(kinds[ShaderKind::grid], 2);
    EXPECT_GE(sounds, 3);
}

TEST(SampleShelf, TheTitleIsTheFirstCommentOrTheFilesName) {
    const std::pair<const char*, const char*> cases[] = {
        {"// Blue Hour\n// more", "Blue Hour"},
        {"//  Rain \r\n", "Rain"},
        {"//Rain", "Rain"},
        {"float x;\n// Rain", "05-silk"},
        {"// @still 4\n// Rain", "05-silk"},
        {"", "05-silk"},
        {"//\n// Rain", "05-silk"},
    };
    for (const auto& [text, title] : cases)
        EXPECT_EQ(SampleShelf::title(text, "05-silk.metal"), title) << text;
}

TEST_F(SampleShelfTest, ACopyIsMadeOnceAndAChangedOneIsLeftAlone) {
    const auto first = SampleShelf::copyInto(folder, sample);
    ASSERT_TRUE(first) << first.error();
    EXPECT_EQ(*first, folder + "/Two-Suns.metal");
    EXPECT_EQ(contents(*first), sample.text);
    EXPECT_EQ(SampleShelf::copyInto(folder, sample), first);

    put("Two-Suns.metal", "// mine\n");
    std::filesystem::create_directory(folder + "/Two-Suns 2.metal");
    const auto third = SampleShelf::copyInto(folder, sample);
    ASSERT_TRUE(third) << third.error();
    EXPECT_EQ(*third, folder + "/Two-Suns 3.metal");
    EXPECT_EQ(SampleShelf::copyInto(folder, sample), third);
    EXPECT_EQ(contents(*first), "// mine\n");
}

TEST_F(SampleShelfTest, AFolderThatCannotBeWrittenIsTold) {
    const auto copy = SampleShelf::copyInto(folder + "/missing", sample);
    ASSERT_FALSE(copy);
    EXPECT_TRUE(copy.error().ends_with('.')) << copy.error();
}

} // namespace glasshob
