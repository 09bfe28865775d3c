#include "GlassHobCore/episode/EpisodeFolder.h"
#include "GlassHobCore/files/ShaderFile.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

using namespace glasshob;

namespace fs = std::filesystem;
using enum EpisodeFolder::Problem;

namespace {

constexpr const char* header = "// Rings\n// @episode 12 Smoke rings\n";

class EpisodeFolderTest : public testing::Test {
  protected:
    QTemporaryDir place_;
    fs::path root_ = fs::path(place_.path().toStdString());
    fs::path folder_ = root_ / "episode-12-rings";

    void SetUp() override { put("source.metal", std::string(header) + "a;\nb;\nc;\n"); }
    void put(const std::string& name, const std::string& text) const {
        fs::create_directories((folder_ / name).parent_path());
        std::ofstream(folder_ / name, std::ios::binary) << text;
    }
    auto read() const { return EpisodeFolder::read(folder_.string()); }
    // The reason, with the folder's path as "HERE".
    std::string fault(EpisodeFolder::Problem problem) const {
        const auto episode = read();
        if (episode) return "was read";
        EXPECT_EQ(episode.error().problem, problem);
        std::string sentence = episode.error().sentence;
        for (std::size_t at; (at = sentence.find(folder_.string())) != std::string::npos;)
            sentence.replace(at, folder_.string().size(), "HERE");
        return sentence;
    }
};

} // namespace

TEST_F(EpisodeFolderTest, ReadsSourceAndStagesInOrder) {
    for (const char* name : {"10-last", "2-b", "02-a", "1-first", "Stage"})
        put("stages/" + std::string(name) + ".metal", std::string("// ") + name);
    put("stages/notes.txt", "not a stage");
    put("stages/.1-first.metal", "nor this");
    const auto episode = read();
    ASSERT_TRUE(episode) << episode.error().sentence;
    EXPECT_EQ(episode->meta.number, 12);
    EXPECT_EQ(episode->meta.title, "Smoke rings");
    EXPECT_EQ(episode->source.name, "source.metal");
    std::vector<std::string> names;
    for (const EpisodeFile& stage : episode->stages) {
        names.push_back(stage.name);
        EXPECT_EQ(ShaderFile::read(stage.path).value_or(""), stage.text);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"stages/1-first.metal", "stages/02-a.metal", "stages/2-b.metal",
                                               "stages/10-last.metal", "stages/Stage.metal"}));
    // The source of an episode stands for its folder, and a link to the folder too.
    EXPECT_EQ(EpisodeFolder::read((folder_ / "source.metal").string()).value_or(Episode{}), *episode);
    fs::create_symlink(folder_, root_ / "link");
    EXPECT_EQ(EpisodeFolder::read((root_ / "link/").string()).value_or(Episode{}), *episode);
}

TEST_F(EpisodeFolderTest, ASingleFileHasNoWalkthrough) {
    std::ofstream(root_ / "rings.metal") << header << "a;\n";
    const auto episode = EpisodeFolder::read((root_ / "rings.metal").string());
    ASSERT_TRUE(episode) << episode.error().sentence;
    EXPECT_EQ(episode->meta.number, 12);
    EXPECT_TRUE(episode->stages.empty());
    const auto walkthrough = episode->walkthrough({});
    EXPECT_TRUE(walkthrough && walkthrough->empty());
}

TEST_F(EpisodeFolderTest, MayHaveManyStages) {
    for (int i = 1; i <= 200; ++i)
        put("stages/" + std::to_string(i) + ".metal", "a" + std::to_string(i) + ";\n");
    const auto episode = read();
    ASSERT_TRUE(episode) << episode.error().sentence;
    ASSERT_EQ(episode->stages.size(), 200U);
    EXPECT_EQ(episode->stages.back().name, "stages/200.metal");
    for (std::size_t i = 0; i <= EpisodeFolder::stageLimit; ++i)
        put("stages/more-" + std::to_string(i) + ".metal", "");
    EXPECT_EQ(fault(tooManyStages),
              "HERE/stages holds more than 500 stages, too many for one episode: leave some out.");
}

TEST_F(EpisodeFolderTest, SaysWhatIsWrongWithTheFolder) {
    fs::remove(folder_ / "source.metal");
    EXPECT_EQ(fault(noSource), "There is no source.metal in HERE: put the finished shader there under that name.");
    fs::create_directory(folder_ / "source.metal");
    EXPECT_EQ(fault(badFile), "HERE/source.metal is a folder: put the shader's text into a file of that name.");
    fs::remove(folder_ / "source.metal");
    put("source.metal", "caf\xE9");
    EXPECT_EQ(fault(badFile), "HERE/source.metal is not UTF-8 text: it was not opened.");
    put("source.metal", std::string(ShaderFile::sizeLimit + 1, ' '));
    EXPECT_EQ(fault(badFile), "HERE/source.metal is larger than 4 MB, too large for a shader: it was not opened.");
    put("source.metal", "// Rings\n// @param a 1 0 2\na;\n");
    EXPECT_EQ(fault(noHeader), "HERE/source.metal is no episode: there is no line @episode in it: write one such as "
                               "\"// @episode 12 Smoke rings\" at its top.");
    for (const char* line : {"// @episode Smoke rings", "//@episode", "// @episode\tx 1"}) {
        put("source.metal", line);
        EXPECT_EQ(fault(noHeader), "HERE/source.metal is no episode: the line @episode has no number: write it as "
                                   "\"// @episode 12 Smoke rings\".")
            << line;
    }
    for (const char* line : {"// @episode 1", "//@episode -3 x", "// @episode x\n// @episode 2"}) {
        put("source.metal", line);
        EXPECT_EQ(fault(noHeader), "was read") << line;
    }
    put("stages", "");
    EXPECT_EQ(fault(badFile), "HERE/stages is not a folder: put the stages into a folder of that name.");
    fs::remove_all(folder_);
    EXPECT_EQ(fault(missing), "There is no episode HERE: check the name of its folder or file.");
    EXPECT_EQ(EpisodeFolder::read("").error().problem, missing);
}

TEST_F(EpisodeFolderTest, SaysWhatIsWrongWithAStage) {
    put("stages/1.metal", "a;\n");
    put("stages/2.metal", "\xFF");
    EXPECT_EQ(fault(badFile), "HERE/stages/2.metal is not UTF-8 text: it was not opened.");
    put("stages/2.metal", std::string(EpisodeFolder::stageLineLimit, '\n'));
    EXPECT_TRUE(fault(badFile).starts_with("HERE/stages/2.metal has more than 20000 lines"));
    fs::remove(folder_ / "stages/2.metal");
    ASSERT_EQ(mkfifo((folder_ / "stages/2.metal").c_str(), 0600), 0);
    EXPECT_EQ(fault(badFile), "HERE/stages/2.metal is not a file: put the shader's text into a file of that name.");
    fs::remove(folder_ / "stages/2.metal");
    if (geteuid() != 0) {
        put("stages/2.metal", "a;\n");
        fs::permissions(folder_ / "stages/2.metal", fs::perms::none);
        EXPECT_EQ(fault(badFile), "HERE/stages/2.metal may not be read by you: check its permissions.");
    }
}

TEST_F(EpisodeFolderTest, LinksOutOfTheFolderAreRefused) {
    std::ofstream(root_ / "secret.metal") << header << "secret;\n";
    fs::create_directory(root_ / "elsewhere");
    put("real.metal", "a;\n");
    fs::create_directory(folder_ / "stages");
    fs::create_symlink("../real.metal", folder_ / "stages/1.metal");
    EXPECT_EQ(fault(leadsOut), "was read");
    const std::string why = " is a link that leads out of the episode's folder: put the file itself there.";
    fs::create_symlink(root_ / "secret.metal", folder_ / "stages/2.metal");
    EXPECT_EQ(fault(leadsOut), "HERE/stages/2.metal" + why);
    fs::remove(folder_ / "stages/2.metal");
    fs::create_symlink("nowhere", folder_ / "stages/2.metal");
    EXPECT_EQ(fault(badFile), "HERE/stages/2.metal is a link that leads nowhere: put the file itself there.");
    fs::remove_all(folder_ / "stages");
    fs::create_symlink(root_ / "elsewhere", folder_ / "stages");
    EXPECT_EQ(fault(leadsOut), "HERE/stages" + why);
    fs::remove(folder_ / "stages");
    fs::remove(folder_ / "source.metal");
    fs::create_symlink("../secret.metal", folder_ / "source.metal");
    EXPECT_EQ(fault(leadsOut), "HERE/source.metal" + why);
}

TEST_F(EpisodeFolderTest, AStageWithoutNewCodeIsAFault) {
    const auto walkthrough = [&]() -> std::string {
        const auto episode = read();
        if (!episode) return episode.error().sentence;
        const auto made = episode->walkthrough({16, 12});
        return made ? std::to_string(made->size()) + " stages" : made.error().sentence;
    };
    put("stages/1.metal", "a;\n");
    put("stages/2.metal", "a;\nb;\n");
    EXPECT_EQ(walkthrough(), "3 stages");
    put("stages/2.metal", "// Another comment\n\na; // here too\n");
    EXPECT_EQ(walkthrough(), "Stage 2 has no code to show: it is the same as stage 1.");
    put("stages/2.metal", "a;\nb;\nc;\n");
    EXPECT_EQ(walkthrough(), "Stage 3 has no code to show: it is the same as stage 2.");
    put("stages/2.metal", "// Nothing\n");
    EXPECT_EQ(walkthrough(), "Stage 2 has no code to show: there is no line of code in it.");
    put("stages/1.metal", "a;\nb;\n");
    put("stages/2.metal", "a;\n");
    EXPECT_EQ(walkthrough(), "Stage 2 has no code to show: it adds no line to those of stage 1.");
}

TEST_F(EpisodeFolderTest, ListsEpisodes) {
    for (const char* name : {"episode-10-x", "episode-9-y", "other", "episode-1-empty"})
        fs::create_directory(root_ / name);
    for (const char* name : {"episode-10-x", "episode-9-y", "other"})
        std::ofstream(root_ / name / "source.metal") << header;
    const std::string root = root_.string();
    EXPECT_EQ(EpisodeFolder::list(root),
              (std::vector<std::string>{root + "/episode-9-y", root + "/episode-10-x", root + "/episode-12-rings"}));
    EXPECT_TRUE(EpisodeFolder::list(root + "/nowhere").empty());
}

TEST(EpisodeFolder, ComparesNumbersInNames) {
    const std::vector<std::string> names = {"",
                                            "1",
                                            "01",
                                            "2",
                                            "10",
                                            "a",
                                            "a1",
                                            "a1b",
                                            "a02",
                                            "a2",
                                            "a10",
                                            "a99999999999999999999",
                                            "a100000000000000000000",
                                            "b"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        for (std::size_t j = 0; j < names.size(); ++j) {
            const bool areEqualNumbers = (names[i] == "1" && names[j] == "01") || (names[i] == "01" && names[j] == "1");
            if (!areEqualNumbers) {
                EXPECT_EQ(EpisodeFolder::isBefore(names[i], names[j]), i < j) << names[i] << " " << names[j];
            }
        }
    }
    EXPECT_NE(EpisodeFolder::isBefore("1", "01"), EpisodeFolder::isBefore("01", "1"));
}
