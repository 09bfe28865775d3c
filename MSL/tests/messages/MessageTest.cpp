// What people get wrong, and what they are told: every case of mistakes.txt must give just the message written there.
#include "MSL/Compiler.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace msl {
namespace {

struct Case {
    std::string name;
    std::string source;
    std::string expected;
    bool isWhole = false; // all of the text, not its first line only
};

std::vector<Case> readCases() {
    std::ifstream file(MSL_TEST_MISTAKES);
    std::vector<Case> cases;
    std::string line;
    bool isExpectation = false;
    while (std::getline(file, line)) {
        if (line.starts_with("=== ")) {
            cases.push_back({line.substr(4), {}, {}});
            isExpectation = false;
        } else if (cases.empty()) {
            continue; // the file's own words about itself
        } else if (line == "----") {
            cases.back().isWhole = isExpectation = true;
        } else if (line.starts_with("--- ") && !isExpectation) {
            cases.back().expected = line.substr(4);
            isExpectation = true;
        } else {
            (isExpectation ? cases.back().expected : cases.back().source) += line + "\n";
        }
    }
    return cases;
}

TEST(Messages, SayWhatIsWrong) {
    const std::string prelude = "#include <metal_stdlib>\nusing namespace metal;\n"
                                "struct Uniforms { float2 resolution; float time; float timeDelta; float2 mouse; "
                                "uint frame; uint pad; };\n"
                                "struct Params { float speed; float bands; };\n#line 1 \"shader.metal\"\n";
    const std::vector<Case> cases = readCases();
    ASSERT_GE(cases.size(), 200U);
    for (const Case& item : cases) {
        const auto compiled = compile(prelude + item.source);
        const std::string& text = compiled ? compiled->warnings : compiled.error().text;
        EXPECT_EQ(item.isWhole ? text : text.substr(0, text.find('\n')), item.expected)
            << item.name << ":\n"
            << item.source << "\nall messages:\n"
            << text;
    }
}

} // namespace
} // namespace msl
