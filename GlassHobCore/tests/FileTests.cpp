#include "GlassHobCore/Identity.h"
#include "GlassHobCore/files/AtomicFile.h"
#include "GlassHobCore/files/PartialFile.h"
#include "GlassHobCore/files/ShaderFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace glasshob;

namespace {

class FileTest : public testing::Test {
  protected:
    QTemporaryDir folder_;

    std::string path(const std::string& name) const { return folder_.path().toStdString() + "/" + name; }
    static void put(const std::string& path, const QByteArray& bytes) {
        QFile file(QString::fromStdString(path));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    static std::string get(const std::string& path) {
        QFile file(QString::fromStdString(path));
        return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : "absent";
    }
    QStringList names() const {
        return QDir(folder_.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }
};

using ShaderFileTest = FileTest;
using AtomicFileTest = FileTest;
using PartialFileTest = FileTest;

} // namespace

TEST_F(ShaderFileTest, KeepsEveryByte) {
    const QByteArray bytes("\xEF\xBB\xBF"
                           "a\r\nb\rc\xC2\xA0\xE2\x80\xA8\0d",
                           16);
    put(path("a.metal"), bytes);
    EXPECT_EQ(ShaderFile::read(path("a.metal")).value_or(ShaderFile::Failure{}.sentence), bytes.toStdString());
}

TEST_F(ShaderFileTest, SaysWhyThereIsNoText) {
    using enum ShaderFile::Problem;
    put(path("latin"), "caf\xE9");
    put(path("overlong"), "\xC0\xAF");
    put(path("surrogate"), "\xED\xA0\x80");
    put(path("cut"), "\xE2\x80");
    put(path("large"), QByteArray(ShaderFile::sizeLimit + 1, 'a'));
    put(path("full"), QByteArray(ShaderFile::sizeLimit, 'a'));
    put(path("lines"), QByteArray("\r\n").repeated(qsizetype(ShaderFile::lineLimit - 1)));
    put(path("more lines"), QByteArray("\r").repeated(qsizetype(ShaderFile::lineLimit)));
    EXPECT_TRUE(ShaderFile::read(path("full")));
    EXPECT_TRUE(ShaderFile::read(path("lines")));
    const std::vector<std::pair<std::string, ShaderFile::Problem>> cases = {
        {"missing", missing}, {"latin/inside", missing}, {".", folder},
        {"latin", notText},   {"overlong", notText},     {"surrogate", notText},
        {"cut", notText},     {"large", tooLarge},       {"more lines", tooLarge}};
    for (const auto& [name, problem] : cases) {
        const auto result = ShaderFile::read(path(name));
        ASSERT_FALSE(result) << name;
        EXPECT_EQ(result.error().problem, problem) << name;
        EXPECT_NE(result.error().sentence.find(path(name)), std::string::npos);
        EXPECT_TRUE(result.error().sentence.ends_with('.'));
    }
}

TEST_F(AtomicFileTest, ReplacesAFileAndKeepsItsMode) {
    put(path("a"), "old");
    chmod(path("a").c_str(), 0640);
    ASSERT_TRUE(AtomicFile::write(path("a"), "new"));
    EXPECT_EQ(get(path("a")), "new");
    struct stat status = {};
    ASSERT_EQ(stat(path("a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    ASSERT_TRUE(AtomicFile::write(path("b"), ""));
    EXPECT_EQ(get(path("b")), "");
    EXPECT_EQ(names(), (QStringList{"a", "b"})) << "nothing is left beside them";
}

TEST_F(AtomicFileTest, WritesThroughSymbolicLinks) {
    QDir(folder_.path()).mkdir("deep");
    put(path("deep/target"), "old");
    ASSERT_EQ(symlink("deep/target", path("link").c_str()), 0);
    ASSERT_EQ(symlink("deep/new", path("dangling").c_str()), 0);
    ASSERT_EQ(symlink("circle", path("circle").c_str()), 0);
    ASSERT_TRUE(AtomicFile::write(path("link"), "new"));
    ASSERT_TRUE(AtomicFile::write(path("dangling"), "fresh"));
    EXPECT_EQ(get(path("deep/target")), "new");
    EXPECT_EQ(get(path("deep/new")), "fresh");
    char end[64] = {};
    EXPECT_GT(readlink(path("link").c_str(), end, sizeof end), 0) << "the link is still a link";
    EXPECT_FALSE(AtomicFile::write(path("circle"), "x"));
}

TEST_F(AtomicFileTest, RefusesWithASentenceAndLeavesNothing) {
    QDir(folder_.path()).mkdir("folder");
    put(path("file"), "old");
    const std::vector<std::string> places = {path("folder"), path("none/a"), path("file/a"),
                                             path(std::string(300, 'n')), ""};
    for (const std::string& place : places) {
        EXPECT_FALSE(AtomicFile::check(place)) << place;
        const auto result = AtomicFile::write(place, "x");
        ASSERT_FALSE(result) << place;
        EXPECT_NE(result.error().find(place), std::string::npos);
        EXPECT_TRUE(result.error().ends_with('.'));
    }
    if (geteuid() != 0) {
        chmod(path("file").c_str(), 0400);
        EXPECT_FALSE(AtomicFile::write(path("file"), "x"));
        chmod(path("folder").c_str(), 0500);
        EXPECT_FALSE(AtomicFile::write(path("folder/a"), "x"));
        EXPECT_FALSE(AtomicFile::check(path("folder/a")));
        chmod(path("folder").c_str(), 0700);
    }
    EXPECT_EQ(get(path("file")), "old");
    EXPECT_EQ(names(), (QStringList{"file", "folder"}));
}

TEST_F(AtomicFileTest, NeverReplacesADevice) {
    ASSERT_TRUE(AtomicFile::write("/dev/null", "x"));
    struct stat status = {};
    ASSERT_EQ(stat("/dev/null", &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST_F(PartialFileTest, StandsInItsPlaceOnlyWhenItIsWhole) {
    put(path("movie"), "old");
    chmod(path("movie").c_str(), 0640);
    ASSERT_EQ(symlink("movie", path("link").c_str()), 0);
    {
        auto partial = PartialFile::beside(path("link"));
        ASSERT_TRUE(partial) << partial.error();
        put(partial->path(), "new");
        EXPECT_EQ(get(path("movie")), "old");
        ASSERT_TRUE(partial->moveIntoPlace());
    }
    EXPECT_EQ(get(path("movie")), "new");
    struct stat status = {};
    ASSERT_EQ(lstat(path("movie").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    {
        auto given = PartialFile::beside(path("movie"));
        auto other = PartialFile::beside(path("movie"));
        ASSERT_TRUE(given && other);
        EXPECT_NE(given->path(), other->path()) << "two at a time do not meet";
        put(given->path(), "half");
        const PartialFile moved = std::move(*given);
        EXPECT_EQ(get(moved.path()), "half");
    }
    EXPECT_EQ(get(path("movie")), "new");
    EXPECT_EQ(names(), (QStringList{"link", "movie"})) << "what is given up leaves nothing";
}

TEST_F(PartialFileTest, AFileThatComesMeanwhileIsKeptAndTheResultStandsBesideIt) {
    const auto finish = [&](const char* name) {
        auto partial = PartialFile::beside(path(name));
        EXPECT_TRUE(partial);
        put(partial->path(), "made");
        put(path(name), "another's");
        return partial->moveIntoPlace(PartialFile::Existing::kept).value();
    };
    EXPECT_EQ(finish("sea.mp4"), path("sea-2.mp4"));
    EXPECT_EQ(finish("sea.mp4"), path("sea-3.mp4"));
    EXPECT_EQ(finish("sea"), path("sea-2"));
    EXPECT_EQ(get(path("sea.mp4")), "another's");
    EXPECT_EQ(get(path("sea-3.mp4")), "made");
}

TEST_F(PartialFileTest, RemovesWhatAKilledProcessHasLeftAndNothingElse) {
    const pid_t child = fork();
    if (child == 0) {
        auto partial = PartialFile::beside(path("movie.mp4"));
        std::ofstream(partial->path()) << "half";
        _exit(0); // as one that is killed
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    const auto own = PartialFile::beside(path("other.mp4"));
    std::ofstream(own->path()) << "in work";
    // Of another machine, whose processes cannot be asked.
    std::ofstream(path(".movie.mp4.00000000-" + std::to_string(child) + "-1.part")) << "elsewhere";
    std::ofstream(path(".mine.part")) << "a person's";
    const auto count = [&] { return std::distance(std::filesystem::directory_iterator(path("")), {}); };
    EXPECT_EQ(count(), 3) << "what the child left went with the second file";
    const auto next = PartialFile::beside(path("movie.mp4"));
    EXPECT_EQ(count(), 3);
}

TEST(UnfinishedPaths, GoTogether) {
    const auto folder = std::filesystem::temp_directory_path() / ("unfinished-" + std::to_string(getpid()));
    for (const char* name : {"a", "b", "c"})
        std::filesystem::create_directories(folder / name);
    for (const char* file : {"a/x", "c/kept"})
        std::ofstream(folder / file) << "half";
    UnfinishedPaths::add(folder / "b", UnfinishedPaths::Removal::whenEmpty);
    UnfinishedPaths::add(folder / "c", UnfinishedPaths::Removal::whenEmpty);
    UnfinishedPaths::add(folder / "a");
    UnfinishedPaths::removeAll();
    EXPECT_FALSE(std::filesystem::exists(folder / "a") || std::filesystem::exists(folder / "b"));
    EXPECT_TRUE(std::filesystem::exists(folder / "c/kept"));
    std::filesystem::remove_all(folder);
}

TEST_F(PartialFileTest, RefusesWhatCannotBeReplacedAndTellsAPlaceThatHasGone) {
    for (const std::string& place : {folder_.path().toStdString(), path("none/a"), std::string("/dev/null")}) {
        const auto partial = PartialFile::beside(place);
        ASSERT_FALSE(partial) << place;
        EXPECT_TRUE(partial.error().starts_with(place + " could not be written: ") && partial.error().ends_with('.'))
            << partial.error();
    }
    auto partial = PartialFile::beside(path("movie"));
    ASSERT_TRUE(partial);
    put(partial->path(), "new");
    QDir(folder_.path()).mkdir("movie");
    const auto moved = partial->moveIntoPlace();
    ASSERT_FALSE(moved);
    EXPECT_TRUE(moved.error().starts_with(path("movie") + " could not be put in its place (")) << moved.error();
    partial->remove();
    EXPECT_EQ(names(), QStringList{"movie"});
}

TEST(Identity, FindsTheSampleFromTheBuildTree) {
    const std::string path = Identity::resourcePath("Shaders/" + std::string(Identity::sampleShader));
    ASSERT_FALSE(path.empty());
    EXPECT_TRUE(ShaderFile::read(path));
    EXPECT_EQ(Identity::resourcePath("Shaders/none.metal"), "");
}
