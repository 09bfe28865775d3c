// mslc as a person meets it: what it reads, what it writes, what it says and how it exits. The real program is run in a
// folder of its own that goes away with the test.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

namespace {

// A small address space, so that what has no end to read cannot take the machine with it. A sanitizer needs a large
// one.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MEMORY_LIMIT "true"
#endif
#endif
#ifndef MEMORY_LIMIT
#define MEMORY_LIMIT "ulimit -v 1000000"
#endif

constexpr const char* kernel = "kernel void k(device float* o [[buffer(0)]]) { o[0] = 1; }\n";

struct Outcome {
    int status = -1;
    std::string output;
    std::string error;
};

class MslcTest : public ::testing::Test {
  protected:
    MslcTest() {
        std::string pattern = (fs::temp_directory_path() / "mslc-test-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        put("a.metal", kernel);
    }
    ~MslcTest() override { fs::remove_all(folder_); }

    // `words` is what a shell gets behind the program's name. A minute, then it counts as hanging (status 124).
    Outcome mslc(const std::string& words, const std::string& before = "") const {
        return shell("cd '" + folder_.string() + "' && (" MEMORY_LIMIT "; " + before +
                     " timeout 60 '" MSLC_PROGRAM "' </dev/null " + words +
                     " 2>.error) | cat >.output; exit ${PIPESTATUS[0]}");
    }
    // The same without a pipe behind it: `words` say where standard output goes.
    Outcome mslcTo(const std::string& words) const {
        return shell("cd '" + folder_.string() + "' && timeout 60 '" MSLC_PROGRAM "' " + words + " 2>.error");
    }

    fs::path path(const std::string& name) const { return folder_ / name; }
    void put(const std::string& name, const std::string& text) const { std::ofstream(path(name)) << text; }
    std::string get(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::set<std::string> names() const {
        std::set<std::string> found;
        for (const auto& entry : fs::directory_iterator(folder_))
            if (const std::string name = entry.path().filename(); name != ".error" && name != ".output")
                found.insert(name);
        return found;
    }
    static bool isModule(const std::string& bytes) { return bytes.starts_with(std::string("\x03\x02\x23\x07", 4)); }

  private:
    Outcome shell(const std::string& command) const {
        std::string quoted = "'";
        for (const char c : command)
            quoted += c == '\'' ? "'\\''" : std::string(1, c);
        const int status = std::system(("bash -c " + quoted + "'").c_str());
        Outcome outcome;
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        outcome.output = get(".output");
        outcome.error = get(".error");
        return outcome;
    }
    fs::path folder_;
};

constexpr const char* oneSentence = "mslc: [^\n]*[.]\n";

TEST_F(MslcTest, WritesTheModuleAndTheReflection) {
    const Outcome outcome = mslc("a.metal -o a.spv --reflect");
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_THAT(outcome.output, HasSubstr("\"k\""));
    EXPECT_TRUE(isModule(get("a.spv")));
    EXPECT_TRUE(isModule(mslc("a.metal -o -").output));
    EXPECT_EQ(mslc("- -o b.spv <a.metal").status, 0);
    EXPECT_EQ(get("b.spv"), get("a.spv"));
    EXPECT_EQ(mslc("<(cat a.metal) -o d.spv").status, 0) << "the nameless pipe that a shell makes";
    EXPECT_EQ(get("d.spv"), get("a.spv"));
}

TEST_F(MslcTest, TellsAWrongCommandLineInOneSentence) {
    for (const char* words : {"a.metal -o", "a.metal b.metal", "--frobnicate", "-o a.spv", "a.metal -o ''",
                              "a.metal --reflect -o -", "-- a.metal -w"}) {
        const Outcome outcome = mslc(words);
        EXPECT_EQ(outcome.status, 2) << words;
        EXPECT_THAT(outcome.error, MatchesRegex(oneSentence)) << words;
    }
    const Outcome bare = mslc("");
    EXPECT_EQ(bare.status, 2);
    EXPECT_THAT(bare.error, HasSubstr("Usage: mslc FILE"));
    const Outcome help = mslc("a.metal -o --help");
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.output, HasSubstr("Usage: mslc FILE"));
}

TEST_F(MslcTest, NeverReplacesTheSource) {
    fs::create_symlink("a.metal", path("link.metal"));
    fs::create_hard_link(path("a.metal"), path("twin.metal"));
    fs::create_symlink(".", path("here"));
    for (const char* words :
         {"a.metal -o a.metal", "a.metal -o ./a.metal", "a.metal -o link.metal", "link.metal -o a.metal",
          "a.metal -o twin.metal", "a.metal -o here/a.metal", "- -o a.metal <a.metal"}) {
        const Outcome outcome = mslc(words);
        EXPECT_EQ(outcome.status, 1) << words;
        EXPECT_THAT(outcome.error, MatchesRegex(oneSentence)) << words;
        EXPECT_THAT(outcome.error, HasSubstr("is the source itself")) << words;
        EXPECT_EQ(get("a.metal"), kernel) << words;
    }
    EXPECT_EQ(mslcTo("a.metal -o - >>a.metal").status, 1);
    EXPECT_EQ(mslcTo("a.metal --reflect >>a.metal").status, 1);
    EXPECT_EQ(get("a.metal"), kernel);
}

TEST_F(MslcTest, RefusesInOneSentenceWhatIsNoShaderFile) {
    fs::create_directory(path("folder"));
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    put("sparse.metal", "");
    fs::resize_file(path("sparse.metal"), std::uintmax_t{100} << 30);
    const std::pair<const char*, const char*> cases[] = {
        {"/dev/zero", "64 MB"},        {"sparse.metal", "64 MB"},
        {"- </dev/zero", "64 MB"},     {"/proc/self/mem", "not be read"},
        {"folder", "is a folder"},     {"pipe", "is a pipe"},
        {"absent.metal", "not there"}, {"a.metal/b", "not there"},
        {"''", "without a name"},      {"- <folder", "is a folder"},
    };
    for (const auto& [words, part] : cases) {
        const Outcome outcome = mslc(std::string(words) + " -o out.spv");
        EXPECT_EQ(outcome.status, 1) << words;
        EXPECT_THAT(outcome.error, MatchesRegex(oneSentence)) << words;
        EXPECT_THAT(outcome.error, HasSubstr(part)) << words;
        EXPECT_FALSE(fs::exists(path("out.spv"))) << words;
    }
}

TEST_F(MslcTest, TellsOfEveryOutputThatCannotBeWritten) {
    for (const char* words : {"a.metal -o - >/dev/full", "a.metal --reflect >/dev/full", "--help >/dev/full",
                              "--version >/dev/full", "a.metal -o /dev/full", "a.metal -o absent/a.spv", "a.metal -o .",
                              "a.metal -o loop", "a.metal -o a.metal/b", "a.metal -o /dev/stdout >/dev/full"}) {
        fs::remove(path("loop"));
        fs::create_symlink("loop", path("loop"));
        const Outcome outcome = mslcTo(words);
        EXPECT_EQ(outcome.status, 1) << words;
        EXPECT_THAT(outcome.error, MatchesRegex(oneSentence)) << words;
    }
}

TEST_F(MslcTest, ReplacesAFileWholeOrNotAtAll) {
    std::string many;
    for (int i = 0; i < 20; ++i)
        many += "kernel void k" + std::to_string(i) + "(device float* o [[buffer(0)]]) { o[0] = 1; }\n";
    put("many.metal", many);
    put("wrong.metal", "kernel void k() { x; }");
    put("old.spv", "old");
    fs::permissions(path("old.spv"), fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink("old.spv", path("link.spv"));
    const std::set<std::string> before = names();

    // No room for the whole module: the old file stays and nothing is left beside it.
    const Outcome full = mslc("many.metal -o link.spv", "ulimit -f 1;");
    EXPECT_EQ(full.status, 1);
    EXPECT_THAT(full.error, HasSubstr("the disk is full"));
    EXPECT_EQ(mslc("wrong.metal -o link.spv").status, 1);
    EXPECT_EQ(get("old.spv"), "old");
    EXPECT_EQ(names(), before);

    EXPECT_EQ(mslc("a.metal -o link.spv").status, 0);
    EXPECT_TRUE(fs::is_symlink(path("link.spv")));
    EXPECT_TRUE(isModule(get("old.spv")));
    EXPECT_EQ(fs::status(path("old.spv")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

} // namespace
