// Programs that check themselves on the device: classes, pointers, templates, statements. Each section of a file in
// data/ is a source of its own.
#include "GlassHobRender/tests/Kernels.h"

#include <fstream>
#include <sstream>

namespace glasshob {
namespace {

using namespace glasshob::testing;

// On one line, so that the lines of a section are those of the source.
const std::string head =
    "#include <metal_stdlib>\nusing namespace metal;\n"
    "#define CHECK(...) do { if (!(__VA_ARGS__) && failed[0] == 0) failed[0] = uint(__LINE__); } while (false)\n"
    "#define MAIN static void run(device uint* failed, device int* data); "
    "kernel void check(device uint* failed [[buffer(0)]], device int* data [[buffer(1)]], "
    "uint thread_number [[thread_position_in_grid]]) { if (thread_number == 0) run(failed, data); } "
    "static void run(device uint* failed, device int* data)\n";

struct Section {
    std::string name;
    std::string text;
    std::size_t line = 0; // where it begins in its file
};

std::vector<Section> sectionsOf(const std::string& file) {
    std::ifstream in(std::string(CONFORMANCE_DATA "/") + file);
    EXPECT_TRUE(in) << file;
    std::vector<Section> sections;
    std::string line;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        if (line.starts_with("//= "))
            sections.push_back({line.substr(4), {}, number});
        else if (!sections.empty())
            sections.back().text += line + "\n";
    }
    return sections;
}

class LanguageProgram : public ::testing::TestWithParam<const char*> {};

TEST_P(LanguageProgram, EverySectionHolds) {
    const std::vector<Section> sections = sectionsOf(GetParam());
    ASSERT_FALSE(sections.empty());
    for (const Section& section : sections) {
        SCOPED_TRACE(section.name);
        std::vector<std::int32_t> numbers(16);
        std::vector<float> floats(16);
        for (int i = 0; i < 16; ++i) {
            numbers[std::size_t(i)] = i;
            floats[std::size_t(i)] = float(i);
        }
        std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<std::uint32_t>(1)), bytesOf(numbers),
                                                       bytesOf(floats), bytesOf(floats)};
        const std::string at = "#line " + std::to_string(section.line + 1) + "\n";
        if (!runKernel(head + at + section.text, buffers, 1)) continue;
        EXPECT_EQ(valuesOf<std::uint32_t>(buffers[0])[0], 0U) << "the line of the first CHECK that failed";
    }
}

INSTANTIATE_TEST_SUITE_P(, LanguageProgram,
                         ::testing::Values("class-checks.metal", "pointer-checks.metal", "pointer-choice-checks.metal",
                                           "template-checks.metal", "statement-checks.metal", "range-checks.metal",
                                           "view-checks.metal"),
                         [](const auto& info) {
                             const std::string name = info.param;
                             std::string title = name.substr(0, name.find("-checks"));
                             std::erase(title, '-');
                             return title;
                         });

} // namespace
} // namespace glasshob
