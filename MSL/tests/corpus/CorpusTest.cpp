// Files of the kinds that are found in the wild: written by hand after the manner of translators, libraries and shader
// art, and generated (generate.py, run by the build) in the shape that shader translators emit. Each must become a
// valid module; cut short or with its lines disturbed it must give messages and nothing worse.
#include "MSL/Compiler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <spirv-tools/libspirv.hpp>

namespace msl {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::vector<std::filesystem::path> filesUnder(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> out;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.path().extension() == ".metal") out.push_back(entry.path());
    std::ranges::sort(out);
    return out;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The messages of Vulkan 1.3's validator; empty when it has none.
std::string problems(const std::vector<std::uint32_t>& spirv) {
    std::string found;
    spvtools::SpirvTools tools(SPV_ENV_VULKAN_1_3);
    tools.SetMessageConsumer([&](spv_message_level_t, const char*, const spv_position_t&, const char* message) {
        found += message;
        found += '\n';
    });
    spvtools::ValidatorOptions options;
    options.SetScalarBlockLayout(true);
    tools.Validate(spirv.data(), spirv.size(), options);
    return found;
}

void expectValid(const std::filesystem::path& path) {
    const auto compiled = compile(readFile(path));
    ASSERT_TRUE(compiled) << path << "\n" << compiled.error().text;
    EXPECT_FALSE(compiled->reflection.entryPoints.empty()) << path;
    EXPECT_EQ(problems(compiled->spirv), "") << path;
}

TEST(Corpus, EveryWrittenFileBecomesAValidModule) {
    const auto files = filesUnder(std::filesystem::path(MSL_TEST_DATA) / "corpus");
    EXPECT_GE(files.size(), 15U);
    for (const auto& path : files)
        expectValid(path);
}

TEST(Corpus, EveryGeneratedFileBecomesAValidModule) {
    const auto files = filesUnder(MSL_GENERATED_CORPUS);
    EXPECT_GE(files.size(), 120U);
    for (const auto& path : files)
        expectValid(path);
}

// What a person has while typing: the file up to here, or with a line gone, doubled or moved.
TEST(Corpus, UnfinishedFilesGiveMessages) {
    auto files = filesUnder(std::filesystem::path(MSL_TEST_DATA) / "corpus");
    std::ranges::copy(filesUnder(MSL_GENERATED_CORPUS), std::back_inserter(files));
    std::minstd_rand random(1);
    for (const auto& path : files) {
        const std::string text = readFile(path);
        std::vector<std::string> lines;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = std::min(text.find('\n', at), text.size() - 1);
            lines.push_back(text.substr(at, end + 1 - at));
            at = end + 1;
        }
        for (int i = 0; i < 12; ++i) {
            std::string changed;
            if (i < 5) {
                changed = text.substr(0, random() % text.size());
            } else {
                auto disturbed = lines;
                const std::size_t at = random() % lines.size();
                if (i < 8)
                    disturbed.erase(disturbed.begin() + static_cast<std::ptrdiff_t>(at));
                else if (i < 10)
                    disturbed.insert(disturbed.begin() + static_cast<std::ptrdiff_t>(at),
                                     lines[random() % lines.size()]);
                else
                    std::swap(disturbed[at], disturbed[random() % lines.size()]);
                for (const std::string& line : disturbed)
                    changed += line;
            }
            const auto compiled = compile(changed);
            if (compiled) {
                EXPECT_EQ(problems(compiled->spirv), "") << changed;
                continue;
            }
            EXPECT_THAT(compiled.error().text, HasSubstr("error: ")) << changed;
            EXPECT_THAT(compiled.error().text, Not(HasSubstr("internal compiler error"))) << changed;
        }
    }
}

} // namespace
} // namespace msl
