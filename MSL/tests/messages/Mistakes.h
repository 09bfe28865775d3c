// The cases of mistakes.txt: texts as people get them wrong, with the messages that they must give.
#pragma once

#include <fstream>
#include <string>
#include <vector>

namespace msl::testing {

struct Mistake {
    std::string name;
    std::string source;
    std::string expected;
    bool isWhole = false; // all of the messages, not their first line only
};

inline std::vector<Mistake> readMistakes(const char* path) {
    std::ifstream file(path);
    std::vector<Mistake> cases;
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

// What stands before each of the texts, as a host would put it there.
inline constexpr char mistakesPrelude[] =
    "#include <metal_stdlib>\nusing namespace metal;\n"
    "struct Uniforms { float2 resolution; float time; float timeDelta; float2 mouse; uint frame; uint pad; };\n"
    "struct Params { float speed; float bands; };\n#line 1 \"shader.metal\"\n";

} // namespace msl::testing
